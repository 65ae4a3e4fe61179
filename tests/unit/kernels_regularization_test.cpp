// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/kernels_3d.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "kernels/regularization.h"
#include "support/kernel_buffers.h"
#include "support/ref/plain_regularization.h"
#include "support/volumes.h"

namespace {

using Low = CRy3DDeconvolutionLow;
using gnr::test::kInfinity;
using gnr::test::kNaN;
using gnr::test::SameFloats;
using gnr::test::Volume;

Volume Random(int x, int y, int z) {
    Volume v(x, y, z);
    v.FillRandom(5, 0.0f, 100.0f).FillPadding(50.0f);
    return v;
}

bool IsOneEverywhere(const Volume& v) {
    return std::all_of(v.get(), v.get() + v.sizes.total, [](float f) { return f == 1.0f; });
}

/// Fields are written over sentinels: a float that nobody wrote shows.
Volume Unwritten(const Volume& like) {
    Volume out(like.sizes);
    std::fill_n(out.get(), out.sizes.total, gnr::test::kSentinel);
    return out;
}

Volume Clamped(const Volume& v, float lambda) {
    Volume out = Unwritten(v);
    Low::GetRegularization(&v.sizes, out, v, lambda);
    return out;
}
Volume UntilStable(const Volume& v, float& lambda) {
    Volume out = Unwritten(v);
    Low::GetRegularizationIterative(&v.sizes, out, v, lambda);
    return out;
}
Volume TotalVariation(const Volume& v, float lambda) {
    Volume out = Unwritten(v);
    DFT3D s = v.sizes;
    Low::GetRegularizationRLTV(&s, out, v, lambda);
    return out;
}

TEST(KernelsRegularization, ConstantVolumesAreNotDamped) {
    Volume v(6, 5, 4);
    std::fill_n(v.get(), v.sizes.total, 12.5f);
    EXPECT_TRUE(IsOneEverywhere(Clamped(v, 1e6f)));
    EXPECT_TRUE(IsOneEverywhere(TotalVariation(v, 1e6f)));
    float lambda = 1e6f;
    EXPECT_TRUE(IsOneEverywhere(UntilStable(v, lambda)));
    EXPECT_EQ(lambda, 1e6f);
}

TEST(KernelsRegularization, VolumesWithoutAnInteriorAreNotDamped) {
    for (const auto& [x, y, z] : {std::tuple(1, 1, 1), std::tuple(2, 2, 2), std::tuple(8, 8, 2),
                                  std::tuple(8, 2, 8), std::tuple(2, 8, 1), std::tuple(1, 4, 3)}) {
        const Volume v = Random(x, y, z);
        float lambda = 1e6f;
        EXPECT_TRUE(IsOneEverywhere(UntilStable(v, lambda))) << x << y << z;
        EXPECT_EQ(lambda, 1e6f);
        if (z < 3 || y < 3) {
            EXPECT_TRUE(IsOneEverywhere(Clamped(v, 1e6f))) << x << y << z;
            EXPECT_TRUE(IsOneEverywhere(TotalVariation(v, 1e6f))) << x << y << z;
        }
    }
}

// ---- clamped form --------------------------------------------------------------------------------------

TEST(KernelsRegularization, ClampedFieldStaysBetweenItsBounds) {
    for (const float lambda : {1e9f, -1e9f, 1e38f}) {
        const Volume v = Random(9, 8, 6);
        const Volume field = Clamped(v, lambda);
        bool damped = false;
        for (long long n = 0; n < v.sizes.total; ++n) {
            ASSERT_GE(field[n], 1.0f / 1.1f);
            ASSERT_LE(field[n], 1.0f / 0.9f);
            damped = damped || field[n] != 1.0f;
        }
        EXPECT_TRUE(damped);
    }
}

TEST(KernelsRegularization, ClampedFieldTakesANaNAsTheUpperBound_stays) {
    Volume v = Random(6, 5, 4);
    v.at(2, 2, 2) = kNaN;
    const Volume field = Clamped(v, 1e-3f);
    EXPECT_EQ(field.at(2, 2, 2), 1.0f / 1.1f);
    EXPECT_EQ(field.at(3, 2, 2), 1.0f / 1.1f);
    EXPECT_EQ(field.at(2, 2, 1), 1.0f / 1.1f);
}

TEST(KernelsRegularization, ClampedAndTotalVariationTestThePlaneAgainstTheRows_stays) {
    const Volume v = Random(32, 32, 64);
    for (const Volume& field : {Clamped(v, 1e-3f), TotalVariation(v, 1e-3f)}) {
        for (int k = 31; k < 64; ++k) {
            const float* const plane = field.get() + std::int64_t{k} * v.sizes.planeStride;
            ASSERT_TRUE(std::all_of(plane, plane + v.sizes.planeStride, [](float f) { return f == 1.0f; }))
                << k;
        }
        EXPECT_NE(field.at(5, 5, 30), 1.0f);
    }
}

TEST(KernelsRegularization, ClampedAndTotalVariationTestThePlaneAgainstTheRowLength_stays) {
    const Volume v = Random(8, 32, 32);  // rowLength 10: planes from 7 upwards are boundary
    for (const Volume& field : {Clamped(v, 1e-3f), TotalVariation(v, 1e-3f)}) {
        EXPECT_NE(field.at(4, 4, 6), 1.0f);
        EXPECT_EQ(field.at(4, 4, 7), 1.0f);
    }
}

TEST(KernelsRegularization, LastRowsAndColumnsAreInteriorButInTheIterativeForm_stays) {
    Volume v(32, 32, 16);
    const auto floats = gnr::test::RandomFloats(static_cast<std::size_t>(v.sizes.total), 6);
    std::copy(floats.begin(), floats.end(), v.get());
    const Volume clamped = Clamped(v, 1e-3f);
    const Volume variation = TotalVariation(v, 1e-3f);
    float lambda = 1e-4f;
    const Volume stable = UntilStable(v, lambda);
    for (int k = 1; k <= 14; ++k) {
        for (const auto& [i, j] : {std::pair(9, 31), std::pair(31, 9), std::pair(32, 9), std::pair(33, 9)}) {
            EXPECT_NE(clamped.at(i, j, k), 1.0f) << i << ' ' << j << ' ' << k;
            EXPECT_NE(variation.at(i, j, k), 1.0f) << i << ' ' << j << ' ' << k;
            EXPECT_EQ(stable.at(i, j, k), 1.0f) << i << ' ' << j << ' ' << k;
        }
        EXPECT_NE(stable.at(30, 30, k), 1.0f) << k;
        EXPECT_EQ(clamped.at(0, 9, k), 1.0f);
        EXPECT_EQ(clamped.at(9, 0, k), 1.0f);
    }
    EXPECT_EQ(clamped.at(9, 9, 0), 1.0f);
    EXPECT_EQ(clamped.at(9, 9, 15), 1.0f);
}

// ---- form that weakens itself --------------------------------------------------------------------------

TEST(KernelsRegularization, IterativeFormShrinksAHugeWeightUntilStable) {
    const Volume v = Random(9, 8, 6);
    for (const float huge : {1e6f, -1e6f, 3e20f}) {
        float lambda = huge;
        const Volume field = UntilStable(v, lambda);
        EXPECT_LT(std::fabs(lambda), std::fabs(huge));
        EXPECT_EQ(std::signbit(lambda), std::signbit(huge));
        float greatest = 0.0f;
        for (int k = 1; k < 5; ++k) {
            for (int j = 1; j < 7; ++j) {
                for (int i = 1; i < 8; ++i) {
                    const std::int64_t n = &v.at(i, j, k) - v.get();
                    const float u = gnr::ref::Laplacian(v.sizes, v, n) * lambda;
                    greatest = std::max(greatest, std::fabs(u));
                    EXPECT_EQ(field[n], 1.0f / (u + 1.0f));
                }
            }
        }
        EXPECT_NEAR(greatest, 0.1f, 1e-5f);
    }
}

TEST(KernelsRegularization, IterativeFormPassesUpToItsLimitExactly) {
    Volume v(6, 6, 6);
    v.at(0, 3, 3) = 1.0f;  // L is 1 at (1, 3, 3) and 0 at all other interior samples
    for (const float sign : {1.0f, -1.0f}) {
        float lambda = sign * 0.11f;
        EXPECT_EQ(UntilStable(v, lambda).at(1, 3, 3), 1.0f / (sign * 0.11f + 1.0f));
        EXPECT_EQ(lambda, sign * 0.11f);

        const float beyond = std::nextafter(0.11f, 1.0f);
        lambda = sign * beyond;
        const Volume field = UntilStable(v, lambda);
        EXPECT_EQ(lambda, (sign * beyond * 0.1f) / beyond);
        EXPECT_EQ(field.at(1, 3, 3), 1.0f / (lambda + 1.0f));
    }
}

TEST(KernelsRegularization, IterativeFormLeavesAWeightThatPasses) {
    const Volume v = Random(9, 8, 6);
    float lambda = 1e6f;
    UntilStable(v, lambda);
    const float stable = lambda;
    UntilStable(v, lambda);
    EXPECT_EQ(lambda, stable);
}

TEST(KernelsRegularization, IterativeFormEndsForEveryInput) {
    const Volume finite = Random(9, 8, 6);
    Volume withNaN = finite;
    withNaN.at(4, 4, 3) = kNaN;
    Volume withInfinity = finite;
    withInfinity.at(4, 4, 3) = kInfinity;
    const auto weightAfter = [](const Volume& v, float lambda) {
        UntilStable(v, lambda);
        return lambda;
    };

    // Overflow: the weight becomes 0, and with it the term.
    EXPECT_EQ(weightAfter(finite, 3e38f), 0.0f);
    EXPECT_EQ(weightAfter(withInfinity, 1e-6f), 0.0f);
    EXPECT_TRUE(std::signbit(weightAfter(finite, -3e38f)));
    // Infinity over infinity.
    EXPECT_TRUE(std::isnan(weightAfter(finite, kInfinity)));
    EXPECT_TRUE(std::isnan(weightAfter(finite, kNaN)));
    EXPECT_EQ(weightAfter(finite, 0.0f), 0.0f);
    // A NaN sample takes no part in the search for the weight.
    EXPECT_GT(weightAfter(withNaN, 1e6f), 0.0f);

    float lambda = 1e-6f;
    const Volume field = UntilStable(withInfinity, lambda);
    EXPECT_TRUE(std::isnan(field.at(4, 4, 3)));
    EXPECT_TRUE(std::isnan(field.at(5, 4, 3)));
    EXPECT_EQ(field.at(2, 2, 2), 1.0f);
}

TEST(KernelsRegularization, IterativeFormNeedsAtMostTwoPasses) {
    for (const float scale : {1e-30f, 1e-3f, 1.0f, 1e10f, 1e36f}) {
        Volume v(9, 8, 6);
        v.FillRandom(5, 0.0f, scale);
        for (float lambda = 1e-40f; lambda < 1e38f; lambda *= 7.0f) {
            float weight = lambda;
            Volume out(v.sizes);
            ASSERT_LE(gnr::ref::RegularizationIterative(v.sizes, out, v, weight), 2)
                << scale << ' ' << lambda;
            ASSERT_LE(std::fabs(weight), lambda);
        }
    }
}

// ---- total variation -----------------------------------------------------------------------------------

TEST(KernelsRegularization, TotalVariationIsOneWithoutAGradient) {
    Volume v = Random(8, 8, 8);
    for (const auto& [i, j, k] :
         {std::tuple(3, 3, 3), std::tuple(4, 3, 3), std::tuple(3, 4, 3), std::tuple(3, 3, 4)}) {
        v.at(i, j, k) = 5.0f;
    }
    const Volume field = TotalVariation(v, 0.5f);
    EXPECT_EQ(field.at(3, 3, 3), 1.0f);
    EXPECT_NE(field.at(3, 2, 3), 1.0f);
}

TEST(KernelsRegularization, TotalVariationHasNoClamp_stays) {
    Volume v(8, 8, 8);
    v.at(4, 3, 3) = 1.0f;  // gradient (1, 0, 0) at column 3: direction 1
    EXPECT_EQ(TotalVariation(v, 1.0f).at(3, 3, 3), kInfinity);
    EXPECT_EQ(TotalVariation(v, 2.0f).at(3, 3, 3), -1.0f);
}

// ---- every count ---------------------------------------------------------------------------------------

TEST(KernelsRegularization, StaysInsideBuffersOfExactSize) {
    for (int x = 1; x <= 40; ++x) {
        const DFT3D s = gnr::test::Geometry(x, 4, 4);
        auto estimate = gnr::test::AwkwardFloats(static_cast<std::size_t>(s.total), 9);
        auto out = estimate;
        auto expected = estimate;
        Low::GetRegularization(&s, out.data(), estimate.data(), 0.02f);
        gnr::ref::Regularization(s, expected.data(), estimate.data(), 0.02f);
        ASSERT_TRUE(SameFloats(out, expected)) << x;
        float lambda = 0.02f;
        float expectedLambda = 0.02f;
        Low::GetRegularizationIterative(&s, out.data(), estimate.data(), lambda);
        gnr::ref::RegularizationIterative(s, expected.data(), estimate.data(), expectedLambda);
        ASSERT_TRUE(SameFloats(out, expected)) << x;
        ASSERT_TRUE(gnr::test::Same(lambda, expectedLambda)) << x;
        DFT3D mutableSizes = s;
        Low::GetRegularizationRLTV(&mutableSizes, out.data(), estimate.data(), 0.02f);
        gnr::ref::RegularizationTotalVariation(s, expected.data(), estimate.data(), 0.02f);
        ASSERT_TRUE(SameFloats(out, expected)) << x;
    }
}

}  // namespace
