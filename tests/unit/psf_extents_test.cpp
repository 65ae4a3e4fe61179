// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/psf_3d.h>
#include <gtest/gtest.h>

#include <cmath>

#include "support/psf_access.h"

namespace {

using namespace gnr::test;

TEST(PsfExtents, RecommendedSizesFollowTheOptics) {
    // 3.66 * 500 nm / 1 = 1.83 um: 18.3 samples of 0.1 um
    EXPECT_EQ(FloatPSF3D::GetRecommendedXYSize(500, 1.0, 0.1, false), 19u);
    EXPECT_EQ(FloatPSF3D::GetRecommendedXYSize(500, 1.0, 0.1, true), 57u);
    // 7.2 * 500 nm * 1.5 / 1 = 5.4 um: 20 planes of 0.27 um, 21 of 0.26
    EXPECT_EQ(FloatPSF3D::GetRecommendedZSize(500, 1.5, 1.0, 0.26, false), 21u);
    EXPECT_EQ(FloatPSF3D::GetRecommendedZSize(500, 1.5, 1.0, 0.26, true), 94u);  // 21 * 4.5 = 94.5
}

TEST(PsfExtents, RecommendedSizesHaveFloors) {
    EXPECT_EQ(FloatPSF3D::GetRecommendedXYSize(500, 1.0, 10.0, true), 50u);
    EXPECT_EQ(FloatPSF3D::GetRecommendedXYSize(500, 1.0, 10.0, false), 5u);
    EXPECT_EQ(FloatPSF3D::GetRecommendedZSize(500, 1.5, 1.0, 100.0, true), 8u);
    EXPECT_EQ(FloatPSF3D::GetRecommendedZSize(500, 1.5, 1.0, 100.0, false), 3u);
}

TEST(PsfExtents, RecommendedSizesOfImpossibleOpticsAreDefined) {
    EXPECT_EQ(FloatPSF3D::GetRecommendedXYSize(500, 0.0, 0.1, true), 50u);
    EXPECT_EQ(FloatPSF3D::GetRecommendedXYSize(std::nan(""), 1.0, 0.1, false), 5u);
    EXPECT_EQ(FloatPSF3D::GetRecommendedZSize(500, 1.5, 1.0, 0.0, false), 3u);
}

TEST(PsfExtents, GuessedExtentIsTheConeAndTwentyRayleighRadii) {
    SDiffractionParams p = OilOptics();
    p.dNA = 1.0;
    p.dRefractiveIndex = std::sqrt(2.0);  // tangent 1
    p.dWavelength = 0.5;
    p.dXYPitch = 0.1;
    p.dZPitch = 0.3;
    // 11 planes of 0.3 um: 33 samples; 20 * 0.61 * 0.5 / 0.1 = 61 samples; (94 + 2) * 2
    EXPECT_NEAR(FloatPSF3D::GuessPsfExtent(&p, 20, 1.0f), 192, 1);
    EXPECT_EQ(FloatPSF3D::GuessPsfExtent(&p, 20, 1.0f), FloatPSF3D::KERNEL3D_GuessAiryExtent(&p, 20, 1.0f));
    EXPECT_NEAR(FloatPSF3D::GuessPsfExtent(&p, 20, 2.0f), 131, 1);
}

TEST(PsfExtents, GuessedExtentIsNeverBelow8) {
    SDiffractionParams p = OilOptics();
    p.dXYPitch = 1000.0;
    p.dZPitch = 0.0;
    EXPECT_EQ(FloatPSF3D::GuessPsfExtent(&p, 1, 1.0f), 8);
}

TEST(PsfExtents, ExponentsCountFromBelow) {
    EXPECT_EQ(FloatPSF3D::FDCT_NtoM(1), 0);
    EXPECT_EQ(FloatPSF3D::FDCT_NtoM(2), 1);
    EXPECT_EQ(FloatPSF3D::FDCT_NtoM(3), 1);
    EXPECT_EQ(FloatPSF3D::FDCT_NtoM(4), 2);
    EXPECT_EQ(FloatPSF3D::FDCT_NtoM(5), 2);
    EXPECT_EQ(FloatPSF3D::FDCT_NtoM(6), 3);
    EXPECT_EQ(FloatPSF3D::FDCT_NtoM(9), 3);
    EXPECT_EQ(FloatPSF3D::FDCT_NtoM(10), 4);
    EXPECT_EQ(FloatPSF3D::FDCT_NtoM(1025), 10);
    EXPECT_EQ(FloatPSF3D::FDCT_NtoM(1026), 11);
}

}  // namespace
