// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <vector>

#include "driver/tiles.h"
#include "support/pictures.h"

namespace {

using namespace gnr::detail;
using namespace gnr::test;

/// Copies the tile and remembers how large it was.
struct CopyingMethod {
    std::vector<std::pair<unsigned, unsigned>>& sizes;
    template <class P>
    int operator()(P* destination, P* source) {
        sizes.emplace_back(source->uiWidth, source->uiHeight);
        CopyRect({}, source->uiWidth, source->uiHeight, *destination, {}, *source);
        return 0;
    }
};

TEST(Tiles, LastTileEndsAtThePicture) {
    const TileAxis axis(100, 3);
    EXPECT_EQ(axis.At(0).outputSize, 34);
    EXPECT_EQ(axis.At(2).first, 68);
    EXPECT_EQ(axis.At(2).outputSize, 32);
}

TEST(Tiles, CopyingMethodGivesThePictureBack) {
    IntegerPicture source(211, 173);
    source.Fill(Scene);
    IntegerPicture destination(211, 173);
    std::vector<std::pair<unsigned, unsigned>> sizes;
    EXPECT_EQ(RestoreInTiles(&destination, &source, {3, 2}, CopyingMethod{sizes}), 0);
    EXPECT_EQ(destination.Bytes(), source.Bytes());
    EXPECT_EQ(sizes.size(), 6u);
}

}  // namespace
