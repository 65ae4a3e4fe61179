// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/psf_3d.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <vector>

#include "support/psf_access.h"

namespace {

using namespace gnr::test;

/// By the rule, sample by sample; a source column outside the row is taken modulo the usable width.
std::vector<float> ShiftedByTheRule(const OpenPsf& psf, int dx, int dy, int dz, bool padded) {
    const DFT3D& s = psf.sizes;
    const int X = s.rowLength;
    const int W = padded ? X - 2 : X;
    std::vector<float> out(static_cast<std::size_t>(s.total), 0.0f);
    for (int z = 0; z < s.planes; ++z) {
        for (int y = 0; y < s.rows; ++y) {
            for (int x = 0; x < W; ++x) {
                const int fromX = ((W - dx % X + x) % W + W) % W;
                const int fromY = (s.rows - dy % s.rows + y) % s.rows;
                const int fromZ = (s.planes - dz % s.planes + z) % s.planes;
                out[static_cast<std::size_t>(z * s.planeStride + y * X + x)] =
                    psf.pfPSF[fromZ * s.planeStride + fromY * X + fromX];
            }
        }
    }
    return out;
}

TEST(PsfShift, FollowsItsRemaindersForAllShifts) {
    for (const bool padded : {false, true}) {
        for (int d = -20; d <= 20; ++d) {
            OpenPsf psf;
            Number(psf, 5, 4, 3);
            const std::vector<float> expected = ShiftedByTheRule(psf, d, d + 1, d - 1, padded);
            ASSERT_EQ(psf.Shift(d, d + 1, d - 1, padded), 0);
            ASSERT_EQ(Floats(psf), expected) << d << (padded ? " padded" : "");
        }
    }
}

TEST(PsfShift, NegativeShiftTakesTheNextColumn) {
    OpenPsf psf;
    Number(psf, 5, 4, 3);
    const float next = psf.at(1, 2, 1);
    ASSERT_EQ(psf.Shift(-1, 0, 0, false), 0);
    EXPECT_EQ(psf.at(0, 2, 1), next);
}

TEST(PsfShift, ShiftByARowLengthMovesNothingWithPadding_stays) {
    OpenPsf psf;
    Number(psf, 5, 4, 3);
    const std::vector<float> unmoved = ShiftedByTheRule(psf, 0, 0, 0, true);
    ASSERT_EQ(psf.Shift(psf.sizes.rowLength, 0, 0, true), 0);
    EXPECT_EQ(Floats(psf), unmoved);
    ASSERT_EQ(psf.Shift(5, 0, 0, true), 0);  // the usable width: no multiple of the row length
    EXPECT_EQ(Floats(psf), unmoved);
}

TEST(PsfShift, SourceBeforeTheRowWrapsWithinTheUsableWidth) {
    OpenPsf psf;
    Number(psf, 5, 1, 1);
    const float last = psf.at(4, 0, 0);
    ASSERT_EQ(psf.Shift(6, 0, 0, true), 0);  // column 0 asks for column 5 - 6 + 0
    EXPECT_EQ(psf.at(0, 0, 0), last);
}

TEST(PsfShift, SurvivesTheLargestShifts) {
    for (const int d : {std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        OpenPsf psf;
        Number(psf, 5, 4, 3);
        const std::vector<float> expected = ShiftedByTheRule(psf, d % 35, d % 4, d % 3, true);
        ASSERT_EQ(psf.Shift(d, d, d, true), 0);
        EXPECT_EQ(Floats(psf), expected);
    }
}

TEST(PsfShift, FailedAllocationChangesNothing) {
    OpenPsf psf;
    Number(psf, 5, 4, 3);
    const std::vector<float> before = Floats(psf);
    float* const buffer = psf.pfPSF;
    const DFT3D sizes = psf.sizes;
    psf.sizes.total = std::numeric_limits<std::int64_t>::max();
    EXPECT_EQ(psf.Shift(1, 1, 1, true), -3);
    EXPECT_EQ(psf.pfPSF, buffer);
    psf.sizes = sizes;
    EXPECT_EQ(Floats(psf), before);
}

TEST(PsfMove, MovesWholeOrHalfRowsToTheLeft) {
    OpenPsf psf;
    Number(psf, 6, 2, 2);  // rows of 8 floats
    const std::vector<float> before = Floats(psf);
    psf.MovePSFToCorrect(&psf.sizes, psf.pfPSF, true);
    for (std::size_t r = 0; r < 4; ++r) {
        for (std::size_t x = 0; x < 8; ++x) {
            ASSERT_EQ(psf.pfPSF[8 * r + x], x < 6 ? before[8 * r + x + 1] : before[8 * r + x]);
        }
    }
    Number(psf, 6, 2, 2);
    psf.MovePSFToCorrect(&psf.sizes, psf.pfPSF, false);
    for (std::size_t r = 0; r < 4; ++r) {
        for (std::size_t x = 0; x < 8; ++x) {
            const bool moved = x >= 3 && x < 6;
            ASSERT_EQ(psf.pfPSF[8 * r + x], before[8 * r + x + (moved ? 2u : 0u)]);
        }
    }
}

}  // namespace
