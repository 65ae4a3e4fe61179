// SPDX-License-Identifier: MIT

// Edges of the layered model.

#include <gnr_deconvolution/psf_3d.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "support/psf_access.h"
#include "support/ref/psf_layered.h"

namespace {

using namespace gnr::test;

class Layered : public testing::Test {
  protected:
    void Allocate(unsigned x, unsigned y, unsigned z) { ASSERT_EQ(psf.AllocatePSF(x, y, z), 0); }
    int Epi(bool centered, bool findFocus, double* focus) {
        return psf.EpiFluorescence(&psf.sizes, psf.pfPSF, &optics, centered, true, findFocus, focus);
    }
    std::vector<float> Plane(int z) {
        const float* const plane = psf.pfPSF + std::int64_t{z} * psf.sizes.planeStride;
        return {plane, plane + psf.sizes.planeStride};
    }
    bool PlaneIsZero(int z) {
        const std::vector<float> plane = Plane(z);
        return std::all_of(plane.begin(), plane.end(), [](float v) { return v == 0.0f; });
    }

    OpenPsf psf;
    SDiffractionParamsEx optics = OilOptics();
};

TEST_F(Layered, NullFocusIsRefusedAndTouchesNothing) {
    Allocate(8, 8, 4);
    psf.at(3, 3, 3) = kSentinel;
    EXPECT_EQ(Epi(true, true, nullptr), -4);
    EXPECT_EQ(Epi(true, false, nullptr), -4);
    EXPECT_EQ(psf.at(3, 3, 3), kSentinel);
}

TEST_F(Layered, WithoutDepthTheFocusIs0AndPlanesMirrorToTheBit) {
    Allocate(20, 20, 9);
    double focus = 5.0;
    ASSERT_EQ(Epi(true, true, &focus), 0);
    EXPECT_EQ(focus, 0.0);
    for (int m = 1; m <= 4; ++m) EXPECT_EQ(Plane(4 + m), Plane(4 - m)) << m;
    EXPECT_NE(Plane(5), Plane(4));
}

TEST_F(Layered, GivenFocusIsTakenAsItStands) {
    Allocate(20, 20, 9);
    optics.dDepthNm = 3000.0;
    optics.dSampleRefractiveIndex = 1.33;
    double focus = 2.5e-6;
    ASSERT_EQ(Epi(true, false, &focus), 0);
    EXPECT_EQ(focus, 2.5e-6);
    const gnr::ref::LayeredModel model(psf.sizes, optics, true, true);
    EXPECT_NEAR(psf.at(10, 10, 4), model.RadialTable(2.5e-6)[0], 1e-6 * psf.at(10, 10, 4));
}

TEST_F(Layered, RadiiAtTheEndOfTheTableAreZero) {
    Allocate(64, 64, 1);
    optics.iModality = 1;
    double focus = 0.0;
    ASSERT_EQ(Epi(true, true, &focus), 0);
    const int nR = gnr::ref::LayeredModel(psf.sizes, optics, true, true).nR;
    ASSERT_GT(nR, 4);
    ASSERT_LT(nR, 30);
    for (int x = 0; x < 64; ++x) {
        EXPECT_EQ(psf.at(x, 32, 0) == 0.0f, std::abs(x - 32) >= nR - 1) << x;
    }
}

TEST_F(Layered, TableShorterThan2GivesZeros) {
    for (const unsigned rows : {1u, 2u, 3u}) {  // tables of 0, 1 and 1 entries
        Allocate(16, rows, 3);
        std::fill_n(psf.pfPSF, psf.sizes.total, kSentinel);
        double focus = 0.0;
        ASSERT_EQ(Epi(true, true, &focus), 0);
        for (int z = 0; z < 3; ++z) EXPECT_TRUE(PlaneIsZero(z)) << rows;
    }
}

TEST_F(Layered, InvertedStageMirrorsThePlanes) {
    optics.dDepthNm = 5000.0;
    optics.dSampleRefractiveIndex = 1.4;
    double focus = 5.2e-6;
    Allocate(20, 20, 9);
    ASSERT_EQ(Epi(true, false, &focus), 0);
    std::vector<std::vector<float>> planes;
    for (int z = 0; z < 9; ++z) planes.push_back(Plane(z));
    optics.bInvertZ = true;
    ASSERT_EQ(Epi(true, false, &focus), 0);
    for (int z = 0; z < 9; ++z) EXPECT_EQ(Plane(z), planes[static_cast<std::size_t>(8 - z)]) << z;
    EXPECT_NE(planes[3], planes[5]);
}

TEST_F(Layered, PlanesBeyondTheRecommendedDepthAreZero) {
    optics.iModality = 1;
    Allocate(16, 16, 41);
    double focus = 0.0;
    ASSERT_EQ(Epi(true, true, &focus), 0);
    const int nz = gnr::ref::LayeredModel(psf.sizes, optics, true, true).nz;
    ASSERT_LT(nz, 41);
    for (int z = 0; z < 41; ++z) EXPECT_EQ(PlaneIsZero(z), std::abs(z - 20) > nz / 2) << z;
}

TEST_F(Layered, HostLimitsThePlanes) {
    optics.uiMaxZSamples = 3;
    Allocate(16, 16, 9);
    double focus = 0.0;
    ASSERT_EQ(Epi(true, true, &focus), 0);
    for (int z = 0; z < 9; ++z) EXPECT_EQ(PlaneIsZero(z), std::abs(z - 4) > 1) << z;
}

TEST_F(Layered, ShallowVolumeIsComputedWhole) {
    Allocate(16, 16, 4);
    double focus = 0.0;
    ASSERT_EQ(Epi(false, true, &focus), 0);
    for (int z = 0; z < 4; ++z) EXPECT_FALSE(PlaneIsZero(z)) << z;
}

// The fast model wraps the same focus of an odd depth to plane 0.
TEST_F(Layered, WrapOfAnOddDepthIsOnePlaneOff_stays) {
    Allocate(17, 17, 5);
    double focus = 0.0;
    ASSERT_EQ(Epi(false, true, &focus), 0);
    int x, y, z;
    psf.GetMaxValue(x, y, z, nullptr);
    EXPECT_EQ((std::vector<int>{x, y, z}), (std::vector<int>{0, 0, 4}));
    Allocate(17, 17, 6);
    ASSERT_EQ(Epi(false, true, &focus), 0);
    psf.GetMaxValue(x, y, z, nullptr);
    EXPECT_EQ((std::vector<int>{x, y, z}), (std::vector<int>{0, 0, 0}));
}

TEST_F(Layered, WrappedPlaneIsEvenAndFullyWritten) {
    Allocate(16, 18, 1);
    double focus = 0.0;
    ASSERT_EQ(Epi(false, true, &focus), 0);
    for (int y = 0; y < 18; ++y) {
        for (int x = 0; x < 16; ++x) {
            ASSERT_EQ(psf.at(x, y, 0), psf.at((16 - x) % 16, (18 - y) % 18, 0)) << x << " " << y;
        }
    }
    EXPECT_GT(psf.at(5, 0, 0), 0.0f);
    EXPECT_GT(psf.at(0, 6, 0), 0.0f);
}

TEST_F(Layered, PaddingStaysZero) {
    Allocate(16, 16, 3);
    std::fill_n(psf.pfPSF, psf.sizes.total, kSentinel);
    double focus = 0.0;
    ASSERT_EQ(Epi(true, true, &focus), 0);
    for (int y = 0; y < 16; ++y) EXPECT_EQ(psf.at(16, y, 1), 0.0f);
}

TEST_F(Layered, FillsAForeignBuffer) {
    Allocate(16, 16, 3);
    const Volume other(psf.sizes);
    double focus = 0.0;
    ASSERT_EQ(psf.EpiFluorescence(&psf.sizes, other, &optics, true, true, true, &focus), 0);
    EXPECT_GT(other.at(8, 8, 1), 0.0f);
    EXPECT_EQ(psf.at(8, 8, 1), 0.0f);
}

TEST_F(Layered, ImpossibleOpticsEnd) {
    Allocate(8, 8, 3);
    double focus = 0.0;
    optics.dNA = 2.0;  // above the index of the immersion medium
    optics.dDepthNm = 1000.0;
    EXPECT_EQ(Epi(true, true, &focus), 0);
    optics = OilOptics();
    optics.dZPitch = 0.0;
    optics.dDepthNm = 1000.0;
    EXPECT_EQ(Epi(true, true, &focus), 0);
}

// ------------------------------------------------------------------------------------------- confocal

/// A sample at exactly the radius is outside the disc: a radius of 1 lets one sample through, a hair more
/// lets five.
TEST_F(Layered, PinholeRadiusIsComparedStrictly) {
    Allocate(32, 32, 1);
    optics.iModality = 1;
    optics.dXYPitch = 0.0625;
    optics.dMagnification = 0.525;
    double focus = 0.0;
    ASSERT_EQ(Epi(false, true, &focus), 0);
    const float center = psf.at(0, 0, 0);
    const float neighbour = psf.at(1, 0, 0);
    optics.dEmissionWavelength = optics.dWavelength;
    ASSERT_EQ(Epi(false, true, &focus), 0);
    const float excitation = psf.at(0, 0, 0);

    optics = OilOptics();
    optics.iModality = 1;
    optics.dXYPitch = 0.0625;
    optics.dMagnification = 0.525;
    const auto peakAt = [&](double pinhole) {
        optics.dPinhole = pinhole;
        EXPECT_EQ(psf.ConfocalFluorescence(&psf.sizes, psf.pfPSF, &optics, false, true), 0);
        return psf.at(0, 0, 0);
    };
    EXPECT_NEAR(peakAt(0.0625), center * excitation, 1e-5f * center * excitation);
    const float five = (center + 4 * neighbour) * excitation;
    EXPECT_NEAR(peakAt(0.0626), five, 1e-5f * five);
}

TEST_F(Layered, ConfocalReportsExhaustedMemory) {
    Allocate(8, 8, 2);
    DFT3D impossible = psf.sizes;
    impossible.total = std::numeric_limits<std::int64_t>::max();
    EXPECT_EQ(psf.ConfocalFluorescence(&impossible, psf.pfPSF, &optics, false, true), -3);
}

}  // namespace
