// SPDX-License-Identifier: MIT

// Plain Landweber on pictures: threshold, start, stop test and count.

#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "algorithms/zero_skipping_stop.h"
#include "support/bits.h"
#include "support/picture_landweber_calls.h"
#include "support/ref/picture_landweber.h"

namespace {

using namespace gnr::test;
using Call = LandweberPictureCall;

class PicturePlain : public testing::Test {
  protected:
    PicturePlain() { source.Fill(Scene); }

    std::vector<float> Restored(Call& call) {
        FloatPicture destination(19, 17);
        EXPECT_EQ(call.Plain(&destination, &source), 0);
        return destination.Samples();
    }
    std::vector<float> RestoredBy(double threshold) {
        Call call;
        call.threshold = threshold;
        return Restored(call);
    }
    FloatPicture source{19, 17};
};

// ---- threshold -------------------------------------------------------------------------------------------

TEST_F(PicturePlain, TheSquareOfTheThresholdIsCutAtSixty) {
    const auto most = RestoredBy(3.0);
    for (const double threshold : {2.6, 100.0, -3.0, 1e200, std::numeric_limits<double>::infinity()}) {
        EXPECT_TRUE(SameBits(RestoredBy(threshold), most)) << threshold;
    }
    EXPECT_FALSE(SameBits(RestoredBy(2.5), most));
    EXPECT_TRUE(SameBits(RestoredBy(-2.5), RestoredBy(2.5)));
}

TEST_F(PicturePlain, WithoutThresholdOfOneGreyValueNothingHappens) {
    source.Fill([](unsigned, unsigned) { return 120.0; });
    FloatPicture exact(16, 16);
    exact.Fill([](unsigned, unsigned) { return 120.0; });
    FloatPicture destination(16, 16);
    for (const double threshold : {0.0, 2.0}) {
        // 96 pixels are the frame of the wavelets itself, so that the range and with it the threshold is 0.
        Call call;
        call.threshold = threshold;
        call.iterations = 1;
        ASSERT_EQ(call.Plain(&destination, &exact), 0);
        EXPECT_NEAR(destination.Get(8, 8), 120.0f, 0.5f);
    }
}

// ---- start -----------------------------------------------------------------------------------------------

TEST_F(PicturePlain, WithoutIterationsFloatsComeBackAndIntegersBlurred_stays) {
    Call call;
    call.iterations = 0;
    const auto floats = Restored(call);
    EXPECT_EQ(call.done, 0u);
    for (std::size_t n = 0; n < floats.size(); ++n) ASSERT_NEAR(floats[n], source.Samples()[n], 1e-3);

    IntegerPicture integers(19, 17, 16);
    integers.Fill([](unsigned x, unsigned y) { return 200.0 * Scene(x, y); });
    IntegerPicture result(19, 17, 16);
    ASSERT_EQ(call.Plain(&result, &integers), 0);
    namespace ref = gnr::ref::picture_landweber;
    ref::Picture plain(19, 17, 1);
    for (int y = 0; y < 17; ++y) {
        for (int x = 0; x < 19; ++x) {
            plain.at(x, y, 0) = 200.0 * Scene(static_cast<unsigned>(x), static_cast<unsigned>(y));
        }
    }
    const ref::Picture blurred = ref::Prefiltered(ref::Framed(plain, 128, 128));
    bool differs = false;
    for (unsigned y = 0; y < 17; ++y) {
        for (unsigned x = 0; x < 19; ++x) {
            const double expected = blurred.at(static_cast<int>(x) + 40, static_cast<int>(y) + 40, 0);
            ASSERT_NEAR(result.Get(x, y), expected, 1.1);
            differs = differs || std::abs(expected - integers.Get(x, y)) > 100;
        }
    }
    EXPECT_TRUE(differs);
}

// ---- stop test and count ---------------------------------------------------------------------------------

/// A call whose stop test holds from the first time that it counts.
Call EarlyEnding(unsigned iterations) {
    Call call;
    call.psfSide = 4;
    call.psf = SinglePoint(0.8f);
    call.threshold = 2.5;
    call.iterations = iterations;
    return call;
}

TEST_F(PicturePlain, EndsAtTheSixthIterationAtTheEarliestAndCarriesItOut) {
    std::vector<float> six;
    for (const auto& [iterations, done] :
         {std::pair(1u, 1u), std::pair(5u, 5u), std::pair(6u, 6u), std::pair(7u, 6u), std::pair(99u, 6u)}) {
        ProgressLog log;
        Call call = EarlyEnding(iterations);
        call.log = &log;
        const auto got = Restored(call);
        EXPECT_EQ(call.done, done) << iterations;
        EXPECT_EQ(log.Calls().size(), done);
        if (iterations == 6) six = got;
        if (iterations > 6) {
            EXPECT_TRUE(SameBits(got, six));
        }
    }
}

TEST_F(PicturePlain, AStopAtTheLastIterationDoesNotCountIt) {
    ProgressLog log(5);
    Call call = EarlyEnding(99);
    call.log = &log;
    FloatPicture destination(19, 17);
    EXPECT_EQ(call.Plain(&destination, &source), -9);
    EXPECT_EQ(call.done, 5u);
}

/// Ratios 2, 1.9, 1.8, then none, then 1.7 and 1.699 of the one before.
TEST(ZeroSkippingStopTest, PassesOverADivergenceOfZero) {
    gnr::detail::ZeroSkippingStop stop(0.998);
    EXPECT_FALSE(stop.IsLast(1, 10.0));
    EXPECT_FALSE(stop.IsLast(2, 10.0 / 2.0));
    EXPECT_FALSE(stop.IsLast(3, 10.0 / 1.9));
    EXPECT_FALSE(stop.IsLast(4, 10.0 / 1.8));
    EXPECT_FALSE(stop.IsLast(5, 0.0));
    EXPECT_FALSE(stop.IsLast(6, 10.0 / 1.7)) << "compared with the ratio before the gap";
    EXPECT_TRUE(stop.IsLast(7, 10.0 / 1.699));
}

TEST(ZeroSkippingStopTest, EndsWhereTheRatioRisesFromTheSixthIterationOn) {
    for (const unsigned first : {2u, 3u, 4u, 5u}) {
        gnr::detail::ZeroSkippingStop stop(0.998);
        stop.IsLast(1, 10.0);
        for (unsigned i = 2; i < first; ++i) stop.IsLast(i, 10.0 + i);
        EXPECT_EQ(stop.IsLast(first, 1.0), first == 5) << first;
    }
}

TEST_F(PicturePlain, OnlyZerosRunToTheEnd) {
    source.Fill([](unsigned, unsigned) { return 0.0; });
    Call call;
    call.iterations = 12;
    for (const float v : Restored(call)) EXPECT_EQ(v, 0.0f);
    EXPECT_EQ(call.done, 12u);
}

/// Samples below 0 have no logarithm; a divergence that is no number never ends the run.
TEST_F(PicturePlain, ADivergenceThatIsNoNumberNeverEnds) {
    source.Fill([](unsigned x, unsigned y) { return x == 9 && y == 9 ? 5000.0 : 0.0; });
    Call call;
    call.threshold = 0.0;
    call.iterations = 12;
    Restored(call);
    EXPECT_EQ(call.done, 12u);
}

/// Without shrinkage the method is the same at every place, so that tiles differ at their margins only.
TEST_F(PicturePlain, TilesGiveAboutTheWhole) {
    FloatPicture large(130, 60);
    large.Fill(Scene);
    FloatPicture whole(130, 60);
    FloatPicture tiled(130, 60);
    Call call;
    call.threshold = 0;
    ASSERT_EQ(call.Plain(&whole, &large), 0);
    ASSERT_EQ(call.Plain(&tiled, &large, 2, 1, nullptr), 0);
    for (unsigned y = 0; y < 60; ++y) {
        for (unsigned x = 0; x < 130; ++x) ASSERT_NEAR(tiled.Get(x, y), whole.Get(x, y), 0.05);
    }
}

TEST_F(PicturePlain, TheCountMayBeNull) {
    FloatPicture destination(19, 17);
    auto psf = LopsidedPsf(6);
    EXPECT_EQ(CRy2DDeconvolutionFamily::LandweberProcessImage_Unaccel_NoSplit_x1(
                  &destination, &source, psf.data(), 6, nullptr, nullptr, 0, 2, false, 1.0, nullptr),
              0);
}

TEST_F(PicturePlain, TheRangeOfOneTileIsItsCount) {
    FloatPicture destination(19, 17);
    CRyUintRange range;
    range.Set(3);
    range.Add(900);
    Call call;
    call.iterations = 4;
    ASSERT_EQ(call.Plain(&destination, &source, 1, 1, &range), 0);
    EXPECT_EQ(range.uiMin, 4u);
    EXPECT_EQ(range.uiMax, 4u);
}

TEST_F(PicturePlain, TheRangeOfSeveralTilesStartsAtZero_stays) {
    FloatPicture large(120, 50);
    large.Fill(Scene);
    FloatPicture destination(120, 50);
    CRyUintRange range;
    range.Set(900);
    Call call;
    call.iterations = 4;
    ASSERT_EQ(call.Plain(&destination, &large, 2, 1, &range), 0);
    EXPECT_EQ(range.uiMin, 0u);
    EXPECT_EQ(range.uiMax, 4u);
    EXPECT_EQ(call.Plain(&destination, &large, 2, 1, nullptr), 0);
}

}  // namespace
