// SPDX-License-Identifier: MIT
#include "detail/elementary_exp.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace {

using gnr::detail::ExponentialForFloat;

TEST(Exponential, IsWithinItsErrorEverywhere) {
    std::mt19937_64 engine(5);
    std::uniform_real_distribution<double> wide(-700.0, 700.0);
    std::uniform_real_distribution<double> near(-1.0, 1.0);
    double worst = 0.0;
    for (int n = 0; n < 1000000; ++n) {
        const double x = n % 2 == 0 ? wide(engine) : near(engine);
        const long double exact = std::exp(static_cast<long double>(x));
        worst = std::max(worst, static_cast<double>(std::fabs(ExponentialForFloat(x) - exact) / exact));
    }
    EXPECT_LT(worst, 1e-12);
    EXPECT_EQ(ExponentialForFloat(0.0), 1.0);
}

TEST(Exponential, EndsWhereFloatsEnd) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(static_cast<float>(ExponentialForFloat(-infinity)), 0.0f);
    EXPECT_EQ(static_cast<float>(ExponentialForFloat(-1e300)), 0.0f);
    EXPECT_EQ(static_cast<float>(ExponentialForFloat(infinity)), std::numeric_limits<float>::infinity());
    EXPECT_TRUE(std::isnan(ExponentialForFloat(std::numeric_limits<double>::quiet_NaN())));
}

}  // namespace
