// SPDX-License-Identifier: MIT

// The one-call Richardson-Lucy entries as their host sees them: codes, untouched inputs, progress and stops.

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <vector>

#include "support/bits.h"
#include "support/richardson_lucy_calls.h"

namespace {

using namespace gnr::test;
using Call = RichardsonLucyCall;

class RichardsonLucyEntries : public testing::TestWithParam<RichardsonLucy> {
  protected:
    Call Make(int iterations) const { return {GetParam(), observed, psf, iterations}; }
    const Volume psf = AsymmetricPsf(6, 5, 4, 1.2);
    const Volume observed = Observed(Scene(6, 5, 4, 20, 400), AsymmetricPsf(6, 5, 4), 0.02f);
};

INSTANTIATE_TEST_SUITE_P(Entries, RichardsonLucyEntries, testing::ValuesIn(kRichardsonLucyEntries),
                         [](const auto& entry) { return NameOf(entry.param); });

// -------------------------------------------------------------------------------------------- codes, inputs

TEST_P(RichardsonLucyEntries, SuccessIsOneAndTheResultZero) {
    for (const int iterations : {0, 1, 4}) {
        Call call = Make(iterations);
        EXPECT_EQ(call.Run(), 1);
        EXPECT_EQ(Bits(call.result), Bits(call.HasResult() ? 0.0f : 77.0f));
    }
}

TEST_P(RichardsonLucyEntries, NoIterationsLeaveTheImage) {
    for (const int iterations : {0, -1, std::numeric_limits<int>::min()}) {
        Call call = Make(iterations);
        call.image.at(2, 3, 1) = -5;
        call.image.FillPadding(-kSentinel);
        Volume expected = call.image;
        EXPECT_EQ(call.Run(), 1);
        if (GetParam() != RichardsonLucy::kAutomatic) {
            EXPECT_TRUE(SameBytes(call.image, expected));
            continue;
        }
        expected.at(2, 3, 1) = 0;
        const float maximum = LargestSample(observed) + 1e-10f;
        expected.Fill([&](int i, int j, int k) { return expected.at(i, j, k) * (1.0f / maximum) * maximum; });
        EXPECT_TRUE(SameImage(call.image, expected));
        EXPECT_TRUE(call.image.PaddingHolds(0));
        EXPECT_EQ(call.done, 0u);
    }
}

/// The automatic entry scales the image first.
TEST(RichardsonLucyEntriesWithoutMemory, TheImageStays) {
    const Volume observed = Scene(6, 5, 4, 20, 400);
    for (const RichardsonLucy entry :
         {RichardsonLucy::kManual, RichardsonLucy::kPlain, RichardsonLucy::kRealTV}) {
        Call call(entry, observed, AsymmetricPsf(6, 5, 4), 3);
        call.beyondMemory = true;
        EntryLog log;
        EXPECT_EQ(call.Run(&log), -9);
        EXPECT_TRUE(SameBytes(call.image, observed));
        EXPECT_TRUE(log.log.Calls().empty());
        EXPECT_EQ(call.result, 77.0f);
    }
}

TEST_P(RichardsonLucyEntries, ThePsfIsOnlyRead) {
    Call call = Make(3);
    if (GetParam() != RichardsonLucy::kPlain) call.psf.FillPadding(kSentinel);
    const Volume before = call.psf;
    ASSERT_EQ(call.Run(), 1);
    EXPECT_TRUE(SameBytes(call.psf, before));
}

TEST_P(RichardsonLucyEntries, UnusedArgumentsAndAbsentOnesChangeNothing) {
    Call call = Make(4);
    Call other = Make(4);
    other.unused = -7;
    other.asked = false;
    EntryLog log;
    ASSERT_EQ(call.Run(&log), 1);
    ASSERT_EQ(other.Run(), 1);
    EXPECT_TRUE(SameBytes(call.image, other.image));
    EXPECT_EQ(other.done, 77u);
}

/// Buffers of the host need no alignment beyond that of a float, and the bits do not depend on it.
TEST_P(RichardsonLucyEntries, AnyAlignmentGivesTheSameBits) {
    Call aligned = Make(4);
    ASSERT_EQ(aligned.Run(), 1);
    const auto floats = static_cast<std::size_t>(observed.sizes.total);
    for (std::size_t offset = 1; offset <= 3; ++offset) {
        Call call = Make(4);
        std::vector<float> image(floats + offset + 1, kSentinel);
        std::vector<float> spread(floats + offset + 1, kSentinel);
        std::copy_n(call.image.get(), floats, image.data() + offset);
        std::copy_n(call.psf.get(), floats, spread.data() + offset);
        ASSERT_EQ(call.RunOn(image.data() + offset, spread.data() + offset), 1);
        EXPECT_EQ(image[offset - 1], kSentinel);
        EXPECT_EQ(image.back(), kSentinel);
        EXPECT_TRUE(SameBits({image.data() + offset, floats}, {aligned.image.get(), floats}));
    }
}

TEST_P(RichardsonLucyEntries, RunsRepeatWithEqualBytesAtEqualThreadCount) {
    for (const int threads : {1, 2, 5}) {
        const ThreadCount scope(threads);
        Call first = Make(5);
        Call second = Make(5);
        ASSERT_EQ(first.Run(), 1);
        ASSERT_EQ(second.Run(), 1);
        EXPECT_TRUE(SameBytes(first.image, second.image)) << threads;
    }
}

// ------------------------------------------------------------------------------------------------- progress

TEST_P(RichardsonLucyEntries, BeginAndEndForEachIteration) {
    for (const int iterations : {0, 1, 4}) {
        Call call = Make(iterations);
        EntryLog log;
        ASSERT_EQ(call.Run(&log), 1);
        EXPECT_EQ(log.log.Calls(), RichardsonLucyReports(GetParam(), 2 * iterations));
    }
}

/// A stop leaves the image of the last finished iteration, and the count of them.
TEST_P(RichardsonLucyEntries, StopAtEveryCall) {
    for (int at = 0; at < 8; ++at) {
        SCOPED_TRACE(at);
        const int finished = (at + 1) / 2;
        Call call = Make(4);
        EntryLog log(at, -at - 1);
        EXPECT_EQ(call.Run(&log), -8);
        EXPECT_EQ(log.log.Calls(), RichardsonLucyReports(GetParam(), at + 1));
        const bool counts = GetParam() == RichardsonLucy::kAutomatic;
        EXPECT_EQ(call.done, counts ? static_cast<unsigned>(finished) : 77u);
        EXPECT_EQ(Bits(call.result), Bits(call.HasResult() ? 0.0f : 77.0f));
        Call shorter = Make(finished);
        ASSERT_EQ(shorter.Run(), 1);
        EXPECT_TRUE(SameBytes(call.image, shorter.image));
    }
}

TEST(LucyRichardson, TheBeginOfAUnitCountsOneToo_stays) {
    const Volume psf = AsymmetricPsf(6, 5, 4);
    Call call(RichardsonLucy::kPlain, Scene(6, 5, 4, 20, 400), psf, 3);
    EntryLog log;
    ASSERT_EQ(call.Run(&log), 1);
    EXPECT_EQ(log.log.Units(), 6u);
}

}  // namespace
