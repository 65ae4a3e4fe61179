// SPDX-License-Identifier: MIT

// Edges of the kernels of the fast model: which planes and samples they write, when they ask the host.

#include <gnr_deconvolution/psf_3d.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "support/psf_access.h"

namespace {

using namespace gnr::test;

/// A volume of sentinels, so that what a kernel leaves unwritten shows.
class PsfKernels : public testing::Test {
  protected:
    void Allocate(unsigned x, unsigned y, unsigned z) {
        ASSERT_EQ(psf.AllocatePSF(x, y, z), 0);
        std::fill_n(psf.pfPSF, psf.sizes.total, kSentinel);
    }
    int Airy(bool centered, bool padded, ProgressLog* record = nullptr) {
        return psf.KERNEL3D_Airy(&psf.sizes, psf.pfPSF, &optics, centered,
                                 record != nullptr ? &ProgressLog::Record : nullptr, record, 1.0f, padded);
    }
    /// Planes that hold anything but sentinels.
    std::vector<int> PlanesWritten() {
        std::vector<int> planes;
        for (int z = 0; z < psf.sizes.planes; ++z) {
            const float* const plane = psf.pfPSF + std::int64_t{z} * psf.sizes.planeStride;
            if (!std::all_of(plane, plane + psf.sizes.planeStride, [](float v) { return v == kSentinel; })) {
                planes.push_back(z);
            }
        }
        return planes;
    }

    OpenPsf psf;
    SDiffractionParamsEx optics = OilOptics();
};

std::vector<int> Range(int first, int last) {
    std::vector<int> range;
    for (int i = first; i <= last; ++i) range.push_back(i);
    return range;
}

// ---------------------------------------------------------------------------------------- Airy kernel

TEST_F(PsfKernels, AiryBandWidensAsTheApertureFalls) {
    const struct {
        double aperture;
        int halfWidth;
    } bands[] = {{1.4, 3}, {0.5, 12}, {1.5, 2}, {1.7, 2}};
    for (const auto& band : bands) {
        Allocate(4, 4, 40);
        optics.dNA = band.aperture;
        optics.dRefractiveIndex = 2.0;
        ASSERT_EQ(Airy(true, true), 0);
        EXPECT_EQ(PlanesWritten(), Range(20 - band.halfWidth, 20 + band.halfWidth)) << band.aperture;
    }
}

TEST_F(PsfKernels, AiryBandIsCutAtTheVolume) {
    Allocate(4, 4, 6);
    optics.dNA = 0.5;
    ASSERT_EQ(Airy(true, true), 0);
    EXPECT_EQ(PlanesWritten(), Range(0, 5));
}

TEST_F(PsfKernels, AiryLeavesPlanesOutsideTheBandUnwritten_stays) {
    Allocate(4, 4, 20);
    ASSERT_EQ(Airy(false, true), 0);
    // Band 7 to 13 of 20 planes, the focus at plane 10 wrapped to 0.
    EXPECT_EQ(PlanesWritten(), (std::vector<int>{0, 1, 2, 3, 17, 18, 19}));
}

TEST_F(PsfKernels, AiryWritesEveryUsableColumnWhenCentered) {
    for (const bool padded : {false, true}) {
        Allocate(6, 5, 3);
        ASSERT_EQ(Airy(true, padded), 0);
        for (int z = 0; z < 3; ++z) {
            for (int y = 0; y < 5; ++y) {
                for (int x = 0; x < 8; ++x) {
                    ASSERT_EQ(psf.at(x, y, z) == kSentinel, padded && x >= 6) << x << " " << y << " " << z;
                }
            }
        }
    }
}

TEST_F(PsfKernels, AiryLeavesTheMiddleOfEvenSidesUnwrittenWhenWrapped_stays) {
    Allocate(6, 4, 3);
    ASSERT_EQ(Airy(false, true), 0);
    for (int z = 0; z < 3; ++z) {
        for (int y = 0; y < 4; ++y) {
            for (int x = 0; x < 8; ++x) {
                ASSERT_EQ(psf.at(x, y, z) == kSentinel, x == 3 || x >= 6 || y == 2)
                    << x << " " << y << " " << z;
            }
        }
    }
}

TEST_F(PsfKernels, AiryWritesAllOfOddSidesWhenWrapped) {
    Allocate(5, 7, 3);
    ASSERT_EQ(Airy(false, true), 0);
    for (int y = 0; y < 7; ++y) {
        for (int x = 0; x < 7; ++x) ASSERT_EQ(psf.at(x, y, 0) == kSentinel, x >= 5) << x << " " << y;
    }
}

TEST_F(PsfKernels, AiryOfOnePlaneIsInFocus) {
    for (const bool centered : {false, true}) {
        Allocate(9, 9, 1);
        ASSERT_EQ(Airy(centered, true), 0);
        int x, y, z;
        std::replace(psf.pfPSF, psf.pfPSF + psf.sizes.total, kSentinel, 0.0f);
        psf.GetMaxValue(x, y, z, nullptr);
        EXPECT_EQ((std::vector<int>{x, y, z}), (std::vector<int>{centered ? 4 : 0, centered ? 4 : 0, 0}));
    }
}

TEST_F(PsfKernels, AiryWrapsTheFocusOfAnOddDepthToPlane0) {
    Allocate(9, 9, 5);
    ASSERT_EQ(Airy(false, true), 0);
    std::replace(psf.pfPSF, psf.pfPSF + psf.sizes.total, kSentinel, 0.0f);
    int x, y, z;
    psf.GetMaxValue(x, y, z, nullptr);
    // Middle 2, (5 - 2 + 2) % 5.
    EXPECT_EQ(z, 0);
}

TEST_F(PsfKernels, AiryAtTheRefractiveIndexEnds) {
    Allocate(16, 16, 5);
    optics.dNA = optics.dRefractiveIndex;
    EXPECT_EQ(Airy(true, true), 0);
    EXPECT_EQ(PlanesWritten(), Range(0, 4));
}

TEST_F(PsfKernels, AiryOfImpossibleOpticsEnds) {
    optics.dNA = 0.0;
    Allocate(8, 8, 3);
    EXPECT_EQ(Airy(true, true), 0);
    optics = OilOptics();
    optics.dWavelength = 0.0;
    EXPECT_EQ(Airy(true, true), 0);
    optics = OilOptics();
    optics.dNA = std::nan("");
    EXPECT_EQ(Airy(true, true), 0);
}

TEST_F(PsfKernels, AiryScaleIsALateralPitch) {
    Allocate(9, 9, 1);
    ASSERT_EQ(psf.KERNEL3D_Airy(&psf.sizes, psf.pfPSF, &optics, true, nullptr, nullptr, 2.0f, true), 0);
    const float scaled = psf.at(6, 4, 0);
    ASSERT_EQ(Airy(true, true), 0);
    EXPECT_EQ(scaled, psf.at(8, 4, 0));
}

TEST_F(PsfKernels, AiryPollsBeforeEachPlaneAndStopsAtAnyOfThem) {
    ProgressLog log;
    Allocate(4, 4, 20);
    ASSERT_EQ(Airy(true, true, &log), 0);
    ExpectPolls(log, 20);
    for (std::size_t stop = 0; stop < 20; ++stop) {
        ProgressLog record(static_cast<int>(stop));
        Allocate(4, 4, 20);
        ASSERT_EQ(Airy(true, true, &record), -1);
        ExpectPolls(record, stop + 1);
        EXPECT_EQ(PlanesWritten(), Range(7, std::min(13, static_cast<int>(stop) - 1)));
    }
}

// ------------------------------------------------------------------------------------ defocus kernels

class DefocusKernels : public PsfKernels, public testing::WithParamInterface<bool> {
  protected:
    int Run(bool centered, bool padded, ProgressLog* record = nullptr) {
        const auto kernel = GetParam() ? &OpenPsf::KERNEL3D_2Photon : &OpenPsf::KERNEL3D_GibsonLani;
        return (psf.*kernel)(&psf.sizes, psf.pfPSF, &optics, centered,
                             record != nullptr ? &ProgressLog::Record : nullptr, record, 1.0f, padded);
    }
    bool PlaneIsZero(int z) {
        const float* const plane = psf.pfPSF + std::int64_t{z} * psf.sizes.planeStride;
        return std::all_of(plane, plane + psf.sizes.planeStride, [](float v) { return v == 0.0f; });
    }
};

INSTANTIATE_TEST_SUITE_P(BothForms, DefocusKernels, testing::Bool(),
                         [](const auto& form) { return form.param ? "TwoPhoton" : "GibsonLani"; });

/// Without a phase the table is the Bessel transform of the pupil, sum of J0(w rho) rho.
TEST_P(DefocusKernels, FocusIsAPureBesselTransform) {
    for (const unsigned planes : {4u, 5u}) {
        Allocate(9, 9, planes);
        ASSERT_EQ(Run(true, true), 0);
        double sum = 0.0;
        for (int q = 0; q < 1024; ++q) sum += q / 1024.0;
        const int focus = static_cast<int>(planes) / 2;
        EXPECT_FLOAT_EQ(psf.at(4, 4, focus), static_cast<float>(GetParam() ? sum : std::sqrt(sum)));
        int x, y, z;
        psf.GetMaxValue(x, y, z, nullptr);
        EXPECT_EQ((std::vector<int>{x, y, z}), (std::vector<int>{4, 4, focus}));
    }
}

TEST_P(DefocusKernels, PlanesFartherThan36StayZero) {
    Allocate(4, 4, 81);
    optics.dZPitch = 1.0;
    ASSERT_EQ(Run(true, true), 0);
    for (int z = 0; z < 81; ++z) ASSERT_EQ(PlaneIsZero(z), std::abs(z - 40) > 36) << z;
}

TEST_P(DefocusKernels, RadiiBeyondTheTableAreZero) {
    Allocate(64, 64, 1);
    optics.dNA = 0.2;
    ASSERT_EQ(Run(true, true), 0);
    EXPECT_GT(psf.at(32, 32, 0), 0.0f);
    EXPECT_EQ(psf.at(0, 0, 0), 0.0f);
    EXPECT_EQ(psf.at(63, 63, 0), 0.0f);
}

// A cone of 1 um at tangent T fills T / (10 pitch) * 2 + 10 half samples, all of it truncated at once.
TEST_P(DefocusKernels, TableCountIsTheTruncationOfTheWhole_stays) {
    Allocate(64, 8, 1);
    optics.dNA = 1.0;
    optics.dRefractiveIndex = std::sqrt(2.0);
    optics.dXYPitch = 0.11;  // 1.818 + 10: entries 0 to 10, so the table ends within sample 5.5
    ASSERT_EQ(Run(true, true), 0);
    EXPECT_NE(psf.at(32 + 5, 4, 0), 0.0f);
    EXPECT_EQ(psf.at(32 + 6, 4, 0), 0.0f);
}

TEST_P(DefocusKernels, MiddleStaysZeroWhenWrapped_stays) {
    Allocate(16, 8, 1);  // columns below 18 / 2 - 2 = 7
    ASSERT_EQ(Run(false, true), 0);
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 18; ++x) {
            const bool laid = (x < 7 || (x > 9 && x < 16)) && y != 4;
            if (!laid) {
                ASSERT_EQ(psf.at(x, y, 0), 0.0f) << x << " " << y;
            }
        }
    }
    EXPECT_NE(psf.at(4, 0, 0), 0.0f);
    EXPECT_EQ(psf.at(12, 0, 0), psf.at(4, 0, 0));
    EXPECT_EQ(psf.at(12, 6, 0), psf.at(4, 2, 0));
}

TEST_P(DefocusKernels, PollsBeforeEachPlaneAndStopsAtAnyOfThem) {
    ProgressLog log;
    Allocate(4, 4, 7);
    ASSERT_EQ(Run(true, true, &log), 0);
    ExpectPolls(log, 7);
    for (std::size_t stop = 0; stop < 7; ++stop) {
        ProgressLog record(static_cast<int>(stop));
        Allocate(4, 4, 7);
        ASSERT_EQ(Run(true, true, &record), -1);
        ExpectPolls(record, stop + 1);
        for (int z = 0; z < 7; ++z) EXPECT_EQ(PlaneIsZero(z), z >= static_cast<int>(stop)) << z;
    }
}

TEST_P(DefocusKernels, ApertureAboveTheIndexEnds) {
    Allocate(8, 8, 3);
    optics.dNA = 2.0;
    EXPECT_EQ(Run(true, true), 0);
}

}  // namespace
