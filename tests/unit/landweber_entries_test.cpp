// SPDX-License-Identifier: MIT

// The one-call Landweber entries as their host sees them: codes, untouched inputs, progress and stops.

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>

#include "support/ref/landweber_calls.h"

namespace {

using namespace gnr::test;
using Entry = LandweberEntryCall;

/// Both entries: with restarts, and automatic.
class LandweberEntries : public testing::TestWithParam<bool> {
  protected:
    bool Automatic() const { return GetParam(); }
    Entry Make(int iterations) const { return {observed, psf, iterations}; }
    const Volume psf = AsymmetricPsf(6, 5, 4, 1.2);
    const Volume observed = Observed(Scene(6, 5, 4, 20, 400), AsymmetricPsf(6, 5, 4), 0.02f);
};

INSTANTIATE_TEST_SUITE_P(Entries, LandweberEntries, testing::Bool(),
                         [](const auto& entry) { return entry.param ? "Automatic" : "WithRestart"; });

// -------------------------------------------------------------------------------------------- codes, inputs

TEST_P(LandweberEntries, SuccessIsOne) {
    for (const int iterations : {0, 1, 4}) EXPECT_EQ(Make(iterations).Call(Automatic()), 1);
}

TEST(LandweberWithRestart, NoIterationsLeaveEveryByte) {
    for (const int iterations : {0, -1, std::numeric_limits<int>::min()}) {
        Volume image = Scene(6, 5, 4, -20, 400);
        image.FillPadding(-kSentinel);
        Entry entry(image, AsymmetricPsf(6, 5, 4), iterations);
        EXPECT_EQ(entry.WithRestart(), 1);
        EXPECT_TRUE(SameBytes(entry.image, image));
    }
}

/// In the padding too.
TEST(LandweberAutomatic, NoIterationsClearNegatives) {
    for (const int iterations : {0, -1}) {
        Volume image = Scene(6, 5, 4, 20, 400);
        image.at(2, 3, 1) = -5;
        image.FillPadding(-kSentinel);
        Entry entry(image, AsymmetricPsf(6, 5, 4), iterations);
        EXPECT_EQ(entry.Automatic(), 1);
        image.at(2, 3, 1) = 0;
        image.FillPadding(0);
        EXPECT_TRUE(SameBytes(entry.image, image));
        EXPECT_EQ(entry.done, 0u);
    }
}

TEST_P(LandweberEntries, MoreMemoryThanThereIs) {
    Entry entry = Make(3);
    entry.beyondMemory = true;
    entry.image.at(2, 3, 1) = -5;
    const Volume before = entry.image;
    EntryLog log;
    EXPECT_EQ(entry.Call(Automatic(), &log), -9);
    EXPECT_TRUE(SameBytes(entry.image, before));
    EXPECT_TRUE(log.log.Calls().empty());
    EXPECT_EQ(entry.done, Automatic() ? 0u : 77u);  // written ahead of the allocation
}

TEST_P(LandweberEntries, ThePsfStaysAsItWas) {
    Entry entry = Make(3);
    entry.psf.FillPadding(kSentinel);
    const Volume before = entry.psf;
    ASSERT_EQ(entry.Call(Automatic()), 1);
    EXPECT_TRUE(SameBytes(entry.psf, before));
}

TEST_P(LandweberEntries, UnusedArgumentsAndAbsentOnesChangeNothing) {
    Entry entry = Make(4);
    Entry other = Make(4);
    other.unused = -7;
    other.asked = false;
    EntryLog log;
    ASSERT_EQ(entry.Call(Automatic(), &log), 1);
    ASSERT_EQ(other.Call(Automatic()), 1);
    EXPECT_TRUE(SameImage(entry.image, other.image));
    EXPECT_EQ(other.done, 77u);
}

TEST_P(LandweberEntries, PaddingIsNeverRead) {
    Entry clean = Make(4);
    ASSERT_EQ(clean.Call(Automatic()), 1);
    for (const float content : {kSentinel, -1e30f, std::numeric_limits<float>::quiet_NaN()}) {
        Entry entry = Make(4);
        entry.image.FillPadding(content);
        entry.psf.FillPadding(content);
        ASSERT_EQ(entry.Call(Automatic()), 1);
        EXPECT_TRUE(SameImage(entry.image, clean.image)) << content;
    }
}

/// Buffers of the host need no alignment beyond that of a float.
TEST_P(LandweberEntries, AnyAlignmentWillDo) {
    Entry aligned = Make(4);
    Entry entry = Make(4);
    ASSERT_EQ(aligned.Call(Automatic()), 1);
    const auto floats = static_cast<std::size_t>(observed.sizes.total);
    std::vector<float> image(floats + 2, kSentinel);
    std::vector<float> spread(floats + 2, kSentinel);
    std::copy_n(observed.get(), floats, image.data() + 1);
    std::copy_n(psf.get(), floats, spread.data() + 1);
    DFT3D s = observed.sizes;
    CRy3DDeconvolution front;
    if (Automatic()) {
        ASSERT_EQ(front.Landweber_Automatic(&s, spread.data() + 1, image.data() + 1, 4, nullptr, nullptr, 0,
                                            0, 0, entry.box, 0, nullptr, 1e9),
                  1);
    } else {
        ASSERT_EQ(front.Landweber(&s, spread.data() + 1, image.data() + 1, 4, nullptr, nullptr, 0, 0, 0, 0),
                  1);
    }
    EXPECT_EQ(image.front(), kSentinel);
    EXPECT_EQ(image.back(), kSentinel);
    std::copy_n(image.data() + 1, floats, entry.image.get());
    EXPECT_TRUE(SameImage(entry.image, aligned.image));
}

TEST_P(LandweberEntries, RunsRepeatWithEqualBytesAtEqualThreadCount) {
    for (const int threads : {1, 2, 5}) {
        const ThreadCount scope(threads);
        Entry first = Make(5);
        Entry second = Make(5);
        ASSERT_EQ(first.Call(Automatic()), 1);
        ASSERT_EQ(second.Call(Automatic()), 1);
        EXPECT_TRUE(SameImage(first.image, second.image)) << threads;
    }
}

/// Seeded for nobody: the host sees the sequence of seed 0 from its beginning.
TEST_P(LandweberEntries, TheGeneratorIsSeededAndNeverDrawn_stays) {
    std::srand(4711);
    Make(3).Call(Automatic());
    const int next = std::rand();
    std::srand(0);
    EXPECT_EQ(next, std::rand());
}

// ------------------------------------------------------------------------------------------------- progress

TEST_P(LandweberEntries, BeginAndEndForEachIteration) {
    for (const int iterations : {0, 1, 4}) {
        Entry entry = Make(iterations);
        EntryLog log;
        ASSERT_EQ(entry.Call(Automatic(), &log), 1);
        EXPECT_EQ(log.log.Calls(), EntryReports(2 * iterations));
        EXPECT_EQ(log.log.Units(), static_cast<unsigned>(iterations));
    }
}

/// A stop leaves the image of the last finished iteration, and the count of them.
TEST_P(LandweberEntries, StopAtEveryCall) {
    for (int call = 0; call < 8; ++call) {
        SCOPED_TRACE(call);
        const int finished = (call + 1) / 2;
        Entry entry = Make(4);
        EntryLog log(call, -call - 1);
        EXPECT_EQ(entry.Call(Automatic(), &log), -8);
        EXPECT_EQ(log.log.Calls(), EntryReports(call + 1));
        EXPECT_EQ(entry.done, Automatic() ? static_cast<unsigned>(finished) : 77u);
        Entry shorter = Make(finished);
        ASSERT_EQ(shorter.Call(Automatic()), 1);
        EXPECT_TRUE(SameImage(entry.image, shorter.image));
    }
}

TEST(LandweberWithRestart, StopsAroundTheRestart) {
    const Volume psf = AsymmetricPsf(4, 3, 5, 1.2);
    const Volume image = Observed(Scene(4, 3, 5, 20, 400), AsymmetricPsf(4, 3, 5));
    for (const int call : {70, 71, 72}) {
        Entry entry(image, psf, 40);
        EntryLog log(call);
        EXPECT_EQ(entry.WithRestart(&log), -8);
        Entry shorter(image, psf, (call + 1) / 2);
        ASSERT_EQ(shorter.WithRestart(), 1);
        EXPECT_TRUE(SameImage(entry.image, shorter.image)) << call;
    }
}

/// The preparation of the automatic entry has been done by then: negatives are cleared, 0 is written.
TEST_P(LandweberEntries, AStopAtOnce) {
    Entry entry = Make(4);
    entry.image.at(2, 3, 1) = -5;
    Volume expected = entry.image;
    EntryLog log(0);
    EXPECT_EQ(entry.Call(Automatic(), &log), -8);
    if (Automatic()) expected.at(2, 3, 1) = 0;
    EXPECT_TRUE(SameBytes(entry.image, expected));
    EXPECT_EQ(entry.done, Automatic() ? 0u : 77u);
}

}  // namespace
