// SPDX-License-Identifier: MIT

// The methods on pictures allocate their frames once, and none in an iteration.

#include <gtest/gtest.h>

#include "property/volume_blocks.h"
#include "support/picture_jobs.h"

#if defined(GNR_TEST_COUNTS_BLOCKS)

namespace {

using gnr::test::largeBlocks;

/// Frames of 512 by 512 samples: as many large blocks for six iterations as for one.
TEST(AllocationsOfPictures, NoFrameInARichardsonLucyIteration) {
    using gnr::test::RichardsonLucy;
    gnr::test::FloatPicture source(400, 400);
    gnr::test::FloatPicture restored(400, 400);
    source.Fill(gnr::test::Scene);
    for (const auto method :
         {RichardsonLucy::kTikhonovMiller, RichardsonLucy::kVariation, RichardsonLucy::kDirection}) {
        const auto blocks = [&](unsigned iterations) {
            gnr::test::PictureCall call;
            call.iterations = iterations;
            call.lambda = 0.3;
            call.strength = 4;
            largeBlocks = 0;
            EXPECT_EQ(gnr::test::RestoreWhole(method, &restored, &source, call), 0);
            return largeBlocks.load();
        };
        const std::size_t ofOne = blocks(1);
        EXPECT_GE(ofOne, 8u) << method;
        EXPECT_EQ(blocks(6), ofOne) << method;
    }
}

}  // namespace

#endif
