// SPDX-License-Identifier: MIT

// Sums, energies and spectra of volumes of odd sizes against plain loops in double.

#include <gnr_deconvolution/kernels_3d.h>
#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

#include "support/kernel_buffers.h"
#include "support/ref/plain_statistics.h"
#include "support/tolerances.h"
#include "support/volumes.h"

namespace {

using Low = CRy3DDeconvolutionLow;
using gnr::test::kParallelSumRelative;
using gnr::test::SameFloats;
using gnr::test::Volume;

class StatisticsOfVolumes : public testing::TestWithParam<std::tuple<int, int, int, int>> {
  protected:
    void SetUp() override { omp_set_num_threads(std::get<3>(GetParam())); }
    void TearDown() override { omp_set_num_threads(before_); }
    Volume Random(unsigned seed) const {
        const auto [x, y, z, threads] = GetParam();
        Volume v(x, y, z);
        v.FillRandom(seed, -1.0f, 50.0f).FillPadding(gnr::test::kSentinel);
        return v;
    }

  private:
    const int before_ = omp_get_max_threads();
};

TEST_P(StatisticsOfVolumes, SerialSumAndEnergiesBitForBit) {
    const Volume v = Random(31);
    DFT3D s = v.sizes;
    const gnr::ref::Sums sums = gnr::ref::SumsOf(s, v);
    EXPECT_EQ(Low::GetSumOfImage(&s, v), static_cast<float>(sums.sum));
    EXPECT_EQ(Low::GetEnergyE8Image(&s, v), static_cast<float>(sums.sum / sums.squares));
    EXPECT_EQ(Low::GetEnergyE8Kernel(&s, v), static_cast<float>(sums.squares / sums.sum));
}

TEST_P(StatisticsOfVolumes, ParallelSumsToRounding) {
    const Volume a = Random(31);
    const Volume b = Random(32);
    const gnr::ref::Sums A = gnr::ref::SumsOf(a.sizes, a);
    const gnr::ref::Sums B = gnr::ref::SumsOf(b.sizes, b);
    EXPECT_NEAR(Low::GetSumOfImageXX(&a.sizes, a), A.sum, kParallelSumRelative * A.magnitude);
    const double energy = (B.squares * A.sum) / (A.squares * B.sum);
    EXPECT_NEAR(Low::ComputeE8_3D(a, b, &a.sizes), energy, kParallelSumRelative * std::fabs(energy));
}

TEST_P(StatisticsOfVolumes, ExtremesBitForBit) {
    const Volume v = Random(33);
    float least = INFINITY;
    float greatest = -INFINITY;
    gnr::ref::EachImageSample(v.sizes, [&](std::int64_t n) {
        least = std::fmin(least, v[n]);
        greatest = std::fmax(greatest, v[n]);
    });
    EXPECT_EQ(Low::GetMinOfImageXX(&v.sizes, v), least);
    EXPECT_EQ(Low::GetMaxOfImageXX(&v.sizes, v), greatest);
}

TEST_P(StatisticsOfVolumes, SpectrumKernelsBitForBit) {
    const Volume v = Random(34);
    Volume power = v;
    Volume conjugate = v;
    Low::PowerSpectrum(power, &v.sizes);
    Low::ComplexConjugate(conjugate, &v.sizes);
    for (long long i = 0; i + 1 < v.sizes.total; i += 2) {
        const float re2 = v[i] * v[i];
        const float im2 = v[i + 1] * v[i + 1];
        ASSERT_EQ(power[i], re2 + im2);
        ASSERT_EQ(power[i + 1], 0.0f);
        ASSERT_EQ(conjugate[i], v[i]);
        ASSERT_EQ(conjugate[i + 1], -v[i + 1]);
    }
}

TEST_P(StatisticsOfVolumes, WienerFilterBitForBit) {
    const Volume a = Random(35);
    const Volume b = Random(36);
    const double K = 0.03;
    Volume result = a;
    Volume kernel = b;
    Low::ComputeWiener3D(&a.sizes, result, kernel, K);
    EXPECT_TRUE(SameFloats(kernel.ToVector(), b.ToVector()));

    const float e0 = a[0] * a[0] + a[1] * a[1];
    for (long long i = 0; i + 1 < a.sizes.total; i += 2) {
        const float power = (b[i] * b[i] + b[i + 1] * b[i + 1]) * e0;
        const float D = static_cast<float>(static_cast<double>(power) + K);
        const float wr = (e0 * b[i]) / D;
        const float wi = -((b[i + 1] * e0) / D);
        ASSERT_EQ(result[i], a[i] * wr - a[i + 1] * wi) << i;
        ASSERT_EQ(result[i + 1], a[i] * wi + a[i + 1] * wr) << i;
    }
}

INSTANTIATE_TEST_SUITE_P(SizesAndThreads, StatisticsOfVolumes,
                         testing::Combine(testing::Values(2, 5, 38), testing::Values(1, 7),
                                          testing::Values(1, 3), testing::Values(1, 2, 5)));

}  // namespace
