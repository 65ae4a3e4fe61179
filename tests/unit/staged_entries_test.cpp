// SPDX-License-Identifier: MIT

// The restorations in stages as their host sees them in one call: codes, untouched inputs, progress and
// stops.

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <vector>

#include "support/bits.h"
#include "support/staged_calls.h"
#include "support/tolerances.h"

namespace {

using namespace gnr::test;
using Call = StagedCall;

class StagedEntries : public testing::TestWithParam<Staged> {
  protected:
    Call Make(int iterations) const { return {GetParam(), observed, psf, iterations}; }
    Volume Plain(int iterations) const {
        Call call = Make(iterations);
        EXPECT_EQ(call.Run(), 1);
        return call.image;
    }
    const Volume psf = AsymmetricPsf(6, 5, 4, 0.9).FillPadding(-2.0f);
    const Volume observed =
        Observed(Scene(6, 5, 4, 20, 400), AsymmetricPsf(6, 5, 4), 0.02f).FillPadding(kSentinel);
};

INSTANTIATE_TEST_SUITE_P(Entries, StagedEntries, testing::ValuesIn(kStagedEntries),
                         [](const auto& entry) { return NameOf(entry.param); });

// ----------------------------------------------------------------------------------------------- first call

TEST_P(StagedEntries, SuccessIsOne) {
    for (const int iterations : {0, -1, std::numeric_limits<int>::min(), 1, 3}) {
        Call call = Make(iterations);
        EXPECT_EQ(call.Run(), 1);
        EXPECT_EQ(SameBytes(call.image, observed), iterations <= 0);
    }
}

/// Without a flag the stock is not looked at.
TEST_P(StagedEntries, AFirstCallThatParksNothingLeavesTheStock) {
    OwnedStock stock;
    stock.Put(L"image", psf);
    Call call = Make(3);
    EXPECT_EQ(call.Run(&stock, false, false, nullptr), 1);
    EXPECT_EQ(stock.items.size(), 1u);
    EXPECT_TRUE(stock.Holds(L"image", psf));
    EXPECT_TRUE(SameBytes(call.image, Plain(3)));
}

TEST_P(StagedEntries, ThePsfIsOnlyRead) {
    Call call = Make(3);
    ASSERT_EQ(call.Run(), 1);
    EXPECT_TRUE(SameBytes(call.psf, psf));
}

TEST_P(StagedEntries, UnusedArgumentsAndProgressChangeNothing) {
    Call call = Make(3);
    call.unused = -7;
    EntryLog log;
    ASSERT_EQ(call.Run(&log), 1);
    EXPECT_TRUE(SameBytes(call.image, Plain(3)));
}

TEST_P(StagedEntries, AnyAlignmentGivesTheSameBits) {
    const Volume aligned = Plain(3);
    const auto floats = static_cast<std::size_t>(observed.sizes.total);
    for (std::size_t offset = 1; offset <= 3; ++offset) {
        std::vector<float> image(floats + offset + 1, kSentinel);
        std::vector<float> spread(floats + offset + 1, kSentinel);
        std::copy_n(observed.get(), floats, image.data() + offset);
        std::copy_n(psf.get(), floats, spread.data() + offset);
        Call call = Make(3);
        ASSERT_EQ(call.RunOn(image.data() + offset, spread.data() + offset, nullptr, false, false, nullptr),
                  1);
        EXPECT_TRUE(SameBits({image.data() + offset, floats}, {aligned.get(), floats}));
        EXPECT_EQ(image[offset - 1], kSentinel);
        EXPECT_EQ(image.back(), kSentinel);
    }
}

/// A delta PSF, no term: x := x + g - x stays at g. With R = x - g = 0 the conjugate form stays as well.
TEST_P(StagedEntries, AnImpulseWithoutTermLeavesTheImage) {
    Call call(GetParam(), observed, ImpulsePsf(6, 5, 4), 3);
    call.strength = 0;
    ASSERT_EQ(call.Run(), 1);
    ForEachSample(observed, [&](int i, int j, int k) {
        ASSERT_NEAR(call.image.at(i, j, k), observed.at(i, j, k), RestorationTolerance(120, 3, 500));
    });
}

TEST_P(StagedEntries, NegativeSamplesAreNotCut_stays) {
    Call call(GetParam(), observed, ImpulsePsf(6, 5, 4), 2);
    call.image.at(2, 3, 1) = -30;
    call.strength = 0;
    ASSERT_EQ(call.Run(), 1);
    EXPECT_NEAR(call.image.at(2, 3, 1), -30, 0.01);
}

// ------------------------------------------------------------------------------------------------- progress

std::vector<ProgressReport> Reports(int count) {
    std::vector<ProgressReport> calls;
    for (int n = 0; n < count; ++n)
        calls.push_back(ReportOf(n % 2 == 0 ? eProgressStepBegin : eProgressStepEnd));
    return calls;
}

TEST_P(StagedEntries, BeginAndEndForEachIteration) {
    for (const int iterations : {-3, 0, 1, 4}) {
        Call call = Make(iterations);
        EntryLog log;
        ASSERT_EQ(call.Run(&log), 1);
        EXPECT_EQ(log.log.Calls(), Reports(2 * std::max(0, iterations)));
    }
}

/// A stop leaves the image of the last finished iteration; the host sees each one in its own buffer.
TEST_P(StagedEntries, StopAtEveryCall) {
    for (int at = 0; at < 8; ++at) {
        Call call = Make(4);
        EntryLog log(at, -at - 1);
        EXPECT_EQ(call.Run(&log), -8);
        EXPECT_EQ(log.log.Calls(), Reports(at + 1));
        EXPECT_TRUE(SameBytes(call.image, Plain((at + 1) / 2))) << at;
    }
}

}  // namespace
