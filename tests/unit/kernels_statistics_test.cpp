// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/kernels_3d.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

#include "detail/float_bounds.h"
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

constexpr float kLargest = std::numeric_limits<float>::max();

Volume Constant(int x, int y, int z, float value) {
    Volume v(x, y, z);
    v.Fill([value](int, int, int) { return value; });
    return v;
}

// ---- sums ----------------------------------------------------------------------------------------------

TEST(KernelsStatistics, SumsCountImageSamplesAndNoPadding) {
    Volume v = Constant(4, 3, 5, 1.0f);
    v.FillPadding(1000.0f);
    EXPECT_EQ(Low::GetSumOfImage(&v.sizes, v), 60.0f);
    EXPECT_EQ(Low::GetSumOfImageXX(&v.sizes, v), 60.0f);
    v.FillPadding(kNaN);
    EXPECT_EQ(Low::GetSumOfImage(&v.sizes, v), 60.0f);
    EXPECT_EQ(Low::GetSumOfImageXX(&v.sizes, v), 60.0f);
}

TEST(KernelsStatistics, SumsKeepInDoubleWhatFloatLoses) {
    Volume v(4, 1, 1);
    v.at(0, 0, 0) = 1e10f;
    v.at(1, 0, 0) = 1.0f;
    v.at(2, 0, 0) = -1e10f;
    EXPECT_EQ(Low::GetSumOfImage(&v.sizes, v), 1.0f);
    EXPECT_EQ(Low::GetSumOfImageXX(&v.sizes, v), 1.0f);
}

TEST(KernelsStatistics, BoxSumTakesOneMarginForRowsAndColumns) {
    Volume v(8, 6, 4);
    v.Fill([](int i, int j, int k) { return 1 + i + 10 * j + 100 * k; });
    double expected = 0.0;
    for (int k = 1; k < 3; ++k) {
        for (int j = 2; j < 5; ++j) {
            for (int i = 2; i < 6; ++i) expected += v.at(i, j, k);
        }
    }
    EXPECT_EQ(Low::GetSumOfImageInteg(&v.sizes, v, 1, 2, 2, 4, 3), static_cast<float>(expected));
}

TEST(KernelsStatistics, BoxSumEndsAtTheRowsEndWithItsPadding_stays) {
    Volume v = Constant(4, 3, 2, 1.0f);
    v.FillPadding(100.0f);
    EXPECT_EQ(Low::GetSumOfImageInteg(&v.sizes, v, 0, 2, 0, 50, 50), 24.0f + 1200.0f);
    EXPECT_EQ(Low::GetSumOfImageInteg(&v.sizes, v, 0, 1, -3, 5, 5), 4.0f);
}

TEST(KernelsStatistics, BoxSumWithAMarginBeyondTheVolumeIsZero) {
    Volume v = Constant(16, 16, 3, 1.0f);
    EXPECT_EQ(Low::GetSumOfImageInteg(&v.sizes, v, 0, 3, 30, 16, 16), 0.0f);
    EXPECT_EQ(Low::GetSumOfImageInteg(&v.sizes, v, 0, 0, 0, 16, 16), 0.0f);
    EXPECT_EQ(Low::GetSumOfImageInteg(&v.sizes, v, 0, 3, 2000000000, 2000000000, 2000000000), 0.0f);
}

// ---- extremes ------------------------------------------------------------------------------------------

TEST(KernelsStatistics, ExtremesLookAtImageColumnsOnly) {
    Volume v = Constant(4, 3, 2, 1.0f);
    v.FillPadding(1000.0f);
    EXPECT_EQ(Low::GetMaxOfImageXX(&v.sizes, v), 1.0f);
    v.FillPadding(-1000.0f);
    EXPECT_EQ(Low::GetMinOfImageXX(&v.sizes, v), 1.0f);
    v.at(3, 2, 1) = 7.0f;
    v.at(0, 0, 0) = -7.0f;
    EXPECT_EQ(Low::GetMaxOfImageXX(&v.sizes, v), 7.0f);
    EXPECT_EQ(Low::GetMinOfImageXX(&v.sizes, v), -7.0f);
}

TEST(KernelsStatistics, ExtremesNeverTakeANaN) {
    Volume v = Constant(4, 1, 1, kNaN);
    EXPECT_EQ(Low::GetMaxOfImageXX(&v.sizes, v), -kLargest);
    EXPECT_EQ(Low::GetMinOfImageXX(&v.sizes, v), kLargest);
    v.at(1, 0, 0) = 3.0f;
    EXPECT_EQ(Low::GetMaxOfImageXX(&v.sizes, v), 3.0f);
    EXPECT_EQ(Low::GetMinOfImageXX(&v.sizes, v), 3.0f);
}

TEST(KernelsStatistics, ExtremesTakeTheLastOfEqualZeros) {
    Volume v(2, 1, 1);
    v.at(0, 0, 0) = 0.0f;
    v.at(1, 0, 0) = -0.0f;
    EXPECT_TRUE(std::signbit(Low::GetMaxOfImageXX(&v.sizes, v)));
    EXPECT_TRUE(std::signbit(Low::GetMinOfImageXX(&v.sizes, v)));
    v.at(0, 0, 0) = -0.0f;
    v.at(1, 0, 0) = 0.0f;
    EXPECT_FALSE(std::signbit(Low::GetMaxOfImageXX(&v.sizes, v)));
    EXPECT_FALSE(std::signbit(Low::GetMinOfImageXX(&v.sizes, v)));
}

TEST(KernelsStatistics, ExtremesBeginAtTheFiniteLimits) {
    Volume v = Constant(2, 1, 1, -kInfinity);
    EXPECT_EQ(Low::GetMaxOfImageXX(&v.sizes, v), -kLargest);
    EXPECT_EQ(Low::GetMinOfImageXX(&v.sizes, v), -kInfinity);
    v = Constant(2, 1, 1, kInfinity);
    EXPECT_EQ(Low::GetMaxOfImageXX(&v.sizes, v), kInfinity);
    EXPECT_EQ(Low::GetMinOfImageXX(&v.sizes, v), kLargest);
}

// ---- energy --------------------------------------------------------------------------------------------

TEST(KernelsStatistics, EnergiesAreQuotientsOfSumAndSquares) {
    Volume v = Constant(4, 3, 2, 2.0f);
    v.FillPadding(1000.0f);
    EXPECT_EQ(Low::GetEnergyE8Image(const_cast<DFT3D*>(&v.sizes), v), 0.5f);
    EXPECT_EQ(Low::GetEnergyE8Kernel(const_cast<DFT3D*>(&v.sizes), v), 2.0f);
}

TEST(KernelsStatistics, EnergiesOfZerosAreOne) {
    Volume v(4, 3, 2);
    v.FillPadding(5.0f);
    DFT3D s = v.sizes;
    EXPECT_EQ(Low::GetEnergyE8Image(&s, v), 1.0f);
    EXPECT_EQ(Low::GetEnergyE8Kernel(&s, v), 1.0f);
    EXPECT_EQ(Low::ComputeE8_3D(v, v, &s), 1.0f);
}

TEST(KernelsStatistics, EnergiesOfNaNAreOne) {
    Volume v = Constant(4, 3, 2, kNaN);
    DFT3D s = v.sizes;
    EXPECT_EQ(Low::GetEnergyE8Image(&s, v), 1.0f);
    EXPECT_EQ(Low::GetEnergyE8Kernel(&s, v), 1.0f);
    EXPECT_EQ(Low::ComputeE8_3D(v, v, &s), 1.0f);
}

TEST(KernelsStatistics, EnergyOfAVolumeWithItselfIsOne) {
    Volume v(6, 5, 3);
    v.FillRandom(3, 0.5f, 4.0f).FillPadding(kNaN);
    EXPECT_FLOAT_EQ(Low::ComputeE8_3D(v, v, &v.sizes), 1.0f);
}

TEST(KernelsStatistics, EnergyOfAPairHasTheCoarserThreshold_stays) {
    // Q_A = 1e-12: above the single form's threshold, below the pair's.
    Volume a(2, 1, 1);
    a.at(0, 0, 0) = 1e-6f;
    Volume b = Constant(2, 1, 1, 3.0f);
    DFT3D s = a.sizes;
    EXPECT_FLOAT_EQ(Low::GetEnergyE8Image(&s, a), 1e6f);
    EXPECT_EQ(Low::ComputeE8_3D(a, b, &s), 1.0f);
    EXPECT_FLOAT_EQ(Low::ComputeE8_3D(b, a, &s), 1e-6f / 3.0f) << "S_B = 1e-6 passes";
}

// ---- repairs and scalings ------------------------------------------------------------------------------

TEST(KernelsStatistics, ScalingsDifferInTheirRange) {
    Volume v = Constant(4, 3, 2, 2.0f);
    v.FillPadding(kSentinel);
    Low::MulFloatC3D(&v.sizes, v, 3.0f);
    EXPECT_EQ(v.at(3, 2, 1), 6.0f);
    EXPECT_TRUE(v.PaddingHolds(kSentinel));
    Low::MulFloatC3DXX(&v.sizes, v, 0.5f);
    EXPECT_EQ(v.at(3, 2, 1), 3.0f);
    EXPECT_TRUE(v.PaddingHolds(kSentinel * 0.5f));
    Low::SSE_MulFloatC3DXX(&v.sizes, v, 2.0f);
    EXPECT_EQ(v.at(3, 2, 1), 6.0f);
    EXPECT_TRUE(v.PaddingHolds(kSentinel));
}

TEST(KernelsStatistics, TheTwoClampsDiffer_stays) {
    Volume clipped(6, 1, 1);
    const float samples[] = {-1.0f, -0.0f, 0.0f, 2.0f, kNaN, -kInfinity};
    for (int i = 0; i < 6; ++i) clipped.at(i, 0, 0) = samples[i];
    clipped.FillPadding(-1.0f);
    Volume cut = clipped;
    Low::ClipSmallerThanZero(&clipped.sizes, clipped);
    Low::CutByZero(&cut.sizes, cut);
    EXPECT_TRUE(
        SameFloats(clipped.ToVector(), std::vector<float>{0.0f, -0.0f, 0.0f, 2.0f, kNaN, 0.0f, 0.0f, 0.0f}));
    EXPECT_TRUE(
        SameFloats(cut.ToVector(), std::vector<float>{0.0f, 0.0f, 0.0f, 2.0f, 0.0f, 0.0f, -1.0f, -1.0f}));
}

// ---- spectra -------------------------------------------------------------------------------------------

TEST(KernelsStatistics, PowerSpectrumTwiceGivesTheFourthPower) {
    Volume v(2, 1, 1);
    v[0] = 3.0f;
    v[1] = 4.0f;
    v[2] = 1.0f;
    v[3] = -2.0f;
    Low::PowerSpectrum(v, &v.sizes);
    EXPECT_EQ(v.ToVector(), (std::vector<float>{25.0f, 0.0f, 5.0f, 0.0f}));
    Low::PowerSpectrum(v, &v.sizes);
    EXPECT_EQ(v.ToVector(), (std::vector<float>{625.0f, 0.0f, 25.0f, 0.0f}));
}

TEST(KernelsStatistics, ComplexConjugateFlipsSignBitsOfImaginaryParts) {
    Volume v(6, 1, 1);
    const float before[] = {1.0f, 0.0f, -1.0f, -0.0f, 2.0f, kNaN, -2.0f, kInfinity};
    for (int i = 0; i < 8; ++i) v[i] = before[i];
    Low::ComplexConjugate(v, &v.sizes);
    for (int i = 0; i < 8; ++i) {
        const std::uint32_t flip = i % 2 == 1 ? 0x80000000u : 0u;
        EXPECT_EQ(std::bit_cast<std::uint32_t>(v[i]), std::bit_cast<std::uint32_t>(before[i]) ^ flip) << i;
    }
}

TEST(KernelsStatistics, WholeBufferKernelsStayInsideEveryCountUpTo100) {
    for (int n = 1; n <= 100; ++n) {
        const DFT3D s = {n, 1, 1, n, n};
        const std::size_t count = static_cast<std::size_t>(n);
        Buffer p = gnr::test::RandomFloats(count, 4);
        const Buffer before = p;
        Low::SSE_MulFloatC3DXX(&s, p.data(), 2.0f);
        Low::MulFloatC3DXX(&s, p.data(), 0.5f);
        ASSERT_EQ(p, before);
        Low::ComplexConjugate(p.data(), &s);
        Low::ComplexConjugate(p.data(), &s);
        ASSERT_EQ(p, before);
        Low::ClipSmallerThanZero(&s, p.data());
        for (std::size_t i = 0; i < count; ++i) ASSERT_EQ(p[i], before[i] < 0.0f ? 0.0f : before[i]);
        Low::PowerSpectrum(p.data(), &s);
        if (n % 2 == 1) {
            ASSERT_EQ(p.back(), before.back() < 0.0f ? 0.0f : before.back()) << "lone float";
        }
    }
}

// ---- thresholds ----------------------------------------------------------------------------------------

TEST(KernelsStatistics, FloatThresholdsDecideAsTheDoublesDo) {
    for (const double threshold : {1e-10, 1e-20, 0.1, 0.3, 1.0}) {
        const float bound = gnr::detail::FloatNotAbove(threshold);
        float v = std::nextafter(std::nextafter(bound, 0.0f), 0.0f);
        for (int step = 0; step < 5; ++step) {
            EXPECT_EQ(v > bound, static_cast<double>(v) > threshold) << threshold << ' ' << v;
            v = std::nextafter(v, 2.0f);
        }
        EXPECT_FALSE(kNaN > bound);
    }
}

}  // namespace
