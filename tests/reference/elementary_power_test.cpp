// SPDX-License-Identifier: MIT
#include "detail/elementary_power.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

namespace {

using gnr::detail::PowerUpToOne;

constexpr float kInfinity = std::numeric_limits<float>::infinity();

/// The float nearest to the power computed in double, or at most its neighbour where that is near a tie.
TEST(PowerUpToOne, IsTheNearestFloat) {
    std::mt19937 engine(7);
    std::uniform_real_distribution<float> exponent(0.0f, 1.0f);
    std::uniform_real_distribution<float> nearOne(0.5f, 2.0f);
    int neighbours = 0;
    for (int n = 0; n < 2000000; ++n) {
        // Half over all positive floats, subnormals included, half around 1.
        const float v = n % 2 == 0 ? std::bit_cast<float>(static_cast<std::uint32_t>(engine() % 0x7f800000u))
                                   : nearOne(engine);
        const float alpha = exponent(engine);
        const auto expected =
            static_cast<float>(std::pow(static_cast<double>(v), static_cast<double>(alpha)));
        const float power = PowerUpToOne(v, alpha);
        if (power == expected) continue;
        ++neighbours;
        ASSERT_EQ(std::nextafter(power, expected), expected) << v << " to the " << alpha;
    }
    EXPECT_LT(neighbours, 10);
}

TEST(PowerUpToOne, AtTheEndsOfBothRanges) {
    for (const float alpha : {1e-30f, 1e-10f, 0.5f, 1.0f}) {
        EXPECT_EQ(PowerUpToOne(0.0f, alpha), 0.0f);
        EXPECT_EQ(PowerUpToOne(1.0f, alpha), 1.0f);
        EXPECT_EQ(PowerUpToOne(kInfinity, alpha), kInfinity);
    }
    for (const float v : {0.0f, 1e-45f, 0.3f, 1.0f, 3e38f, kInfinity}) EXPECT_EQ(PowerUpToOne(v, 0.0f), 1.0f);
}

TEST(PowerUpToOne, ToTheFirstPowerIsTheNumberItself) {
    for (std::uint32_t bits = 0; bits < 0x7f800000u; bits += 1009) {
        const float v = std::bit_cast<float>(bits);
        ASSERT_EQ(PowerUpToOne(v, 1.0f), v);
    }
}

}  // namespace
