// SPDX-License-Identifier: MIT

// The two drivers: which generator a modality takes, what they keep, what they return.

#include <gnr_deconvolution/psf_3d.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

#include "support/psf_access.h"
#include "support/threads.h"

namespace {

using namespace gnr::test;

const DFT3D kSizes = Geometry(24, 20, 9);

double Sum(const FloatPSF3D& psf) {
    double sum = 0.0;
    for (const float v : Floats(psf)) sum += v;
    return sum;
}

int Fast(OpenPsf& psf, const SDiffractionParams& optics, ProgressLog* record = nullptr,
         bool centered = true) {
    DFT3D s = kSizes;
    return psf.GeneratePSF(&s, &optics, record != nullptr ? &ProgressLog::Record : nullptr, record, 1.0f,
                           centered, true);
}

int LayeredModel(OpenPsf& psf, const SDiffractionParamsEx& optics, ProgressLog* record = nullptr,
                 bool centered = true) {
    DFT3D s = kSizes;
    return psf.GeneratePSFEx(&s, &optics, record != nullptr ? &ProgressLog::Record : nullptr, record,
                             centered, true);
}

/// The kernel's volume for optics, shaped by a power and scaled to sum 1.
std::vector<float> ShapedAiry(const SDiffractionParams& optics, double power) {
    OpenPsf psf;
    EXPECT_EQ(psf.AllocatePSF(&kSizes), 0);
    EXPECT_EQ(psf.KERNEL3D_Airy(&psf.sizes, psf.pfPSF, &optics, true, nullptr, nullptr, 1.0f, true), 0);
    for (std::int64_t n = 0; n < psf.sizes.total; ++n) {
        const float v = psf.pfPSF[n];
        psf.pfPSF[n] = v < 1e-10 ? 0.0f : std::pow(v, static_cast<float>(power));
    }
    psf.Normalize(NormalizeToSum, 1.0, true);
    return Floats(psf);
}

// ------------------------------------------------------------------------------------------ fast model

TEST(PsfDrivers, PowerFallsWithTheApertureAndIsClamped) {
    const struct {
        double aperture;
        double power;
    } cases[] = {{0.5, 1.8}, {0.6, 1.8}, {1.0, 1.5}, {1.4, 1.2}, {1.45, 1.2}};
    for (const auto& c : cases) {
        SDiffractionParams optics = OilOptics();
        optics.dNA = c.aperture;
        OpenPsf psf;
        ASSERT_EQ(Fast(psf, optics), 0);
        const std::vector<float> expected = ShapedAiry(optics, c.power);
        const std::vector<float> got = Floats(psf);
        for (std::size_t n = 0; n < got.size(); ++n) {
            ASSERT_NEAR(got[n], expected[n], 1e-5f * expected[n]) << c.aperture << " " << n;
        }
    }
}

TEST(PsfDrivers, Modality7TakesFourTimesTheLateralAndAQuarterOfTheAxialPitch_stays) {
    SDiffractionParams optics = OilOptics();
    optics.iModality = 7;
    OpenPsf psf;
    ASSERT_EQ(Fast(psf, optics), 0);
    SDiffractionParams scaled = optics;
    scaled.dXYPitch *= 4.0;
    scaled.dZPitch *= 0.25;
    EXPECT_EQ(Floats(psf), ShapedAiry(scaled, 1.2));
    EXPECT_EQ(psf.params.dXYPitch, optics.dXYPitch);
    EXPECT_EQ(psf.params.dZPitch, optics.dZPitch);
    EXPECT_EQ(psf.params.iModality, 7);
}

TEST(PsfDrivers, TwoPhotonModalitiesSquareTheDefocusIntegral) {
    OpenPsf expected;
    ASSERT_EQ(expected.AllocatePSF(&kSizes), 0);
    SDiffractionParams optics = OilOptics();
    ASSERT_EQ(expected.KERNEL3D_2Photon(&expected.sizes, expected.pfPSF, &optics, true, nullptr, nullptr,
                                        1.0f, true),
              0);
    expected.SquarePSF();
    expected.Normalize(NormalizeToSum, 1.0, true);
    for (const int modality : {5, 6}) {
        optics.iModality = modality;
        OpenPsf psf;
        ASSERT_EQ(Fast(psf, optics), 0);
        EXPECT_EQ(Floats(psf), Floats(expected));
    }
}

TEST(PsfDrivers, AllOtherModalitiesOfTheFastModelAreAiry) {
    SDiffractionParams optics = OilOptics();
    const std::vector<float> expected = ShapedAiry(optics, 1.2);
    for (const int modality : {0, 1, 4, 8, 9, -1}) {
        optics.iModality = modality;
        OpenPsf psf;
        ASSERT_EQ(Fast(psf, optics), 0);
        EXPECT_EQ(Floats(psf), expected) << modality;
    }
}

TEST(PsfDrivers, FloorIsComparedInDoubleAndStrictly) {
    EXPECT_FALSE(1e-10f < 1e-10);
    EXPECT_TRUE(std::nextafter(1e-10f, 0.0f) < 1e-10);
    OpenPsf psf;
    SDiffractionParams optics = OilOptics();
    ASSERT_EQ(psf.AllocatePSF(&kSizes), 0);
    ASSERT_EQ(psf.KERNEL3D_Airy(&psf.sizes, psf.pfPSF, &optics, true, nullptr, nullptr, 1.0f, true), 0);
    const std::vector<float> pattern = Floats(psf);
    ASSERT_EQ(Fast(psf, optics), 0);
    const std::vector<float> shaped = Floats(psf);
    for (std::size_t n = 0; n < pattern.size(); ++n) ASSERT_EQ(shaped[n] == 0.0f, pattern[n] < 1e-10) << n;
}

/// Two samples in focus: the peak, which the aperture alone sets, and a dimmer one beside it.
class FloorOfPeak : public testing::Test {
  protected:
    FloorOfPeak() {
        optics.dRefractiveIndex = 1.5;
        optics.dWavelength = 0.5;
        optics.dXYPitch = 1.0;
        optics.dZPitch = 1.0;
    }
    std::vector<float> Pattern(double aperture) {
        optics.dNA = aperture;
        OpenPsf psf;
        EXPECT_EQ(psf.AllocatePSF(&sizes), 0);
        EXPECT_EQ(psf.KERNEL3D_Airy(&psf.sizes, psf.pfPSF, &optics, true, nullptr, nullptr, 1.0f, true), 0);
        return Floats(psf);
    }
    std::vector<float> Shaped(double aperture) {
        optics.dNA = aperture;
        OpenPsf psf;
        EXPECT_EQ(psf.GeneratePSF(&sizes, &optics, nullptr, nullptr, 1.0f, true, true), 0);
        return Floats(psf);
    }
    /// Neighbouring apertures, the peak below the floor at the first and not at the second.
    std::pair<double, double> AperturesAtFloor() {
        double below = 1e-3;
        double above = 1e-1;
        for (;;) {
            const double middle = below + (above - below) / 2;
            if (middle == below || middle == above) return {below, above};
            (Pattern(middle)[1] < 1e-10f ? below : above) = middle;
        }
    }

    DFT3D sizes = Geometry(2, 1, 1);
    SDiffractionParams optics;
};

TEST_F(FloorOfPeak, ASampleOnTheFloorIsRaisedAndOneJustBelowIsCleared) {
    const auto [below, above] = AperturesAtFloor();
    ASSERT_EQ(Pattern(below)[1], std::nextafter(1e-10f, 0.0f));
    ASSERT_EQ(Pattern(above)[1], 1e-10f);
    ASSERT_LT(Pattern(above)[0], 1e-10f);
    EXPECT_EQ(Shaped(below), std::vector<float>(4, 0.0f));
    EXPECT_EQ(Shaped(above), (std::vector<float>{0.0f, 1.0f, 0.0f, 0.0f}));
}

TEST(PsfDrivers, PlanesOutsideTheBandAreZero) {
    OpenPsf psf;
    ASSERT_EQ(Fast(psf, OilOptics()), 0);
    EXPECT_EQ(psf.at(12, 10, 0), 0.0f);
    EXPECT_GT(psf.at(12, 10, 1), 0.0f);
    EXPECT_GT(psf.at(12, 10, 7), 0.0f);
    EXPECT_EQ(psf.at(12, 10, 8), 0.0f);
}

TEST(PsfDrivers, FastModelStopsAtEveryPlaneWithMinus8) {
    for (const int modality : {0, 5}) {
        SDiffractionParams optics = OilOptics();
        optics.iModality = modality;
        ProgressLog log;
        OpenPsf psf;
        ASSERT_EQ(Fast(psf, optics, &log), 0);
        ExpectPolls(log, 9);
        for (std::size_t stop = 0; stop < 9; ++stop) {
            ProgressLog record(static_cast<int>(stop));
            EXPECT_EQ(Fast(psf, optics, &record), -8);
            ExpectPolls(record, stop + 1);
            ASSERT_NE(psf.pfPSF, nullptr);
            // Not normalised: in the end a volume of sum 1, before it is complete anything else.
            EXPECT_TRUE(stop == 0 ? Sum(psf) == 0.0 : std::abs(Sum(psf) - 1.0) > 1e-3 || Sum(psf) == 0.0);
        }
    }
}

// --------------------------------------------------------------------------------------- layered model

TEST(PsfDrivers, LayeredModelTakesTheGeneratorOfTheModality) {
    using Generator = std::vector<float> (*)(const SDiffractionParamsEx&);
    const Generator epi = [](const SDiffractionParamsEx& optics) {
        OpenPsf psf;
        EXPECT_EQ(psf.AllocatePSF(&kSizes), 0);
        double focus = 0.0;
        EXPECT_EQ(psf.EpiFluorescence(&psf.sizes, psf.pfPSF, &optics, true, true, true, &focus), 0);
        psf.Normalize(NormalizeToSum, 1.0, true);
        return Floats(psf);
    };
    const Generator twoPhoton = [](const SDiffractionParamsEx& optics) {
        OpenPsf psf;
        EXPECT_EQ(psf.AllocatePSF(&kSizes), 0);
        EXPECT_EQ(psf.TwoPhotonFluorescence(&psf.sizes, psf.pfPSF, &optics, true, true), 0);
        psf.Normalize(NormalizeToSum, 1.0, true);
        return Floats(psf);
    };
    const Generator confocal = [](const SDiffractionParamsEx& optics) {
        OpenPsf psf;
        EXPECT_EQ(psf.AllocatePSF(&kSizes), 0);
        EXPECT_EQ(psf.ConfocalFluorescence(&psf.sizes, psf.pfPSF, &optics, true, true), 0);
        psf.Normalize(NormalizeToSum, 1.0, true);
        return Floats(psf);
    };
    const struct {
        int modality;
        Generator generator;
        double lateral, axial, pinhole;
    } table[] = {{0, epi, 1.0, 1.0, 30.0},       {1, confocal, 1.0, 1.0, 30.0},
                 {3, confocal, 1.0, 1.0, 30.0},  {5, twoPhoton, 1.0, 1.0, 30.0},
                 {6, twoPhoton, 1.0, 1.0, 30.0}, {7, epi, 4.0, 4.0, 30.0},
                 {8, confocal, 1.0, 1.0, 1.0},   {-2, confocal, 1.0, 1.0, 30.0}};
    for (const auto& row : table) {
        SDiffractionParamsEx optics = OilOptics();
        optics.iModality = row.modality;
        optics.dMagnification = 8.0;
        SDiffractionParamsEx used = optics;
        used.dXYPitch *= row.lateral;
        used.dZPitch *= row.axial;
        used.dPinhole = row.pinhole;
        OpenPsf psf;
        ASSERT_EQ(LayeredModel(psf, optics), 0);
        EXPECT_EQ(Floats(psf), row.generator(used)) << row.modality;
        EXPECT_EQ(psf.params.iModality, row.modality);
        EXPECT_EQ(psf.params.dXYPitch, optics.dXYPitch);
        EXPECT_EQ(psf.params.dZPitch, optics.dZPitch);
    }
}

TEST(PsfDrivers, LayeredModelNeverCallsBack) {
    ProgressLog record(0);
    OpenPsf psf;
    EXPECT_EQ(LayeredModel(psf, OilOptics(), &record), 0);
    ExpectPolls(record, 0);
}

// ------------------------------------------------------------------------------------------------ both

TEST(PsfDrivers, EveryModalitySumsTo1) {
    for (const int modality : {0, 1, 5, 7, 8}) {
        for (const bool centered : {false, true}) {
            SDiffractionParamsEx optics = OilOptics();
            optics.iModality = modality;
            OpenPsf psf;
            ASSERT_EQ(Fast(psf, optics, nullptr, centered), 0);
            EXPECT_NEAR(Sum(psf), 1.0, 1e-5) << modality;
            ASSERT_EQ(LayeredModel(psf, optics, nullptr, centered), 0);
            EXPECT_NEAR(Sum(psf), 1.0, 1e-5) << modality;
        }
    }
}

TEST(PsfDrivers, TakeTheGeometryThatTheObjectHolds) {
    const SDiffractionParamsEx optics = OilOptics();
    OpenPsf expected;
    ASSERT_EQ(Fast(expected, optics), 0);
    OpenPsf psf;
    ASSERT_EQ(psf.AllocatePSF(&kSizes), 0);
    ASSERT_EQ(psf.GeneratePSF(psf.GetSizes(), &optics, nullptr, nullptr, 1.0f, true, true), 0);
    EXPECT_EQ(Floats(psf), Floats(expected));
    ASSERT_EQ(psf.GeneratePSF(psf.GetSizes(), &psf.params, nullptr, nullptr, 1.0f, true, true), 0);
    EXPECT_EQ(Floats(psf), Floats(expected));
    ASSERT_EQ(LayeredModel(expected, optics), 0);
    ASSERT_EQ(psf.GeneratePSFEx(psf.GetSizes(), &optics, nullptr, nullptr, true, true), 0);
    EXPECT_EQ(Floats(psf), Floats(expected));
}

TEST(PsfDrivers, ExhaustedMemoryIsMinus3AndKeepsTheGeometry) {
    DFT3D impossible = kSizes;
    impossible.total = std::numeric_limits<std::int64_t>::max();
    const SDiffractionParamsEx optics = OilOptics();
    OpenPsf psf;
    EXPECT_EQ(psf.GeneratePSF(&impossible, &optics, nullptr, nullptr, 1.0f, true, true), -3);
    EXPECT_EQ(psf.pfPSF, nullptr);
    EXPECT_EQ(psf.sizes.total, impossible.total);
    EXPECT_EQ(psf.GeneratePSFEx(&impossible, &optics, nullptr, nullptr, true, true), -3);
    EXPECT_EQ(psf.pfPSF, nullptr);
    EXPECT_EQ(psf.sizes.total, impossible.total);
}

TEST(PsfDrivers, ThreadCountChangesNoBit) {
    SDiffractionParamsEx optics = OilOptics();
    optics.dDepthNm = 3000.0;
    optics.dSampleRefractiveIndex = 1.38;
    optics.dSphericalAberration = 0.3;
    for (const int modality : {0, 5}) {
        optics.iModality = modality;
        OpenPsf fast;
        OpenPsf layered;
        {
            const ThreadCount one(1);
            ASSERT_EQ(Fast(fast, optics), 0);
            ASSERT_EQ(LayeredModel(layered, optics), 0);
        }
        for (const int threads : {2, 5}) {
            const ThreadCount several(threads);
            OpenPsf psf;
            ASSERT_EQ(Fast(psf, optics), 0);
            EXPECT_EQ(Floats(psf), Floats(fast));
            ASSERT_EQ(LayeredModel(psf, optics), 0);
            EXPECT_EQ(Floats(psf), Floats(layered));
        }
    }
}

}  // namespace
