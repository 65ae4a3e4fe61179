// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/kernels_3d.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/kernel_buffers.h"
#include "support/volumes.h"

namespace {

using Low = CRy3DDeconvolutionLow;
using gnr::test::Buffer;
using gnr::test::kInfinity;
using gnr::test::kNaN;
using gnr::test::kSentinel;
using gnr::test::SameFloats;
using gnr::test::Volume;

/// A volume whose image samples, padding or both a test sets.
Volume Constant(int x, int y, int z, float value) {
    Volume v(x, y, z);
    v.Fill([value](int, int, int) { return value; }).FillPadding(value);
    return v;
}

float Exponent(const Volume& a, const Volume& b, const Volume& c, const Volume& d) {
    Buffer scratch(2 * static_cast<std::size_t>(a.sizes.planeStride), kNaN);
    return Low::Recompute_dAlphaK3D(scratch.data(), a, b, c, d, &a.sizes);
}

// ---- step ratio ----------------------------------------------------------------------------------------

TEST(KernelsAcceleration, StepRatioIsOneUnlessTheDenominatorIsAboveItsThreshold) {
    Buffer num = {6.0f, 6.0f, 6.0f, 6.0f, 6.0f, 6.0f, 0.0f, kNaN};
    Buffer den = {2.0f, 0.0f, -2.0f, kNaN, 1e-20f, 2e-20f, 3.0f, 1.0f};
    Buffer out(8, kSentinel);
    const DFT3D s = {8, 1, 1, 8, 8};
    Low::GetPVKM1_3D(out.data(), num.data(), den.data(), &s);
    EXPECT_TRUE(SameFloats(out, Buffer{3.0f, 1.0f, 1.0f, 1.0f, 1.0f, 6.0f / 2e-20f, 0.0f, kNaN}));
}

TEST(KernelsAcceleration, StepRatioCoversTheWholeBufferForEveryCountUpTo100) {
    for (int n = 1; n <= 100; ++n) {
        const DFT3D s = {n, 1, 1, n, n};
        const std::size_t count = static_cast<std::size_t>(n);
        Buffer num = gnr::test::AwkwardFloats(count, static_cast<unsigned>(n));
        Buffer den = gnr::test::AwkwardFloats(count, static_cast<unsigned>(n) + 1000);
        Buffer out(count, kSentinel);
        Low::GetPVKM1_3D(out.data(), num.data(), den.data(), &s);
        for (std::size_t i = 0; i < count; ++i) {
            const float expected = static_cast<double>(den[i]) > 1e-20 ? num[i] / den[i] : 1.0f;
            ASSERT_TRUE(gnr::test::Same(out[i], expected)) << n << ' ' << i;
        }
    }
}

// ---- power ---------------------------------------------------------------------------------------------

TEST(KernelsAcceleration, PowerCutsAtZeroAndLeavesThePadding) {
    Volume v(6, 1, 1);
    const float samples[] = {4.0f, -4.0f, kNaN, -0.0f, 0.25f, kInfinity};
    for (int i = 0; i < 6; ++i) v.at(i, 0, 0) = samples[i];
    v.FillPadding(-9.0f);
    Volume parallel = v;
    Low::PowVkAlpha3D(v, &v.sizes, 0.5f);
    Low::SSE_PowVkAlpha3D(parallel, &v.sizes, 0.5f);
    const std::vector<float> expected = {2.0f, 0.0f, 0.0f, 0.0f, 0.5f, kInfinity, -9.0f, -9.0f};
    EXPECT_TRUE(SameFloats(v.ToVector(), expected));
    EXPECT_TRUE(SameFloats(parallel.ToVector(), expected));
}

TEST(KernelsAcceleration, PowerOfZeroFillsThePaddingInTheParallelFormOnly_stays) {
    for (const float alpha : {0.0f, -0.0f, 9e-11f, -9e-11f}) {
        Volume serial = Constant(4, 3, 2, 5.0f);
        serial.FillPadding(kSentinel);
        Volume parallel = serial;
        Low::PowVkAlpha3D(serial, &serial.sizes, alpha);
        Low::SSE_PowVkAlpha3D(parallel, &parallel.sizes, alpha);
        EXPECT_TRUE(serial.PaddingHolds(kSentinel));
        EXPECT_TRUE(parallel.PaddingHolds(1.0f));
        EXPECT_EQ(parallel.at(3, 2, 1), 1.0f);
    }
}

TEST(KernelsAcceleration, PowerOfOneLeavesNegativesInTheParallelFormOnly_stays) {
    Volume serial = Constant(4, 3, 2, -3.0f);
    Volume parallel = serial;
    Low::PowVkAlpha3D(serial, &serial.sizes, 1.0f);
    Low::SSE_PowVkAlpha3D(parallel, &parallel.sizes, 1.0f);
    EXPECT_EQ(serial.at(0, 0, 0), 0.0f);
    EXPECT_EQ(parallel.at(0, 0, 0), -3.0f);
    Low::SSE_PowVkAlpha3D(parallel, &parallel.sizes, 0.5f);
    EXPECT_EQ(parallel.at(0, 0, 0), 0.0f);
    EXPECT_TRUE(parallel.PaddingHolds(-3.0f));
}

TEST(KernelsAcceleration, PowerShortcutsEndAtTheNextExponents) {
    Volume v = Constant(2, 1, 1, -1.0f);
    Low::SSE_PowVkAlpha3D(v, &v.sizes, 1.1e-10f);
    EXPECT_TRUE(v.PaddingHolds(-1.0f));
    EXPECT_EQ(v.at(0, 0, 0), 0.0f);
    v = Constant(2, 1, 1, -1.0f);
    Low::SSE_PowVkAlpha3D(v, &v.sizes, std::nextafter(1.0f, 0.0f));
    EXPECT_EQ(v.at(0, 0, 0), 0.0f);
}

// ---- exponent ------------------------------------------------------------------------------------------

TEST(KernelsAcceleration, ExponentIsZeroWhereEverySampleIsSkipped) {
    const Volume one = Constant(4, 3, 2, 1.0f);
    const Volume two = Constant(4, 3, 2, 2.0f);
    for (const float skipped : {0.0f, -1.0f, 1e-10f, kNaN}) {
        const Volume v = Constant(4, 3, 2, skipped);
        EXPECT_EQ(Exponent(one, one, v, two), 0.0f) << skipped;
        EXPECT_EQ(Exponent(one, one, two, v), 0.0f) << skipped;
    }
}

TEST(KernelsAcceleration, ExponentOfEqualStepsIsOne) {
    Volume estimate(6, 5, 3);
    estimate.FillRandom(1, 1.0f, 9.0f).FillPadding(kNaN);
    Volume ratio(6, 5, 3);
    ratio.FillRandom(2, 0.2f, 0.8f).FillPadding(kNaN);
    EXPECT_EQ(Exponent(estimate, estimate, ratio, ratio), 1.0f);
}

TEST(KernelsAcceleration, ExponentIsCutToZeroAndOne) {
    const Volume one = Constant(4, 3, 2, 1.0f);
    const Volume ten = Constant(4, 3, 2, 10.0f);
    const Volume tenth = Constant(4, 3, 2, 0.1f);
    const Volume root = Constant(4, 3, 2, std::sqrt(10.0f));
    EXPECT_EQ(Exponent(one, one, tenth, ten), 0.0f) << "opposite steps";
    EXPECT_EQ(Exponent(one, one, ten, root), 1.0f) << "growing steps";
    EXPECT_FLOAT_EQ(Exponent(one, one, root, ten), 0.5f) << "shrinking steps";
    EXPECT_EQ(Exponent(one, one, ten, one), 0.0f) << "no previous step";
    EXPECT_EQ(Exponent(Constant(4, 3, 2, kNaN), one, root, ten), 0.0f) << "NaN";
}

TEST(KernelsAcceleration, ExponentAddsTheTermsOfAnEarlierPlaneAgain_stays) {
    // One column counts; plane 1 is skipped and adds plane 0's term again.
    const Volume one = Constant(2, 1, 3, 1.0f);
    Volume c = Constant(2, 1, 3, 0.0f);
    Volume d = Constant(2, 1, 3, 0.0f);
    c.at(0, 0, 0) = 10.0f;  // u 1, t 2: terms 2 and 4, twice
    d.at(0, 0, 0) = 100.0f;
    c.at(0, 0, 2) = 0.1f;  // u -1, t 1: terms -1 and 1
    d.at(0, 0, 2) = 10.0f;
    EXPECT_EQ(Exponent(one, one, c, d), static_cast<float>((2.0 + 2.0 - 1.0) / (4.0 + 4.0 + 1.0)));
}

// ---- four buffers --------------------------------------------------------------------------------------

TEST(KernelsAcceleration, SetOnesFourFillsFourVolumesWithTheirPadding) {
    for (const auto kernel : {Low::SetOnesFour, Low::SSE_SetOnesFour}) {
        Volume p[] = {Constant(4, 3, 5, 7.0f), Constant(4, 3, 5, 8.0f), Constant(4, 3, 5, 9.0f),
                      Constant(4, 3, 5, kNaN)};
        kernel(p[0], p[1], p[2], p[3], &p[0].sizes);
        for (const Volume& v : p) {
            EXPECT_TRUE(std::all_of(v.get(), v.get() + v.sizes.total, [](float f) { return f == 1.0f; }));
        }
    }
}

}  // namespace
