// SPDX-License-Identifier: MIT

// The four operations of the direct Wiener filter, bit for bit against plain loops of floats.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <tuple>
#include <vector>

#include "kernels/pointwise.h"
#include "support/bits.h"
#include "support/threads.h"
#include "support/tolerances.h"
#include "support/volumes.h"

namespace {

using Low = CRy3DDeconvolutionLow;
using gnr::test::Bits;
using gnr::test::kSentinel;
using gnr::test::SameBits;
using gnr::test::Volume;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

/// Sizes whose total is and is not a whole number of groups of four, with each number of threads.
class WienerSteps : public testing::TestWithParam<std::tuple<std::tuple<int, int, int>, int>> {
  protected:
    WienerSteps() : threads_(std::get<1>(GetParam())) {}
    static Volume Random(unsigned seed, float low = -4.0f, float high = 9.0f) {
        const auto [x, y, z] = std::get<0>(GetParam());
        Volume v(x, y, z);
        v.FillRandom(seed, low, high).FillPadding(kSentinel);
        return v;
    }

  private:
    gnr::test::ThreadCount threads_;
};

TEST_P(WienerSteps, SumsTheImageColumnsAlone) {
    const Volume v = Random(1);
    v.at(v.x(), 0, 0) = kNan;
    double sum = 0.0;
    double magnitude = 0.0;
    for (int k = 0; k < v.z(); ++k) {
        for (int j = 0; j < v.y(); ++j) {
            for (int i = 0; i < v.x(); ++i) {
                sum += v.at(i, j, k);
                magnitude += std::abs(v.at(i, j, k));
            }
        }
    }
    EXPECT_NEAR(Low::GetSumOfImageXX(&v.sizes, v), sum, gnr::test::kParallelSumRelative * magnitude);
}

/// Partial sums in float would lose every small sample beside the large one.
TEST_P(WienerSteps, SumsInDouble) {
    Volume v = Random(2);
    v.Fill([](int, int, int) { return 0.25f; });
    v.at(0, 0, 0) = 16777216.0f;
    v.at(v.x() - 1, v.y() - 1, v.z() - 1) = -16777216.0f;
    const float samples = static_cast<float>(v.x() * v.y() * v.z());
    EXPECT_EQ(Low::GetSumOfImageXX(&v.sizes, v), 0.25f * (samples - 2.0f));
}

TEST_P(WienerSteps, SumsNegativeSamplesAndNaN) {
    Volume v = Random(3);
    v.Fill([](int, int, int) { return -1.0f; });
    EXPECT_EQ(Low::GetSumOfImageXX(&v.sizes, v), -static_cast<float>(v.x() * v.y() * v.z()));
    v.at(v.x() - 1, v.y() - 1, v.z() - 1) = kNan;
    EXPECT_TRUE(std::isnan(Low::GetSumOfImageXX(&v.sizes, v)));
}

TEST_P(WienerSteps, ScalesTheWholeBufferPaddingIncluded) {
    const Volume v = Random(4);
    v.at(1, 0, 0) = -0.0f;
    v.at(0, 0, 0) = 1e-42f;
    v.at(v.x(), v.y() - 1, v.z() - 1) = kInf;
    const float factor = 0.3f;
    std::vector<float> expected = v.ToVector();
    for (float& e : expected) e = e * factor;
    Low::SSE_MulFloatC3DXX(&v.sizes, v, factor);
    EXPECT_TRUE(SameBits(v.ToVector(), expected));
    EXPECT_EQ(v.at(v.x() + 1, 0, 0), kSentinel * factor);
}

TEST_P(WienerSteps, ScalingStaysInsideTheVolume) {
    const Volume v = Random(5);
    const Volume room(v.x(), v.y(), v.z() + 1);
    for (std::int64_t n = 0; n < room.sizes.total; ++n) room.get()[n] = kSentinel;
    Low::SSE_MulFloatC3DXX(&v.sizes, room, 2.0f);
    for (std::int64_t n = 0; n < room.sizes.total; ++n) {
        ASSERT_EQ(room.get()[n], n < v.sizes.total ? 2 * kSentinel : kSentinel) << n;
    }
}

TEST_P(WienerSteps, CutsWhatIsNotAboveZeroAndLeavesPadding) {
    Volume v = Random(6);
    v.FillPadding(-1.0f);
    v.at(0, 0, 0) = kNan;
    v.at(1, 0, 0) = -0.0f;
    v.at(0, v.y() - 1, 0) = -kInf;
    v.at(1, v.y() - 1, 0) = kInf;
    v.at(0, 0, v.z() - 1) = v.z() > 1 ? 1e-42f : v.at(0, 0, v.z() - 1);
    const Volume before = v;
    Low::CutByZero(&v.sizes, v);
    for (int k = 0; k < v.z(); ++k) {
        for (int j = 0; j < v.y(); ++j) {
            for (int i = 0; i < v.x(); ++i) {
                const float was = before.at(i, j, k);
                ASSERT_EQ(Bits(v.at(i, j, k)), Bits(was > 0.0f ? was : 0.0f)) << i << ' ' << j << ' ' << k;
            }
        }
    }
    EXPECT_TRUE(v.PaddingHolds(-1.0f));
}

TEST_P(WienerSteps, ANaNInThePaddingSurvivesTheCut) {
    Volume v = Random(7);
    v.FillPadding(kNan);
    Low::CutByZero(&v.sizes, v);
    EXPECT_TRUE(std::isnan(v.at(v.x(), 0, 0)));
    EXPECT_TRUE(std::isnan(v.at(v.x() + 1, v.y() - 1, v.z() - 1)));
}

TEST_P(WienerSteps, ScalingAndCuttingInOneSweepGivesTheBitsOfTwo) {
    const Volume fused = Random(8);
    fused.at(0, 0, 0) = kNan;
    fused.at(1, 0, 0) = -0.0f;
    fused.at(fused.x(), 0, 0) = -3.0f;
    const Volume apart = fused;
    gnr::detail::ScaleAndCutByZero(fused.sizes, fused, 0.7f);
    Low::SSE_MulFloatC3DXX(&apart.sizes, apart, 0.7f);
    Low::CutByZero(&apart.sizes, apart);
    EXPECT_TRUE(SameBits(fused.ToVector(), apart.ToVector()));
}

TEST_P(WienerSteps, FiltersEachPairAsAPlainLoop) {
    const Volume a = Random(9, -1.0f, 1.0f);
    const Volume b = Random(10, -1.0f, 1.0f);
    const std::vector<float> bBefore = b.ToVector();
    for (const double K : {0.01, 0.5}) {
        std::vector<float> A = a.ToVector();
        const std::vector<float> B = b.ToVector();
        const float e0 = A[0] * A[0] + A[1] * A[1];
        for (std::size_t i = 0; i + 1 < A.size(); i += 2) {
            const float power = B[i] * B[i] + B[i + 1] * B[i + 1];
            const float signal = power * e0;
            const float D = static_cast<float>(static_cast<double>(signal) + K);
            const float wr = (e0 * B[i]) / D;
            const float wi = -((B[i + 1] * e0) / D);
            const float re = A[i];
            const float im = A[i + 1];
            A[i] = re * wr - im * wi;
            A[i + 1] = re * wi + im * wr;
        }
        const Volume filtered = a;
        Low::ComputeWiener3D(&filtered.sizes, filtered, b, K);
        EXPECT_TRUE(SameBits(filtered.ToVector(), A)) << K;
        EXPECT_TRUE(SameBits(b.ToVector(), bBefore)) << K;
    }
}

INSTANTIATE_TEST_SUITE_P(SizesAndThreads, WienerSteps,
                         testing::Combine(testing::Values(std::tuple(2, 1, 1), std::tuple(4, 1, 1),
                                                          std::tuple(4, 3, 1), std::tuple(12, 7, 5),
                                                          std::tuple(16, 9, 3)),
                                          testing::Values(1, 2, 5)));

// ----------------------------------------------------------------------------- single values of the filter

Volume Pair(float re, float im) {
    Volume v(2, 1, 1);
    v.get()[0] = re;
    v.get()[1] = im;
    return v;
}

TEST(WienerFilter, SignalPowerIsThatOfTheFirstPairOfTheImage) {
    const Volume a(2, 1, 1);
    const float in[] = {3.0f, 4.0f, 1.0f, 0.0f};
    std::copy(std::begin(in), std::end(in), a.get());
    const Volume b(2, 1, 1);
    const float psf[] = {1.0f, 0.0f, 0.0f, 2.0f};
    std::copy(std::begin(psf), std::end(psf), b.get());
    Low::ComputeWiener3D(&a.sizes, a, b, 25.0);
    // e0 = 25; first pair W = 25 / (25 + 25); second W = 25 conj(2i) / (100 + 25).
    EXPECT_EQ(a.get()[0], 1.5f);
    EXPECT_EQ(a.get()[1], 2.0f);
    EXPECT_EQ(a.get()[2], 0.0f);
    EXPECT_EQ(a.get()[3], -0.4f);
}

TEST(WienerFilter, NoSignalGivesZero) {
    const Volume a = Pair(0.0f, 0.0f);
    a.get()[2] = 5.0f;
    const Volume b = Pair(1.0f, 0.0f);
    Low::ComputeWiener3D(&a.sizes, a, b, 0.01);
    for (int n = 0; n < 4; ++n) EXPECT_EQ(a.get()[n], 0.0f) << n;
}

/// A K just above half a step from 1: rounded to float beforehand, it would leave the sum at 1.
TEST(WienerFilter, TheNoiseIsAddedInDouble) {
    const Volume a = Pair(1.0f, 0.0f);
    const Volume b = Pair(1.0f, 0.0f);
    const double K = std::ldexp(1.0, -24) + std::ldexp(1.0, -50);
    Low::ComputeWiener3D(&a.sizes, a, b, K);
    EXPECT_EQ(a.get()[0], 1.0f / std::nextafter(1.0f, 2.0f));
}

}  // namespace
