// SPDX-License-Identifier: MIT

// What the automatic one-call Richardson-Lucy entry adds: range, clamp, stop test and count.

#include <gtest/gtest.h>

#include <cmath>
#include <utility>
#include <vector>

#include "cores/regularization_weight.h"
#include "support/richardson_lucy_calls.h"

namespace {

using namespace gnr::test;
using Call = RichardsonLucyCall;

class LucyRichardsonAutomatic : public testing::Test {
  protected:
    Call Make(int iterations, double ratio) const {
        Call call(RichardsonLucy::kAutomatic, Observed(Scene(8, 6, 5, 20, 400), psf, 0.02f), psf, iterations);
        call.stopRatio = ratio;
        return call;
    }
    const Volume psf = AsymmetricPsf(8, 6, 5);
};

TEST_F(LucyRichardsonAutomatic, StopsAtTheSixthIterationAtTheEarliest) {
    for (const auto& [iterations, done] :
         {std::pair(5, 5u), std::pair(6, 6u), std::pair(7, 6u), std::pair(99, 6u)}) {
        Call call = Make(iterations, 0);
        EntryLog log;
        EXPECT_EQ(call.Run(&log), 1);
        EXPECT_EQ(call.done, done);
        EXPECT_EQ(log.log.Calls(),
                  RichardsonLucyReports(RichardsonLucy::kAutomatic, static_cast<int>(2 * done)));
    }
}

TEST_F(LucyRichardsonAutomatic, TheLastIterationIsCarriedOutWhole) {
    Call stopped = Make(50, 0);
    Call six = Make(6, 1e9);
    ASSERT_EQ(stopped.Run(), 1);
    ASSERT_EQ(six.Run(), 1);
    EXPECT_TRUE(SameBytes(stopped.image, six.image));
}

TEST_F(LucyRichardsonAutomatic, ABoxWithoutSamplesNeverStops) {
    Call call = Make(12, 0);
    call.box = {0, 0, 0, 0, 0, 0};
    EXPECT_EQ(call.Run(), 1);
    EXPECT_EQ(call.done, 12u);
}

/// 0 at the start, the count at the end, nothing in between.
TEST_F(LucyRichardsonAutomatic, TheCountIsWrittenTwice) {
    Call call = Make(4, 1e9);
    EntryLog log;
    std::vector<unsigned> seen;
    log.log.onCall = [&](const ProgressReport&) { seen.push_back(call.done); };
    ASSERT_EQ(call.Run(&log), 1);
    EXPECT_EQ(seen, std::vector<unsigned>(8, 0u));
    EXPECT_EQ(call.done, 4u);
}

TEST_F(LucyRichardsonAutomatic, TheRangeIsOneDuringTheRun) {
    Call call = Make(2, 1e9);
    EntryLog log;
    std::vector<float> largest;
    log.log.onCall = [&](const ProgressReport&) { largest.push_back(LargestSample(call.image)); };
    ASSERT_EQ(call.Run(&log), 1);
    EXPECT_NEAR(largest.front(), 1.0f, 1e-6);
    EXPECT_GT(LargestSample(call.image), 100.0f);
}

/// The input with its negatives cleared, to within the scaling.
TEST_F(LucyRichardsonAutomatic, AStopAtOnce) {
    Call call = Make(4, 1e9);
    call.image.at(2, 3, 1) = -5;
    Volume expected = call.image;
    expected.at(2, 3, 1) = 0;
    EntryLog log(0);
    EXPECT_EQ(call.Run(&log), -8);
    EXPECT_EQ(call.done, 0u);
    EXPECT_EQ(call.image.at(2, 3, 1), 0.0f);
    ForEachSample(expected, [&](int i, int j, int k) {
        EXPECT_FLOAT_EQ(call.image.at(i, j, k), expected.at(i, j, k));
    });
}

/// -0.2 p^2 is -0 at p = 0, and the factor is not formed.
TEST_F(LucyRichardsonAutomatic, StrengthZeroFormsNoFactor) {
    Call none = Make(4, 1e9);
    none.automaticStrength = 0;
    ASSERT_EQ(none.Run(), 1);
    const Volume observed = Make(4, 1e9).image;
    const auto chain = gnr::ref::LucyRichardsonTMAutomaticChain(observed, psf, 4, 0, none.box, 1e9);
    EXPECT_TRUE(SameBytes(none.image, chain.image));
    EXPECT_TRUE(std::signbit(gnr::detail::WeightOfStrength(0.0)));
}

}  // namespace
