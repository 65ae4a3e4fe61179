// SPDX-License-Identifier: MIT
#include "driver/psf_frame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <tuple>
#include <vector>

#include "support/pictures.h"
#include "support/ref/picture_frame.h"

namespace {

using namespace gnr::detail;
using namespace gnr::test;

class PsfFrame : public testing::TestWithParam<std::tuple<int, int, int>> {};

TEST_P(PsfFrame, IsLaidAroundTheOrigin) {
    const auto [n, W, H] = GetParam();
    std::vector<float> psf(static_cast<std::size_t>(n) * static_cast<std::size_t>(n));
    for (std::size_t i = 0; i < psf.size(); ++i) psf[i] = static_cast<float>(i + 1);
    const gnr::ref::Picture expected = gnr::ref::WrappedPsf(W, H, psf, n);
    const auto side = static_cast<unsigned>(n);
    // Nothing before and nothing behind the frame is written.
    Frame guarded(expected.values.size() + 2 * 64, -5.0f);
    std::fill(guarded.begin() + 64, guarded.end() - 64, 0.0f);
    WrapPSFToFrame(guarded.data() + 64, static_cast<unsigned>(W), static_cast<unsigned>(H), psf.data(), side,
                   side);
    for (std::size_t i = 0; i < expected.values.size(); ++i) {
        ASSERT_EQ(guarded[64 + i], expected.values[i])
            << i % static_cast<std::size_t>(W) << ' ' << i / static_cast<std::size_t>(W);
    }
    EXPECT_TRUE(std::all_of(guarded.begin(), guarded.begin() + 64, [](float v) { return v == -5.0f; }));
    EXPECT_TRUE(std::all_of(guarded.end() - 64, guarded.end(), [](float v) { return v == -5.0f; }));
}

INSTANTIATE_TEST_SUITE_P(Sizes, PsfFrame,
                         testing::Values(std::tuple{8, 32, 16}, std::tuple{7, 32, 16}, std::tuple{1, 16, 16},
                                         std::tuple{2, 16, 16}, std::tuple{16, 16, 16},
                                         std::tuple{17, 16, 16}, std::tuple{20, 16, 16},
                                         std::tuple{41, 16, 32}, std::tuple{9, 96, 5}, std::tuple{64, 16, 8},
                                         std::tuple{5, 1, 1}));

TEST(PsfFrameOfOddSides, LeavesOutTheLastRowAndColumn_stays) {
    const std::vector<float> psf = {1, 2, 9, 3, 4, 9, 9, 9, 9};
    Frame frame(8 * 8);
    WrapPSFToFrame(frame.data(), 8, 8, psf.data(), 3, 3);
    EXPECT_EQ(frame[0], 4.0f);
    EXPECT_EQ(frame[7], 3.0f);
    EXPECT_EQ(frame[7 * 8], 2.0f);
    EXPECT_EQ(frame[7 * 8 + 7], 1.0f);
    EXPECT_EQ(std::count(frame.begin(), frame.end(), 0.0f), 60);
}

TEST(PsfFrameOfLargePsf, TheLaterQuadrantStays) {
    // Of 12 samples in a frame of 8 each quadrant takes 5, so that columns 3 and 4 are written twice.
    std::vector<float> psf(12 * 12);
    for (unsigned y = 0; y < 12; ++y) {
        for (unsigned x = 0; x < 12; ++x) psf[y * 12 + x] = static_cast<float>(100 * y + x);
    }
    Frame frame(8 * 8);
    WrapPSFToFrame(frame.data(), 8, 8, psf.data(), 12, 12);
    EXPECT_EQ(frame[2], 608.0f) << "from the lower right quadrant";
    EXPECT_EQ(frame[3], 601.0f) << "and here from the lower left";
    EXPECT_EQ(frame[4], 602.0f);
    EXPECT_EQ(frame[3 * 8], 106.0f) << "from the upper right";
    EXPECT_EQ(frame[3 * 8 + 3], 101.0f) << "from the upper left";
}

}  // namespace
