// SPDX-License-Identifier: MIT

// The Landweber entries of the 2D family: what both do alike, their progress, codes and counts.

#include <gtest/gtest.h>

#include <vector>

#include "support/bits.h"
#include "support/picture_landweber_calls.h"
#include "support/refused_alloc.h"
#include "support/threads.h"

namespace {

using namespace gnr::test;
using Call = LandweberPictureCall;

/// Both methods: with momentum, and plain.
class PictureLandweberEntries : public testing::TestWithParam<bool> {
  protected:
    PictureLandweberEntries() { source.Fill(Scene); }
    bool Accelerated() const { return GetParam(); }

    FloatPicture source{19, 17};
    FloatPicture destination{19, 17};
    const std::vector<float> untouched = destination.Samples();
};

INSTANTIATE_TEST_SUITE_P(Methods, PictureLandweberEntries, testing::Bool(),
                         [](const auto& method) { return method.param ? "Momentum" : "Plain"; });

// ---- progress --------------------------------------------------------------------------------------------

TEST_P(PictureLandweberEntries, OnePollBeforeEachIteration) {
    for (const unsigned iterations : {0u, 1u, 4u}) {
        ProgressLog log;
        Call call;
        call.iterations = iterations;
        call.log = &log;
        ASSERT_EQ(call.Run(Accelerated(), &destination, &source), 0);
        EXPECT_EQ(log.Calls(), std::vector(iterations, PictureReport(eProgressPoll)));
        for (const ProgressReport& report : log.Calls()) {
            EXPECT_EQ(report.hostPointer, &log);
            EXPECT_EQ(report.thread, std::this_thread::get_id());
        }
    }
}

TEST_P(PictureLandweberEntries, AStopAnywhereIsMinus9AndDeliversNothing) {
    for (int stopAt = 0; stopAt < 4; ++stopAt) {
        ProgressLog log(stopAt, stopAt % 2 == 0 ? 1 : -7);
        Call call;
        call.iterations = 4;
        call.log = &log;
        EXPECT_EQ(call.Run(Accelerated(), &destination, &source), -9);
        EXPECT_EQ(log.Calls(),
                  std::vector(static_cast<std::size_t>(stopAt) + 1, PictureReport(eProgressPoll)));
        EXPECT_TRUE(SameBits(destination.Samples(), untouched));
        if (Accelerated()) continue;
        EXPECT_EQ(call.done, static_cast<unsigned>(stopAt)) << "a stopped one counts not";
    }
}

TEST_P(PictureLandweberEntries, WatchingChangesNothing) {
    Call silent;
    ASSERT_EQ(silent.Run(Accelerated(), &destination, &source), 0);
    const std::vector<float> expected = destination.Samples();
    ProgressLog log;
    Call watched;
    watched.log = &log;
    ASSERT_EQ(watched.Run(Accelerated(), &destination, &source), 0);
    EXPECT_TRUE(SameBits(destination.Samples(), expected));
}

// ---- codes -----------------------------------------------------------------------------------------------

template <class Picture>
void ExpectRejected(bool accelerated, Picture& destination, Picture& source) {
    ProgressLog log;
    Call call;
    call.log = &log;
    const int live = RefusedAlloc::live;
    const RefusedAlloc first(0);
    EXPECT_EQ(call.Run(accelerated, &destination, &source), -2);
    EXPECT_FALSE(first.HasRefused()) << "asked for memory";
    EXPECT_EQ(RefusedAlloc::live, live);
    EXPECT_TRUE(log.Calls().empty());
    EXPECT_EQ(call.done, accelerated ? 77u : 0u);
}

TEST_P(PictureLandweberEntries, ColourAndSmallPicturesAreMinus2BeforeAnyAllocation) {
    for (const auto& [w, h, components] : {std::tuple(15u, 16u, 1u), std::tuple(16u, 15u, 1u),
                                           std::tuple(20u, 20u, 2u), std::tuple(20u, 20u, 0u)}) {
        SCOPED_TRACE(testing::Message() << w << 'x' << h << 'x' << components);
        FloatPicture floats(w, h, components);
        FloatPicture floatDestination(w, h, components);
        ExpectRejected(Accelerated(), floatDestination, floats);
        IntegerPicture integers(w, h, 8, 0, components);
        IntegerPicture integerDestination(w, h, 8, 0, components);
        ExpectRejected(Accelerated(), integerDestination, integers);
    }
}

TEST_P(PictureLandweberEntries, SixteenPixelsAreEnough) {
    IntegerPicture small(16, 16);
    IntegerPicture result(16, 16);
    small.Fill(Scene);
    Call call;
    EXPECT_EQ(call.Run(Accelerated(), &result, &small), 0);
}

/// Wavelets ask for scratch within the iterations, so that these fail too.
TEST_P(PictureLandweberEntries, WithoutMemoryIsMinus9AndKeepsNothing) {
    Call call;
    call.iterations = 2;
    const auto check = [&](int code) {
        EXPECT_EQ(code, -9);
        EXPECT_TRUE(SameBits(destination.Samples(), untouched));
        // An iteration that failed tells no count; a delivery that failed comes after the count.
        if (!Accelerated()) {
            EXPECT_TRUE(call.done == 0 || call.done == 2) << call.done;
        }
    };
    const int blocks = RefuseEachBlock(
        1, [&] { return call.Run(Accelerated(), &destination, &source); }, check);
    EXPECT_GT(blocks, 30) << "frames and bands, or a block was left behind";
}

// ---- samples ---------------------------------------------------------------------------------------------

TEST_P(PictureLandweberEntries, ReadsTheSourceOnlyAndHonoursThePitch) {
    for (const unsigned bits : {8u, 12u, 16u}) {
        IntegerPicture tight(19, 17, bits);
        IntegerPicture wide(19, 17, bits, 6);
        tight.Fill(Scene);
        wide.Fill(Scene);
        const auto before = wide.Bytes();
        IntegerPicture tightResult(19, 17, bits);
        IntegerPicture wideResult(19, 17, bits, 10);
        Call call;
        ASSERT_EQ(call.Run(Accelerated(), &tightResult, &tight), 0);
        ASSERT_EQ(call.Run(Accelerated(), &wideResult, &wide), 0);
        EXPECT_EQ(wide.Bytes(), before);
        const unsigned row = wideResult.record().uiPitch;
        for (unsigned y = 0; y < 17; ++y) {
            for (unsigned x = 0; x < 19; ++x) ASSERT_EQ(wideResult.Get(x, y), tightResult.Get(x, y));
            for (unsigned n = row - 10; n < row; ++n) {
                ASSERT_EQ(wideResult.Bytes()[std::size_t{y} * row + n], kSentinelByte) << "gap of row " << y;
            }
        }
    }
}

TEST_P(PictureLandweberEntries, ThePsfIsOnlyRead) {
    Call call;
    const auto before = call.psf;
    ASSERT_EQ(call.Run(Accelerated(), &destination, &source), 0);
    EXPECT_TRUE(SameBits(call.psf, before));
}

TEST_P(PictureLandweberEntries, LastRowAndColumnOfAnOddPsfHaveNoEffect_stays) {
    Call call;
    call.psfSide = 7;
    call.psf = LopsidedPsf(7);
    ASSERT_EQ(call.Run(Accelerated(), &destination, &source), 0);
    const std::vector<float> expected = destination.Samples();
    for (unsigned n = 0; n < 7; ++n) call.psf[n * 7 + 6] = call.psf[42 + n] = 50.0f;
    ASSERT_EQ(call.Run(Accelerated(), &destination, &source), 0);
    EXPECT_TRUE(SameBits(destination.Samples(), expected));
}

TEST_P(PictureLandweberEntries, APsfLargerThanAllFramesIsTaken) {
    Call call;
    call.psfSide = 300;
    call.psf = LopsidedPsf(300);
    EXPECT_EQ(call.Run(Accelerated(), &destination, &source), 0);
    for (const float v : destination.Samples()) ASSERT_GE(v, 0.0f);
}

/// The middle of the PSF lies in both frames, a point 100 pixels to its right in that of the transforms only.
TEST_P(PictureLandweberEntries, TheSumOfThePsfIsThatOfTheWaveletsFrame_stays) {
    FloatPicture wide(79, 17);
    wide.Fill(Scene);
    FloatPicture result(79, 17);
    Call call;
    call.iterations = 0;
    call.psfSide = 240;
    call.psf.assign(240 * 240, 0.0f);
    call.psf[120 * 240 + 120] = call.psf[120 * 240 + 220] = 0.5f;
    ASSERT_EQ(call.Run(Accelerated(), &result, &wide), 0);
    for (std::size_t n = 0; n < result.Samples().size(); ++n) {
        ASSERT_NEAR(result.Samples()[n], 2.0f * wide.Samples()[n], 1e-3);
    }
}

TEST_P(PictureLandweberEntries, TheResultDoesNotDependOnTheThreadCount) {
    Call call;
    call.iterations = 4;
    std::vector<float> serial;
    {
        const ThreadCount one(1);
        ASSERT_EQ(call.Run(Accelerated(), &destination, &source), 0);
        serial = destination.Samples();
    }
    const ThreadCount three(3);
    ASSERT_EQ(call.Run(Accelerated(), &destination, &source), 0);
    EXPECT_TRUE(SameBits(destination.Samples(), serial));
}

// ---- tiles -----------------------------------------------------------------------------------------------

TEST_P(PictureLandweberEntries, AGridOfOneIsThePictureItself) {
    Call call;
    ASSERT_EQ(call.Run(Accelerated(), &destination, &source), 0);
    const std::vector<float> expected = destination.Samples();
    FloatPicture whole(19, 17);
    ASSERT_EQ(call.Run(Accelerated(), &whole, &source, 1, 1), 0);
    EXPECT_TRUE(SameBits(whole.Samples(), expected));
}

TEST_P(PictureLandweberEntries, AnEmptyGridLeavesTheDestination) {
    Call call;
    EXPECT_EQ(call.Run(Accelerated(), &destination, &source, 0, 3), 0);
    EXPECT_EQ(call.Run(Accelerated(), &destination, &source, 2, 0x80000000u), 0);
    EXPECT_TRUE(SameBits(destination.Samples(), untouched));
}

TEST_P(PictureLandweberEntries, AStopInTheThirdTileLeavesItBlackAndTheFourthUntouched) {
    IntegerPicture large(110, 104);
    IntegerPicture result(110, 104);
    large.Fill(Scene);
    ProgressLog log(5);
    Call call;
    call.iterations = 2;
    call.log = &log;
    EXPECT_EQ(call.Run(Accelerated(), &result, &large, 2, 2), -9);
    EXPECT_EQ(log.Calls().size(), 6u);
    bool delivered = false;
    for (unsigned y = 0; y < 104; ++y) {
        for (unsigned x = 0; x < 110; ++x) {
            const unsigned v = result.Get(x, y);
            if (y < 52) delivered = delivered || (v != 0 && v != kSentinelByte);
            if (y >= 52) {
                ASSERT_EQ(v, x < 55 ? 0u : kSentinelByte);
            }
        }
    }
    EXPECT_TRUE(delivered);
}

}  // namespace
