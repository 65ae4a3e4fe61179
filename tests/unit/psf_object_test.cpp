// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/psf_3d.h>
#include <gtest/gtest.h>

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

}  // namespace
