// SPDX-License-Identifier: MIT
#include "detail/elementary_log.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

namespace {

using gnr::FusedMultiplyAdd;
using gnr::PlainMultiplyAdd;
using gnr::detail::DecimalLog;
using gnr::detail::NaturalLog;
using gnr::detail::NaturalLogOfNormal;
using gnr::detail::NaturalLogOfQuotient;

/// Distance of `value` from `exact` in units of the last place that `exact` has in T.
template <class T>
double UnitsOff(T value, long double exact) {
    const int exponent = std::ilogb(static_cast<T>(exact)) - (std::numeric_limits<T>::digits - 1);
    return static_cast<double>(std::fabs(static_cast<long double>(value) - exact) /
                               std::ldexp(1.0L, exponent));
}

TEST(NaturalLog, OfFloatsIsWithinOneUnitInTheLastPlace) {
    // Every 61st positive float, subnormals included, and every one around 1, where the result is smallest.
    const auto worstOf = [](std::uint32_t first, std::uint32_t last, std::uint32_t step) {
        double worst = 0.0;
        for (std::uint32_t bits = first; bits < last; bits += step) {
            const float x = std::bit_cast<float>(bits);
            if (x == 1.0f) continue;
            worst = std::max(worst, UnitsOff(NaturalLog(x), std::log(static_cast<double>(x))));
        }
        return worst;
    };
    EXPECT_LT(worstOf(1, 0x7f800000u, 61), 1.0);
    EXPECT_LT(worstOf(std::bit_cast<std::uint32_t>(0.99f), std::bit_cast<std::uint32_t>(1.01f), 1), 1.0);
    EXPECT_EQ(NaturalLog(1.0f), 0.0f);
}

/// The logarithms of loops that are compiled with and without fused operations.
template <class MultiplyAdd>
class EitherLog : public testing::Test {};
using Ways = testing::Types<PlainMultiplyAdd, FusedMultiplyAdd>;
TYPED_TEST_SUITE(EitherLog, Ways);

TYPED_TEST(EitherLog, OfNormalFloatsIsWithinOneUnitInTheLastPlace) {
    const auto worstOf = [](std::uint32_t first, std::uint32_t last, std::uint32_t step) {
        double worst = 0.0;
        for (std::uint32_t bits = first; bits < last; bits += step) {
            const float x = std::bit_cast<float>(bits);
            if (x == 1.0f) continue;
            worst =
                std::max(worst, UnitsOff(NaturalLogOfNormal<TypeParam>(x), std::log(static_cast<double>(x))));
        }
        return worst;
    };
    EXPECT_LT(worstOf(0x00800000u, 0x7f800000u, 61), 1.0);
    EXPECT_LT(worstOf(std::bit_cast<std::uint32_t>(0.99f), std::bit_cast<std::uint32_t>(1.01f), 1), 1.0);
    EXPECT_EQ(NaturalLogOfNormal<TypeParam>(1.0f), 0.0f);
    constexpr float infinity = std::numeric_limits<float>::infinity();
    EXPECT_EQ(NaturalLogOfNormal<TypeParam>(infinity), infinity);
}

/// Numbers are quotients of floats lifted by 1e-20, as an I-divergence has them.
TYPED_TEST(EitherLog, OfQuotientsIsWithinTwoUnitsInTheLastPlace) {
    std::mt19937_64 engine(5);
    const auto randomFloat = [&engine](bool anyMagnitude) {
        const auto bits = static_cast<std::uint32_t>(engine());
        return std::bit_cast<float>(anyMagnitude ? bits % 0x7f800000u : 0x3f000000u + bits % 0x01000000u);
    };
    double worst = 0.0;
    for (int n = 0; n < 2000000; ++n) {
        const double a = randomFloat(n % 2 == 0) + 1e-20;
        const double b = randomFloat(n % 2 == 0) + 1e-20;
        if (a == b) continue;
        // The difference of numbers of like magnitude is exact.
        const bool alike = a < 1.5 * b && b < 1.5 * a;
        const long double exact = alike ? std::log1p(static_cast<long double>(a - b) / b)
                                        : std::log(static_cast<long double>(a) / b);
        worst = std::max(worst, UnitsOff(NaturalLogOfQuotient<TypeParam>(a, b), exact));
    }
    EXPECT_LT(worst, 2.0);
}

TYPED_TEST(EitherLog, OfQuotientsOfEqualOppositeAndInfiniteNumbers) {
    const auto log = [](double a, double b) { return NaturalLogOfQuotient<TypeParam>(a, b); };
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr double largest = std::numeric_limits<float>::max();
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    for (const double v : {1e-20, 0.3, 1.0, 7.5, largest}) {
        EXPECT_EQ(log(v, v), 0.0);
        EXPECT_EQ(log(-v, -v), 0.0);
        for (const double w : {1e-20, 1.0, largest}) {
            EXPECT_TRUE(std::isnan(log(v, -w)));
            EXPECT_TRUE(std::isnan(log(-v, w)));
            EXPECT_EQ(log(-v, -w), log(v, w));
        }
        for (const double w : {infinity, -infinity, nan}) {
            EXPECT_TRUE(std::isnan(log(v, w)));
            EXPECT_TRUE(std::isnan(log(w, v)));
            EXPECT_TRUE(std::isnan(log(w, w)));
        }
    }
}

TEST(NaturalLog, OfDoublesIsWithinOneUnitInTheLastPlace) {
    std::mt19937_64 engine(3);
    double worst = 0.0;
    for (int n = 0; n < 2000000; ++n) {
        // Half over all positive normal doubles, half between 0.5 and 2.
        std::uint64_t bits = engine() & 0x7fffffffffffffff;
        if (n % 2 == 0) bits = 0x3fe0000000000000 + (bits & 0x001fffffffffffff);
        const double x = std::bit_cast<double>(bits);
        if (!std::isnormal(x) || x == 1.0) continue;
        worst = std::max(worst, UnitsOff(NaturalLogOfNormal(x), std::log(static_cast<long double>(x))));
    }
    EXPECT_LT(worst, 1.0);
    EXPECT_EQ(NaturalLogOfNormal(1.0), 0.0);
}

TEST(DecimalLog, OfFloatsIsWithinOneUnitInTheLastPlace) {
    const auto worstOf = [](std::uint32_t first, std::uint32_t last, std::uint32_t step) {
        double worst = 0.0;
        for (std::uint32_t bits = first; bits < last; bits += step) {
            const float x = std::bit_cast<float>(bits);
            if (x == 1.0f) continue;
            worst = std::max(worst, UnitsOff(DecimalLog(x), std::log10(static_cast<double>(x))));
        }
        return worst;
    };
    EXPECT_LT(worstOf(1, 0x7f800000u, 61), 1.0);
    EXPECT_LT(worstOf(std::bit_cast<std::uint32_t>(0.99f), std::bit_cast<std::uint32_t>(1.01f), 1), 1.0);
    EXPECT_EQ(DecimalLog(1.0f), 0.0f);
    EXPECT_EQ(DecimalLog(0.0f), -std::numeric_limits<float>::infinity());
    EXPECT_EQ(DecimalLog(std::numeric_limits<float>::infinity()), std::numeric_limits<float>::infinity());
    EXPECT_TRUE(std::isnan(DecimalLog(-1.0f)));
    EXPECT_TRUE(std::isnan(DecimalLog(std::numeric_limits<float>::quiet_NaN())));
}

template <class T, class Logarithm>
void ExpectSpecialValues(Logarithm logarithm) {
    constexpr T infinity = std::numeric_limits<T>::infinity();
    EXPECT_EQ(logarithm(T{0}), -infinity);
    EXPECT_EQ(logarithm(-T{0}), -infinity);
    EXPECT_EQ(logarithm(infinity), infinity);
    EXPECT_TRUE(std::isnan(logarithm(T{-1})));
    EXPECT_TRUE(std::isnan(logarithm(-infinity)));
    EXPECT_TRUE(std::isnan(logarithm(std::numeric_limits<T>::quiet_NaN())));
}

TEST(NaturalLog, OfZeroNegativeAndInfinite) {
    ExpectSpecialValues<float>([](float x) { return NaturalLog(x); });
    ExpectSpecialValues<double>([](double x) { return NaturalLogOfNormal(x); });
}

}  // namespace
