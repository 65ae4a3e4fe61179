// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/psf_3d.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "support/psf_access.h"

namespace {

using namespace gnr::test;

bool SameSizes(const DFT3D& a, const DFT3D& b) {
    return a.rowLength == b.rowLength && a.rows == b.rows && a.planes == b.planes &&
           a.planeStride == b.planeStride && a.total == b.total;
}

/// A PSF whose floats, padding included, are 1, 2, 3 and so on.
void Number(OpenPsf& psf, unsigned x, unsigned y, unsigned z) {
    ASSERT_EQ(psf.AllocatePSF(x, y, z), 0);
    for (std::int64_t n = 0; n < psf.sizes.total; ++n) psf.pfPSF[n] = static_cast<float>(n + 1);
}

std::vector<float> Floats(const FloatPSF3D& psf) {
    return {psf.pfPSF, psf.pfPSF + psf.sizes.total};
}

// --------------------------------------------------------------------------------------------- memory

TEST(PsfObject, BeginsEmpty) {
    const FloatPSF3D psf;
    EXPECT_EQ(psf.GetPSFPtr(), nullptr);
    EXPECT_TRUE(SameSizes(*psf.GetSizes(), DFT3D{0, 0, 0, 0, 0}));
    EXPECT_EQ(psf.GetSizes(), &psf.sizes);
}

TEST(PsfObject, GeometryCountsPaddingAndPlanes) {
    EXPECT_TRUE(SameSizes(Geometry(5, 4, 3), DFT3D{7, 4, 3, 28, 84}));
    DFT3D s = Geometry(5, 4, 3);
    OpenPsf::DFT3D_ZeroSizes(&s);
    EXPECT_TRUE(SameSizes(s, DFT3D{0, 0, 0, 0, 0}));
}

TEST(PsfObject, AllocatesAlignedZeroedFloatsBothWays) {
    FloatPSF3D psf;
    ASSERT_EQ(psf.AllocatePSF(5, 4, 3), 0);
    EXPECT_TRUE(SameSizes(psf.sizes, Geometry(5, 4, 3)));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(psf.GetPSFPtr()) % 16, 0u);
    for (const float v : Floats(psf)) ASSERT_EQ(v, 0.0f);
    const DFT3D s = Geometry(2, 3, 4);
    ASSERT_EQ(psf.AllocatePSF(&s), 0);
    EXPECT_TRUE(SameSizes(psf.sizes, s));
    psf.DestroyPSF();
    EXPECT_EQ(psf.GetPSFPtr(), nullptr);
    EXPECT_TRUE(SameSizes(psf.sizes, DFT3D{0, 0, 0, 0, 0}));
    psf.DestroyPSF();
}

TEST(PsfObject, AllocatesTheGeometryThatItHolds) {
    OpenPsf psf;
    Number(psf, 5, 4, 3);
    ASSERT_EQ(psf.AllocatePSF(psf.GetSizes()), 0);
    EXPECT_TRUE(SameSizes(psf.sizes, Geometry(5, 4, 3)));
    for (const float v : Floats(psf)) ASSERT_EQ(v, 0.0f);
}

TEST(PsfObject, FailedAllocationKeepsTheGeometryAndHoldsNothing) {
    FloatPSF3D psf;
    ASSERT_EQ(psf.AllocatePSF(4, 4, 4), 0);
    DFT3D impossible = Geometry(4, 4, 4);
    impossible.total = std::numeric_limits<std::int64_t>::max();
    EXPECT_EQ(psf.AllocatePSF(&impossible), -3);
    EXPECT_EQ(psf.GetPSFPtr(), nullptr);
    EXPECT_TRUE(SameSizes(psf.sizes, impossible));
}

TEST(PsfObject, CopyDuplicates) {
    OpenPsf a;
    Number(a, 5, 4, 3);
    a.params.dNA = 1.25;
    OpenPsf b;
    ASSERT_EQ(b.AllocatePSF(2, 2, 2), 0);
    b.Copy(a);
    EXPECT_NE(b.pfPSF, a.pfPSF);
    EXPECT_TRUE(SameSizes(b.sizes, a.sizes));
    EXPECT_EQ(b.params.dNA, 1.25);
    EXPECT_EQ(Floats(b), Floats(a));
    a.Copy(a);
    EXPECT_EQ(Floats(b), Floats(a));
}

TEST(PsfObject, CopyWithoutMemoryHoldsNothing) {
    OpenPsf a;
    Number(a, 2, 2, 2);
    const std::int64_t total = a.sizes.total;
    a.sizes.total = std::numeric_limits<std::int64_t>::max();
    OpenPsf b;
    b.Copy(a);
    EXPECT_EQ(b.pfPSF, nullptr);
    a.sizes.total = total;
}

TEST(PsfObject, AssignmentIsShallow_stays) {
    OpenPsf a;
    Number(a, 2, 2, 2);
    a.params.iModality = 7;
    FloatPSF3D b;
    b = a;
    EXPECT_EQ(b.pfPSF, a.pfPSF);
    EXPECT_TRUE(SameSizes(b.sizes, a.sizes));
    EXPECT_EQ(b.params.iModality, 7);
    b.pfPSF = nullptr;  // one owner is left
}

// --------------------------------------------------------------------------------- transform, square

TEST(PsfObject, TransformAndInversionGiveTheSamplesBack) {
    OpenPsf psf;
    Number(psf, 6, 5, 4);
    const std::vector<float> before = Floats(psf);
    double sum = 0.0;
    for (int z = 0; z < 4; ++z) {
        for (int y = 0; y < 5; ++y) {
            for (int x = 0; x < 6; ++x) sum += psf.at(x, y, z);
        }
    }
    psf.TransformPSF();
    EXPECT_NEAR(psf.pfPSF[0], sum, 1e-6 * sum);
    EXPECT_EQ(psf.pfPSF[1], 0.0f);
    psf.InvertPSF();
    for (std::size_t n = 0; n < before.size(); ++n) {
        if (n % 8 < 6) {
            ASSERT_NEAR(psf.pfPSF[n], before[n], 1e-4f) << n;
        }
    }
}

TEST(PsfObject, SquareTakesThePaddingToo) {
    OpenPsf psf;
    Number(psf, 3, 3, 3);
    psf.SquarePSF();
    for (std::int64_t n = 0; n < psf.sizes.total; ++n) {
        ASSERT_EQ(psf.pfPSF[n], static_cast<float>((n + 1) * (n + 1)));
    }
}

// ---------------------------------------------------------------------------------------- normalising

TEST(PsfNormalize, SumCountsUsableColumnsAndScalesAll) {
    for (const bool padded : {false, true}) {
        OpenPsf psf;
        Number(psf, 4, 3, 2);
        const std::vector<float> before = Floats(psf);
        double sum = 0.0;
        for (std::size_t n = 0; n < before.size(); ++n) {
            if (!padded || n % 6 < 4) sum += before[n];
        }
        psf.Normalize(NormalizeToSum, 2.0, padded);
        for (std::size_t n = 0; n < before.size(); ++n) {
            const float expected = padded && n % 6 >= 4 ? 0.0f : static_cast<float>(before[n] * (2.0 / sum));
            ASSERT_EQ(psf.pfPSF[n], expected) << n;
        }
    }
}

TEST(PsfNormalize, MaximumCountsUsableColumnsAndScalesAll) {
    for (const bool padded : {false, true}) {
        OpenPsf psf;
        Number(psf, 4, 3, 2);
        const std::vector<float> before = Floats(psf);
        const float maximum = padded ? 34.0f : 36.0f;
        psf.Normalize(NormalizeToMaximum, 5.0, padded);
        for (std::size_t n = 0; n < before.size(); ++n) {
            const float expected = padded && n % 6 >= 4 ? 0.0f : before[n] * (5.0f / maximum);
            ASSERT_EQ(psf.pfPSF[n], expected) << n;
        }
    }
}

TEST(PsfNormalize, ZeroSumKeepsTheSamples_stays) {
    OpenPsf psf;
    ASSERT_EQ(psf.AllocatePSF(4, 2, 1), 0);
    psf.at(0, 0, 0) = 3.0f;
    psf.at(1, 0, 0) = -3.0f;
    psf.at(4, 1, 0) = kSentinel;
    psf.Normalize(NormalizeToSum, 7.0, true);
    EXPECT_EQ(psf.at(0, 0, 0), 3.0f);
    EXPECT_EQ(psf.at(1, 0, 0), -3.0f);
    EXPECT_EQ(psf.at(4, 1, 0), 0.0f);
}

TEST(PsfNormalize, ZeroVolumeStaysZeroAndLosesItsPadding) {
    for (const ENormalizationType type : {NormalizeToMaximum, NormalizeToSum}) {
        OpenPsf psf;
        ASSERT_EQ(psf.AllocatePSF(4, 2, 1), 0);
        psf.at(4, 0, 0) = psf.at(5, 1, 0) = kSentinel;
        psf.Normalize(type, 7.0, true);
        for (const float v : Floats(psf)) ASSERT_EQ(v, 0.0f);
    }
}

TEST(PsfNormalize, MaximumOfZeroTakesTheValueAsTheFactor_stays) {
    OpenPsf psf;
    ASSERT_EQ(psf.AllocatePSF(4, 1, 1), 0);
    psf.at(2, 0, 0) = -1.0f;
    psf.Normalize(NormalizeToMaximum, 7.0, true);
    EXPECT_EQ(psf.at(2, 0, 0), -7.0f);
}

TEST(PsfNormalize, OtherTypesTouchNothing) {
    OpenPsf psf;
    Number(psf, 4, 2, 2);
    const std::vector<float> before = Floats(psf);
    for (const int type : {0, 3, -1}) psf.Normalize(static_cast<ENormalizationType>(type), 7.0, true);
    EXPECT_EQ(Floats(psf), before);
}

// --------------------------------------------------------------------------------------- peak search

TEST(PsfMaximum, FirstOfEqualsWinsAndPaddingCounts) {
    OpenPsf psf;
    ASSERT_EQ(psf.AllocatePSF(4, 3, 2), 0);
    int x = -1, y = -1, z = -1;
    float maximum = -1.0f;
    psf.GetMaxValue(x, y, z, &maximum);
    EXPECT_EQ((std::vector<int>{x, y, z}), (std::vector<int>{0, 0, 0}));
    EXPECT_EQ(maximum, 0.0f);
    psf.at(5, 1, 0) = psf.at(2, 2, 1) = 4.0f;
    psf.GetMaxValue(x, y, z, &maximum);
    EXPECT_EQ((std::vector<int>{x, y, z}), (std::vector<int>{5, 1, 0}));
    EXPECT_EQ(maximum, 4.0f);
    psf.at(2, 2, 1) = 5.0f;
    psf.GetMaxValue(x, y, z, nullptr);
    EXPECT_EQ((std::vector<int>{x, y, z}), (std::vector<int>{2, 2, 1}));
}

TEST(PsfMaximum, EmptyObjectGivesTheOrigin) {
    FloatPSF3D psf;
    int x = 1, y = 1, z = 1;
    float maximum = 9.0f;
    psf.GetMaxValue(x, y, z, &maximum);
    EXPECT_EQ((std::vector<int>{x, y, z}), (std::vector<int>{0, 0, 0}));
    EXPECT_EQ(maximum, 9.0f);
    x = y = z = 1;
    psf.GetMaxValueCenter(0.5f, x, y, z);
    EXPECT_EQ((std::vector<int>{x, y, z}), (std::vector<int>{0, 0, 0}));
}

TEST(PsfMaximum, CenterIsTheTruncatedMeanOfWhatReachesTheThreshold) {
    OpenPsf psf;
    ASSERT_EQ(psf.AllocatePSF(8, 6, 4), 0);
    psf.at(2, 1, 0) = 10.0f;
    psf.at(5, 4, 3) = 8.0f;
    psf.at(7, 5, 3) = 7.9f;
    int x, y, z;
    psf.GetMaxValueCenter(0.2f, x, y, z);
    EXPECT_EQ((std::vector<int>{x, y, z}), (std::vector<int>{3, 2, 1}));  // means 3.5, 2.5, 1.5
    psf.GetMaxValueCenter(0.0f, x, y, z);
    EXPECT_EQ((std::vector<int>{x, y, z}), (std::vector<int>{2, 1, 0}));
}

// --------------------------------------------------------------------------------------------- shift

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

// --------------------------------------------------------------------------------------------- sizes

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
