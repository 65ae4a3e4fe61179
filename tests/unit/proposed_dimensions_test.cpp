// SPDX-License-Identifier: MIT
#include "frame/proposed_dimensions.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

using gnr::detail::SmoothSizeNotBelow;

TEST(ProposedDimensions, RoundsUpToDivisorTimesTwosThreesFives) {
    EXPECT_EQ(SmoothSizeNotBelow(97, 1), 100u);
    EXPECT_EQ(SmoothSizeNotBelow(101, 1), 108u);
    EXPECT_EQ(SmoothSizeNotBelow(16, 16), 16u);
    EXPECT_EQ(SmoothSizeNotBelow(17, 16), 32u);
    EXPECT_EQ(SmoothSizeNotBelow(33, 16), 48u);
    EXPECT_EQ(SmoothSizeNotBelow(49, 16), 64u);
    EXPECT_EQ(SmoothSizeNotBelow(65, 16), 80u);
    EXPECT_EQ(SmoothSizeNotBelow(0, 1), 1u);
    EXPECT_EQ(SmoothSizeNotBelow(5, 16), 16u);
}

/// Smallest smooth number by trial: the definition, without the merge.
std::uint32_t BySearch(std::uint32_t proposed, std::uint32_t seed) {
    for (std::uint32_t n = seed;; n += seed) {
        std::uint32_t rest = n / seed;
        for (const std::uint32_t p : {2u, 3u, 5u}) {
            while (rest % p == 0) rest /= p;
        }
        if (rest == 1 && n >= proposed) return n;
    }
}

TEST(ProposedDimensions, EqualsTheDefinitionForEverySizeUpTo2000) {
    for (const std::uint32_t seed : {1u, 2u, 7u, 16u}) {
        for (std::uint32_t proposed = 0; proposed <= 2000; ++proposed) {
            ASSERT_EQ(SmoothSizeNotBelow(proposed, seed), BySearch(proposed, seed))
                << proposed << " / " << seed;
        }
    }
}

TEST(ProposedDimensions, EndsWhereNoSizeFits32Bits) {
    EXPECT_EQ(SmoothSizeNotBelow(0xFFFFFFFFu, 1), 0xFFFFFFFFu);
    EXPECT_EQ(SmoothSizeNotBelow(0xFFFFFFFEu, 2), 0xFFFFFFFFu);
}

}  // namespace
