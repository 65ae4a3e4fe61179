// SPDX-License-Identifier: MIT
#include <ry_math/daubechies.h>

#include <cmath>

#include "unit/wavelet_fixture.h"

namespace {

using gnr::test::Daubechies4;
using gnr::test::FilterSet;

/// Sum over n of a(n) b(n + shift).
double Correlation(const std::vector<double>& a, const std::vector<double>& b, std::size_t shift) {
    double sum = 0;
    for (std::size_t n = 0; n + shift < b.size(); ++n) sum += a[n] * b[n + shift];
    return sum;
}

TEST(WaveletFilters, PairIsOrthonormalUnderShiftsByTwo) {
    const FilterSet<double> f = Daubechies4<double>();
    ASSERT_EQ(f.father.size(), 8u);
    ASSERT_EQ(f.mother.size(), 8u);
    for (std::size_t shift = 0; shift < 8; shift += 2) {
        const double expected = shift == 0 ? 1.0 : 0.0;
        EXPECT_NEAR(Correlation(f.father, f.father, shift), expected, 1e-15) << shift;
        EXPECT_NEAR(Correlation(f.mother, f.mother, shift), expected, 1e-15) << shift;
        EXPECT_NEAR(Correlation(f.father, f.mother, shift), 0.0, 1e-15) << shift;
        EXPECT_NEAR(Correlation(f.mother, f.father, shift), 0.0, 1e-15) << shift;
    }
}

TEST(WaveletFilters, FatherSumsToRootOfTwo) {
    const FilterSet<double> f = Daubechies4<double>();
    double sum = 0;
    for (const double tap : f.father) sum += tap;
    EXPECT_NEAR(sum, std::sqrt(2.0), 1e-15);
}

TEST(WaveletFilters, MotherHasFourVanishingMomentsAndNotFive) {
    const FilterSet<double> f = Daubechies4<double>();
    for (int power = 0; power < 5; ++power) {
        double moment = 0;
        for (std::size_t n = 0; n < 8; ++n) moment += f.mother[n] * std::pow(static_cast<double>(n), power);
        if (power < 4) {
            EXPECT_NEAR(moment, 0.0, 1e-15 * std::pow(8.0, power + 1)) << power;
        } else {
            EXPECT_GT(std::abs(moment), 1.0);
        }
    }
}

TEST(WaveletFilters, FloatTapsAreTheRoundedDoubleTaps) {
    const FilterSet<double> d = Daubechies4<double>();
    const FilterSet<float> f = Daubechies4<float>();
    ASSERT_EQ(f.father.size(), 8u);
    for (std::size_t n = 0; n < 8; ++n) {
        EXPECT_EQ(f.father[n], static_cast<float>(d.father[n]));
        EXPECT_EQ(f.mother[n], static_cast<float>(d.mother[n]));
    }
}

TEST(WaveletFilters, ReleasedFilterIsNull) {
    float* filter = nullptr;
    int length = 0;
    ASSERT_EQ(CRyDaubechies2DWave::GetFatherWavelet(filter, &length, 4), 0);
    ASSERT_NE(filter, nullptr);
    EXPECT_EQ(CRyDaubechies2DWave::FreeWavelet(filter), 0);
    EXPECT_EQ(filter, nullptr);
    EXPECT_EQ(CRyDaubechies2DWave::FreeWavelet(filter), 0);
}

template <class T>
class WaveletFilterErrors : public testing::Test {};
using Precisions = testing::Types<float, double>;
TYPED_TEST_SUITE(WaveletFilterErrors, Precisions);

TYPED_TEST(WaveletFilterErrors, OtherOrdersFailWithNothingHandedOut) {
    for (const int order : {-4, 0, 1, 3, 5, 8}) {
        TypeParam other = 0;
        TypeParam* filter = &other;
        int length = 77;
        EXPECT_EQ(CRyDaubechies2DWave::GetFatherWavelet(filter, &length, order), -4);
        EXPECT_EQ(filter, nullptr);
        EXPECT_EQ(length, 0);
        filter = &other;
        length = 77;
        EXPECT_EQ(CRyDaubechies2DWave::GetMotherWavelet(filter, &length, order), -4);
        EXPECT_EQ(filter, nullptr);
        EXPECT_EQ(length, 0);
    }
}

TYPED_TEST(WaveletFilterErrors, LengthMustHaveAPlace) {
    TypeParam* filter = nullptr;
    EXPECT_EQ(CRyDaubechies2DWave::GetFatherWavelet(filter, nullptr, 4), -4);
    EXPECT_EQ(CRyDaubechies2DWave::GetMotherWavelet(filter, nullptr, 4), -4);
    EXPECT_EQ(filter, nullptr);
}

}  // namespace
