// SPDX-License-Identifier: MIT

// The PSF models against what optics says in closed form, independent of how the integrals are evaluated.

#include <gnr_deconvolution/psf_3d.h>
#include <gtest/gtest.h>
#include <math.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string>
#include <vector>

#include "detail/bessel.h"
#include "support/psf_access.h"

namespace {

using namespace gnr::test;

constexpr double kPi = std::numbers::pi;

/// Airy's disc: (2 J1(v) / v)^2.
double AiryDisc(double v) {
    return v == 0.0 ? 1.0 : std::pow(2 * ::j1(v) / v, 2);
}

double SquaredSinc(double u) {
    return u == 0.0 ? 1.0 : std::pow(std::sin(u) / u, 2);
}

// Abramowitz and Stegun 1964, table 9.1.
TEST(PsfPhysics, BesselFunctionEqualsTabulatedValues) {
    const struct {
        double x, j0, j1, j2;
    } table[] = {{0.0, 1.0, 0.0, 0.0},
                 {1.0, 0.765197686557967, 0.440050585744934, 0.114903484931901},
                 {2.0, 0.223890779141236, 0.576724807756873, 0.352834028615638},
                 {5.0, -0.177596771314338, -0.327579137591465, 0.0465651162777522},
                 {10.0, -0.245935764451348, 0.0434727461688614, 0.254630313685121}};
    for (const auto& row : table) {
        EXPECT_NEAR(gnr::detail::BesselJ0(row.x), row.j0, 1e-14) << row.x;
        EXPECT_NEAR(::j1(row.x), row.j1, 1e-14) << row.x;
        EXPECT_NEAR(::jn(2, row.x), row.j2, 1e-14) << row.x;
    }
    EXPECT_NEAR(gnr::detail::BesselJ0(2.404825557695773), 0.0, 1e-15);
    EXPECT_NEAR(gnr::detail::BesselJ0(100.0), 0.01998585030422312, 1e-15);
}

// ---------------------------------------------------------------------------------------- fast model

TEST(PsfPhysics, AiryKernelInFocusIsAirysDiscAtLowAperture) {
    SDiffractionParams p = LowApertureOptics();
    p.dNA = 0.05;
    OpenPsf psf;
    ASSERT_EQ(psf.AllocatePSF(65, 65, 1), 0);
    ASSERT_EQ(psf.KERNEL3D_Airy(&psf.sizes, psf.pfPSF, &p, true, nullptr, nullptr, 1.0f, true), 0);
    const double peak = psf.at(32, 32, 0);
    for (int i = 0; i <= 32; ++i) {
        const double v = 2 * kPi * p.dNA * i * p.dXYPitch / p.dWavelength;
        EXPECT_NEAR(psf.at(32 + i, 32, 0) / peak, AiryDisc(v), 1e-3) << i;  // T^2 / 4 beyond the limit
    }
}

TEST(PsfPhysics, AiryKernelOnTheAxisIsASquaredSincAtLowAperture) {
    SDiffractionParams p = LowApertureOptics();
    p.dNA = 0.05;
    p.dZPitch = 40.0;
    OpenPsf psf;
    ASSERT_EQ(psf.AllocatePSF(5, 5, 33), 0);
    ASSERT_EQ(psf.KERNEL3D_Airy(&psf.sizes, psf.pfPSF, &p, true, nullptr, nullptr, 1.0f, true), 0);
    const double peak = psf.at(2, 2, 16);
    for (int m = -16; m <= 16; ++m) {
        const double u = 2 * kPi / p.dWavelength * m * p.dZPitch * p.dNA * p.dNA / 4;
        EXPECT_NEAR(psf.at(2, 2, 16 + m) / peak, SquaredSinc(u), 4e-3) << m;
    }
}

TEST(PsfPhysics, AberrationOfTheAiryKernelMovesTheBrightestPlane) {
    SDiffractionParams p = OilOptics();
    p.dNA = 0.9;
    p.dSphericalAberration = 0.8;
    OpenPsf psf;
    ASSERT_EQ(psf.AllocatePSF(9, 9, 17), 0);
    ASSERT_EQ(psf.KERNEL3D_Airy(&psf.sizes, psf.pfPSF, &p, true, nullptr, nullptr, 1.0f, true), 0);
    int x, y, z;
    psf.GetMaxValue(x, y, z, nullptr);
    EXPECT_EQ(x, 4);
    EXPECT_EQ(y, 4);
    EXPECT_NE(z, 8);
    p.dSphericalAberration = -0.8;  // the mirror image
    const float peak = psf.at(x, y, z);
    ASSERT_EQ(psf.KERNEL3D_Airy(&psf.sizes, psf.pfPSF, &p, true, nullptr, nullptr, 1.0f, true), 0);
    EXPECT_FLOAT_EQ(psf.at(4, 4, 16 - z), peak);
}

// -------------------------------------------------------------------------------------- layered model

TEST(PsfPhysics, LayeredModelInFocusIsAirysDiscAtAnyAperture) {
    for (const double aperture : {0.3, 0.8, 1.4}) {
        SDiffractionParamsEx p = OilOptics();
        p.dNA = aperture;
        OpenPsf psf;
        ASSERT_EQ(psf.AllocatePSF(63, 63, 1), 0);
        double focus = 0.0;
        ASSERT_EQ(psf.EpiFluorescence(&psf.sizes, psf.pfPSF, &p, true, true, true, &focus), 0);
        const double peak = psf.at(31, 31, 0);
        for (int i = 0; i < 24; ++i) {
            const double v = 2 * kPi * p.dNA * i * p.dXYPitch / p.dEmissionWavelength;
            EXPECT_NEAR(psf.at(31 + i, 31, 0) / peak, AiryDisc(v), 2.5e-3)
                << aperture << " " << i;  // 1024 nodes
        }
        // On the axis the pupil integral is 1 / 2, and 1 / g the obliquity of the aperture.
        const double g = std::asin(aperture / p.dRefractiveIndex) / aperture;
        EXPECT_NEAR(peak, 0.25 / (g * g), 3e-3 * peak);
    }
}

TEST(PsfPhysics, LayeredModelOnTheAxisIsASquaredSincAtLowAperture) {
    SDiffractionParamsEx p = LowApertureOptics();
    p.dZPitch = 10.0;
    OpenPsf psf;
    ASSERT_EQ(psf.AllocatePSF(9, 9, 33), 0);
    double focus = 0.0;
    ASSERT_EQ(psf.EpiFluorescence(&psf.sizes, psf.pfPSF, &p, true, true, true, &focus), 0);
    const double peak = psf.at(4, 4, 16);
    for (int m = -16; m <= 16; ++m) {
        const double u = 2 * kPi / p.dEmissionWavelength * m * p.dZPitch * p.dNA * p.dNA / 4;
        EXPECT_NEAR(psf.at(4, 4, 16 + m) / peak, SquaredSinc(u), 1e-2) << m;
    }
}

TEST(PsfPhysics, MismatchedIndicesMoveTheFocusByTheParaxialRatio) {
    for (const double sampleIndex : {1.33, 1.515, 1.7}) {
        SDiffractionParamsEx p = OilOptics();
        p.dNA = 0.3;
        p.dZPitch = 1.0;
        p.dDepthNm = 50000.0;
        p.dSampleRefractiveIndex = sampleIndex;
        OpenPsf psf;
        ASSERT_EQ(psf.AllocatePSF(9, 9, 9), 0);
        double focus = 0.0;
        ASSERT_EQ(psf.EpiFluorescence(&psf.sizes, psf.pfPSF, &p, true, true, true, &focus), 0);
        const double paraxial = 50e-6 * p.dRefractiveIndex / sampleIndex;
        EXPECT_NEAR(focus, paraxial, 0.5e-6) << sampleIndex;
    }
}

TEST(PsfPhysics, DepthInAForeignMediumCostsBrightnessAndSymmetry) {
    SDiffractionParamsEx p = OilOptics();
    OpenPsf psf;
    ASSERT_EQ(psf.AllocatePSF(21, 21, 41), 0);
    double focus = 0.0;
    ASSERT_EQ(psf.EpiFluorescence(&psf.sizes, psf.pfPSF, &p, true, true, true, &focus), 0);
    float matched = 0.0f;
    int x, y, z;
    psf.GetMaxValue(x, y, z, &matched);
    EXPECT_EQ(z, 20);

    p.dSampleRefractiveIndex = 1.36;
    p.dNA = 1.3;
    p.dDepthNm = 10000.0;
    ASSERT_EQ(psf.EpiFluorescence(&psf.sizes, psf.pfPSF, &p, true, true, true, &focus), 0);
    float aberrated = 0.0f;
    psf.GetMaxValue(x, y, z, &aberrated);
    EXPECT_LT(aberrated, 0.6f * matched);
    double below = 0.0;
    double above = 0.0;
    for (int m = 1; m <= 20; ++m) {
        below += psf.at(10, 10, 20 - m);
        above += psf.at(10, 10, 20 + m);
    }
    EXPECT_GT(std::max(below, above), 1.2 * std::min(below, above));
}

/// Samples of the volume above half its maximum.
int HalfMaximumVolume(OpenPsf& psf) {
    float peak = 0.0f;
    int x, y, z;
    psf.GetMaxValue(x, y, z, &peak);
    return static_cast<int>(
        std::count_if(psf.pfPSF, psf.pfPSF + psf.sizes.total, [peak](float v) { return v > peak / 2; }));
}

TEST(PsfPhysics, ConfocalAndTwoPhotonAreNarrowerThanWidefield) {
    SDiffractionParamsEx p = OilOptics();
    p.dXYPitch = 0.02;
    p.dZPitch = 0.05;
    p.dWavelength = p.dEmissionWavelength;
    DFT3D s = Geometry(64, 64, 31);
    const auto volumeOf = [&](int modality, double pinhole) {
        p.iModality = modality;
        p.dPinhole = pinhole;
        OpenPsf psf;
        EXPECT_EQ(psf.GeneratePSFEx(&s, &p, nullptr, nullptr, false, true), 0);
        return HalfMaximumVolume(psf);
    };
    const int widefield = volumeOf(0, 0.0);
    const int smallPinhole = volumeOf(1, 1.0);
    const int wideOpen = volumeOf(1, 60.0);
    const int twoPhoton = volumeOf(5, 0.0);
    EXPECT_LT(smallPinhole, 0.6 * widefield);
    EXPECT_LT(smallPinhole, wideOpen);
    EXPECT_LE(wideOpen, widefield);
    // A pinhole that lets one sample through detects what it excites: the square, as with two photons.
    EXPECT_NEAR(smallPinhole, twoPhoton, 0.05 * twoPhoton);
}

}  // namespace
