// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "kernels/regularization_2d.h"
#include "support/bits.h"
#include "support/pictures.h"
#include "support/threads.h"

namespace {

using namespace gnr::detail;
using namespace gnr::test;

constexpr unsigned kW = 13;
constexpr unsigned kH = 9;
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kSentinel = -77.0f;

Frame SceneFrame() {
    Frame x;
    for (unsigned j = 0; j < kH; ++j) {
        for (unsigned i = 0; i < kW; ++i) x.push_back(static_cast<float>(Scene(i, j)) * 0.004f);
    }
    return x;
}

/// 0 but for one sample, (6, 4), whose Laplacian is -4 times it, and of its neighbours once.
Frame PeakFrame(float height) {
    Frame x(kW * kH, 0.0f);
    x[4 * kW + 6] = height;
    return x;
}

bool IsBorder(unsigned i, unsigned j) {
    return i == 0 || j == 0 || i == kW - 1 || j == kH - 1;
}

/// Calls kernel(out) on a frame between sentinels, which must stay.
template <class Kernel>
Frame OutputOf(Kernel kernel) {
    Frame room(kW * (kH + 2), kSentinel);
    kernel(room.data() + kW);
    for (unsigned n = 0; n < kW; ++n) {
        EXPECT_EQ(room[n], kSentinel);
        EXPECT_EQ(room[kW * (kH + 1) + n], kSentinel);
    }
    return {room.begin() + kW, room.end() - kW};
}

/// A field by plain loops: inside(p) at the sample, in float.
template <class Inside>
Frame PlainField(const Frame& x, Inside inside) {
    Frame out;
    for (unsigned j = 0; j < kH; ++j) {
        for (unsigned i = 0; i < kW; ++i) {
            out.push_back(IsBorder(i, j) ? 1.0f : inside(x.data() + j * kW + i));
        }
    }
    return out;
}

Frame Shrinking(const Frame& x, float& lambda) {
    return OutputOf([&](float* out) { GetRegularizationIterative2D(out, x.data(), kW, kH, &lambda); });
}
Frame Clamped(const Frame& x, float lambda) {
    return OutputOf([&](float* out) { GetRegularization2D(out, x.data(), kW, kH, lambda); });
}

TEST(Regularization2D, ShrinkingFieldIsThePlainLoopBitForBit) {
    const Frame x = SceneFrame();
    const Frame expected = PlainField(x, [](const float* p) {
        const float v = (p[-std::ptrdiff_t{kW}] + p[kW] + p[-1] + p[1] - 4.0f * p[0]) * -0.11f;
        return 1.0f / (1.0f + v);
    });
    for (const int threads : {1, 2, 5}) {
        const ThreadCount scope(threads);
        float lambda = -0.11f;
        EXPECT_TRUE(SameBits(Shrinking(x, lambda), expected));
        EXPECT_EQ(lambda, -0.11f);
    }
}

TEST(Regularization2D, ABrightPeakGetsAFactorBelow1) {
    float lambda = -0.1f;
    const Frame out = Shrinking(PeakFrame(0.5f), lambda);
    EXPECT_FLOAT_EQ(out[4 * kW + 6], 1.0f / 1.2f);
    EXPECT_FLOAT_EQ(out[4 * kW + 5], 1.0f / 0.95f);
    EXPECT_FLOAT_EQ(out[3 * kW + 6], 1.0f / 0.95f);
}

TEST(Regularization2D, AnExcessOf042ShrinksTheWeightToLessThanHalf) {
    float lambda = -0.105f;
    const Frame out = Shrinking(PeakFrame(1.0f), lambda);
    EXPECT_FLOAT_EQ(lambda, -0.05f);
    EXPECT_FLOAT_EQ(out[4 * kW + 6], 1.0f / 1.2f) << "the new extreme is 0.2";
}

TEST(Regularization2D, BothSignsOfAnExcessShrinkTheWeight) {
    for (const float sign : {1.0f, -1.0f}) {
        float lambda = sign * 0.105f;
        Shrinking(PeakFrame(1.0f), lambda);
        EXPECT_FLOAT_EQ(lambda, sign * 0.05f);
    }
}

/// Between what the weight aims at and the limit it stays.
TEST(Regularization2D, TheLimitOnBothSides) {
    float within = -0.052f;
    Shrinking(PeakFrame(1.0f), within);
    EXPECT_EQ(within, -0.052f);
    float atLimit = 0.21f / 4;
    Shrinking(PeakFrame(1.0f), atLimit);
    EXPECT_EQ(atLimit, 0.21f / 4) << "0.21 itself is within";
    float beyond = -0.053f;
    Shrinking(PeakFrame(1.0f), beyond);
    EXPECT_FLOAT_EQ(beyond, -0.05f);
}

TEST(Regularization2D, TheLastPassIsWithinTheLimitAndTheWeightNeverGrows) {
    Frame x = SceneFrame();
    float lambda = -1000.0f;
    float before = lambda;
    for (int pass = 0; pass < 4; ++pass) {
        for (float& v : x) v *= pass % 2 == 0 ? 1.5f : 0.25f;
        for (const float factor : Shrinking(x, lambda)) {
            const float v = 1.0f / factor - 1.0f;
            EXPECT_LE(std::abs(v), 0.2101f);
        }
        EXPECT_LE(std::abs(lambda), std::abs(before));
        before = lambda;
    }
}

TEST(Regularization2D, NumbersThatAreNoneEndTheShrinkingToo) {
    for (const float height : {kInfinity, kNaN, 3e38f}) {
        for (float lambda : {-0.1f, -kInfinity, kNaN, 0.0f}) {
            const Frame out = Shrinking(PeakFrame(height), lambda);
            EXPECT_EQ(out[0], 1.0f);
        }
    }
}

TEST(Regularization2D, ClampedFieldIsThePlainLoopBitForBit) {
    const Frame x = SceneFrame();
    for (const float lambda : {-0.018f, -0.9f, 2.5f}) {
        const Frame expected = PlainField(x, [lambda](const float* p) {
            const float v = (p[-1] + p[1] + p[-std::ptrdiff_t{kW}] + p[kW] - 4.0f * p[0]) * lambda;
            return 1.0f / (1.0f + std::min(std::max(v, -0.2f), 0.2f));
        });
        for (const int threads : {1, 2, 5}) {
            const ThreadCount scope(threads);
            EXPECT_TRUE(SameBits(Clamped(x, lambda), expected)) << lambda;
        }
    }
}

TEST(Regularization2D, TheClampHoldsOnBothSides) {
    const Frame out = Clamped(PeakFrame(100.0f), -1.0f);
    EXPECT_EQ(out[4 * kW + 6], 1.0f / (1.0f + 0.2f));
    EXPECT_EQ(out[4 * kW + 7], 1.0f / (1.0f - 0.2f));
    EXPECT_EQ(out[2 * kW + 2], 1.0f);
}

TEST(Regularization2D, DirectionsOfSlopes) {
    const auto directionOf = [](double slopeX, double slopeY) {
        Frame x;
        for (unsigned j = 0; j < kH; ++j) {
            for (unsigned i = 0; i < kW; ++i) x.push_back(static_cast<float>(slopeX * i + slopeY * j));
        }
        return OutputOf([&](float* g) { GetGradientSign2D(g, x.data(), kW, kH); })[2 * kW + 3];
    };
    EXPECT_EQ(directionOf(0, 0), 0.0f) << "flat";
    EXPECT_EQ(directionOf(2, 0), 1.0f);
    EXPECT_EQ(directionOf(0, -3), -1.0f);
    EXPECT_EQ(directionOf(3, 4), 0.6f + 0.8f);
    EXPECT_EQ(directionOf(-3, 4), 0.8f + -0.6f);
    const auto half = static_cast<float>(1 / std::sqrt(2.0));
    EXPECT_EQ(directionOf(5, 5), half + half);
}

TEST(Regularization2D, DirectionsArePlainLoopsBitForBit) {
    const Frame x = SceneFrame();
    Frame expected(kW * kH, kSentinel);
    for (unsigned j = 0; j + 1 < kH; ++j) {
        for (unsigned i = 0; i + 1 < kW; ++i) {
            const float* const p = x.data() + j * kW + i;
            const double dx = p[1] - p[0];
            const double dy = p[kW] - p[0];
            const double n = std::sqrt(dx * dx + dy * dy + 1e-20);
            const auto ofY = static_cast<float>(dy / n);
            const auto ofX = static_cast<float>(dx / n);
            expected[j * kW + i] = ofY + ofX;
            if (j + 2 == kH) expected[(j + 1) * kW + i] = ofY + ofX;  // the row above, again
        }
    }
    for (const int threads : {1, 2, 5}) {
        const ThreadCount scope(threads);
        EXPECT_TRUE(SameBits(OutputOf([&](float* g) { GetGradientSign2D(g, x.data(), kW, kH); }), expected));
    }
}

/// Differences as small as the root of what is added under the norm's root.
TEST(Regularization2D, DirectionsOfDifferencesNear1em10AreShort) {
    Frame x(kW * kH, 0.0f);
    x[2 * kW + 4] = 1e-10f;
    const Frame g = OutputOf([&](float* out) { GetGradientSign2D(out, x.data(), kW, kH); });
    EXPECT_NEAR(g[2 * kW + 3], 1 / std::sqrt(2.0), 1e-6);
}

TEST(Regularization2D, DirectionFieldIsThePlainLoopBitForBitAlsoInPlace) {
    Frame g = SceneFrame();
    const Frame expected = PlainField(g, [](const float* p) { return 1.0f / (1.0f - 0.09f * p[0]); });
    EXPECT_TRUE(SameBits(OutputOf([&](float* out) { GetRegularizationRLTV2D(out, g.data(), kW, kH, 0.09f); }),
                         expected));
    GetRegularizationRLTV2D(g.data(), g.data(), kW, kH, 0.09f);
    EXPECT_TRUE(SameBits(g, expected));
}

/// Nothing keeps the denominator from 0.
TEST(Regularization2D, DirectionFieldHasNoClamp_stays) {
    const Frame g(kW * kH, 1.0f);
    const auto at = [&](float lambda) {
        return OutputOf([&](float* out) { GetRegularizationRLTV2D(out, g.data(), kW, kH, lambda); })[kW + 1];
    };
    EXPECT_EQ(at(0.75f), 4.0f);
    EXPECT_EQ(at(1.0f), kInfinity);
    EXPECT_EQ(at(2.0f), -1.0f);
}

}  // namespace
