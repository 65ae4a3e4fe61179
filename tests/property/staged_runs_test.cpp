// SPDX-License-Identifier: MIT

// Properties of restorations in stages: stages add up to one long run, a stock that went through its file is
// as good as one that did not, and nothing is leaked or freed twice.

#include <gtest/gtest.h>

#include <vector>

#include "property/volume_blocks.h"
#include "support/staged_calls.h"

namespace {

using namespace gnr::test;
using Call = StagedCall;

class StagedRuns : public testing::TestWithParam<Staged> {
  protected:
    Call Make(int iterations) const { return {GetParam(), observed, psf, iterations}; }
    const Volume psf = AsymmetricPsf(10, 9, 6, 0.9);
    const Volume observed = Observed(Scene(10, 9, 6, 20, 400), AsymmetricPsf(10, 9, 6), 0.02f);
};

INSTANTIATE_TEST_SUITE_P(Entries, StagedRuns, testing::ValuesIn(kStagedEntries),
                         [](const auto& entry) { return NameOf(entry.param); });

/// The image after stages of so many iterations each, every one on fresh buffers of the host; `between` runs
/// between them.
template <class Between>
Volume InStages(Staged entry, const Volume& observed, const Volume& psf, const std::vector<int>& stages,
                Between between) {
    OwnedStock stock;
    Call first(entry, observed, psf, stages.front());
    EXPECT_EQ(first.RunAndPark(stock), 1);
    Volume image = first.image;
    for (std::size_t n = 1; n < stages.size(); ++n) {
        between(stock);
        Call next(entry, Volume(observed.sizes), Volume(observed.sizes), stages[n]);
        EXPECT_EQ(next.ResumeAndPark(stock), 1);
        image = next.image;
    }
    return image;
}

constexpr auto kNothing = [](CRyMemoryStock&) {};
constexpr auto kThroughTheFile = [](CRyMemoryStock& stock) {
    ASSERT_EQ(stock.Swap(), 0);
    ASSERT_EQ(stock.Get(), 0);
};

const std::vector<std::vector<int>> kStagesOfSeven = {{7, 0}, {0, 7},    {1, 6},
                                                      {3, 4}, {2, 2, 3}, {1, 0, 5, 1}};

TEST(StagedAdditive, StagesAreOneLongRun) {
    const Volume psf = AsymmetricPsf(10, 9, 6, 0.9);
    const Volume observed = Observed(Scene(10, 9, 6, 20, 400), AsymmetricPsf(10, 9, 6), 0.02f);
    for (const int threads : {1, 2, 5}) {
        const ThreadCount scope(threads);
        Call whole(Staged::kAdditive, observed, psf, 7);
        ASSERT_EQ(whole.Run(), 1);
        for (const auto& stages : kStagesOfSeven) {
            const Volume image = InStages(Staged::kAdditive, observed, psf, stages, kNothing);
            EXPECT_TRUE(SameBytes(image, whole.image)) << testing::PrintToString(stages);
        }
    }
}

/// The direction is not parked: each stage starts with that of its own gradient.
TEST(StagedConjugate, AStageRestartsTheDirection_stays) {
    const Volume psf = AsymmetricPsf(10, 9, 6, 0.9);
    const Volume observed = Observed(Scene(10, 9, 6, 20, 400), AsymmetricPsf(10, 9, 6), 0.02f);
    Call whole(Staged::kConjugate, observed, psf, 4);
    ASSERT_EQ(whole.Run(), 1);
    const Volume staged = InStages(Staged::kConjugate, observed, psf, {2, 2}, kNothing);
    EXPECT_FALSE(SameImage(staged, whole.image));
    const gnr::ref::ChainInputs run(observed, psf, gnr::ref::ChainWeight(5, 0.01f));
    Volume expected = observed;
    RunChain(Staged::kConjugate, expected, run, 2);
    RunChain(Staged::kConjugate, expected, run, 2);
    EXPECT_TRUE(SameBytes(staged, expected));
    // A stage of one iteration knows no other direction, so that this much adds up.
    EXPECT_TRUE(SameBytes(InStages(Staged::kConjugate, observed, psf, {0, 4}, kNothing), whole.image));
}

TEST_P(StagedRuns, ThroughTheSwapFileIsAsGoodAsInMemory) {
    for (const auto& stages : kStagesOfSeven) {
        EXPECT_TRUE(SameBytes(InStages(GetParam(), observed, psf, stages, kThroughTheFile),
                              InStages(GetParam(), observed, psf, stages, kNothing)))
            << testing::PrintToString(stages);
    }
}

/// A stop and a resumption lose nothing: the stopped iterations are carried out by the next call.
TEST(StagedAdditive, AStoppedRunGoesOnWhereItStopped) {
    const Volume psf = AsymmetricPsf(10, 9, 6, 0.9);
    const Volume observed = Observed(Scene(10, 9, 6, 20, 400), AsymmetricPsf(10, 9, 6), 0.02f);
    Call whole(Staged::kAdditive, observed, psf, 5);
    ASSERT_EQ(whole.Run(), 1);
    for (int at = 0; at < 10; ++at) {
        OwnedStock stock;
        Call first(Staged::kAdditive, observed, psf, 5);
        EntryLog log(at);
        ASSERT_EQ(first.RunAndPark(stock, &log), -8);
        Call rest(Staged::kAdditive, Volume(observed.sizes), Volume(observed.sizes), 5 - (at + 1) / 2);
        ASSERT_EQ(rest.Resume(stock), 1);
        EXPECT_TRUE(SameBytes(rest.image, whole.image)) << at;
    }
}

/// Either entry goes on with what the other parked: keys and meanings are the same.
TEST_P(StagedRuns, TheOtherEntryCanGoOn) {
    OwnedStock stock;
    Call first = Make(2);
    ASSERT_EQ(first.RunAndPark(stock), 1);
    const Staged other = GetParam() == Staged::kAdditive ? Staged::kConjugate : Staged::kAdditive;
    Call next(other, Volume(observed.sizes), Volume(observed.sizes), 2);
    ASSERT_EQ(next.ResumeAndPark(stock), 1);
    Volume expected = first.image;
    RunChain(other, expected, gnr::ref::ChainInputs(observed, psf, gnr::ref::ChainWeight(5, first.factor())),
             2);
    EXPECT_TRUE(SameBytes(next.image, expected));
}

#if defined(GNR_TEST_COUNTS_BLOCKS)

class StagedAllocations : public testing::TestWithParam<Staged> {
  protected:
    Call Make(int iterations) const { return {GetParam(), observed, psf, iterations}; }
    /// Volumes of the run, without g and H, and with them.
    int Scratch() const { return GetParam() == Staged::kAdditive ? 2 : 4; }
    const Volume psf = ImpulsePsf(64, 60, 16);
    const Volume observed = Scene(64, 60, 16, 20, 400);
};

INSTANTIATE_TEST_SUITE_P(Entries, StagedAllocations, testing::ValuesIn(kStagedEntries),
                         [](const auto& entry) { return NameOf(entry.param); });

/// Counts what is left over when the body and all that it holds are gone.
template <class Body>
int LeftOver(Body body) {
    const int before = liveLargeBlocks;
    body();
    return liveLargeBlocks - before;
}

TEST_P(StagedAllocations, VolumesOfACall) {
    Call call = Make(2);
    largeBlocks = 0;
    EXPECT_EQ(LeftOver([&] { EXPECT_EQ(call.Run(), 1); }), 0);
    EXPECT_EQ(largeBlocks, static_cast<std::size_t>(Scratch() + 2));
    OwnedStock stock;
    ASSERT_EQ(call.RunAndPark(stock), 1);
    largeBlocks = 0;
    EXPECT_EQ(LeftOver([&] { EXPECT_EQ(call.Resume(stock), 1); }), 0);
    EXPECT_EQ(largeBlocks, static_cast<std::size_t>(Scratch()));
}

/// Four blocks stay with the stock: two copies and the two volumes that it took over.
TEST_P(StagedAllocations, TheStockOwnsFourVolumesFromTheFirstParkingOn) {
    EXPECT_EQ(LeftOver([&] {
                  OwnedStock stock;
                  Call call = Make(1);
                  EXPECT_EQ(LeftOver([&] { EXPECT_EQ(call.RunAndPark(stock), 1); }), 4);
                  EXPECT_EQ(LeftOver([&] { EXPECT_EQ(call.Resume(stock), 1); }), 0);
                  EXPECT_EQ(LeftOver([&] { EXPECT_EQ(call.ResumeAndPark(stock), 1); }), 0);
                  EXPECT_EQ(LeftOver([&] { EXPECT_EQ(stock.Swap(), 0); }), -4);
                  EXPECT_EQ(LeftOver([&] { EXPECT_EQ(stock.Get(), 0); }), 4);
                  EXPECT_EQ(LeftOver([&] { EXPECT_EQ(call.ResumeAndPark(stock), 1); }), 0);
              }),
              0);
}

/// A first call that finds every key taken, or one of them, frees what the stock does not take.
TEST_P(StagedAllocations, AFirstCallIntoAFullStockFreesItsOwn) {
    OwnedStock stock;
    Call call = Make(1);
    ASSERT_EQ(call.RunAndPark(stock), 1);
    EXPECT_EQ(LeftOver([&] { EXPECT_EQ(call.RunAndPark(stock), 1); }), 0);
    for (const wchar_t* const key : {L"pg", L"ph"}) {
        delete stock.Item(key);
        stock.items.erase(CRyStringW(key));
        EXPECT_EQ(LeftOver([&] { EXPECT_EQ(call.RunAndPark(stock), 1); }), 1);
    }
}

TEST_P(StagedAllocations, ARefusedVolumeChangesNothing) {
    for (const bool resume : {false, true}) {
        OwnedStock stock;
        if (resume) {
            Call first = Make(1);
            ASSERT_EQ(first.RunAndPark(stock), 1);
        }
        const std::size_t keys = stock.items.size();
        for (int granted = 0; granted < Scratch() + (resume ? 0 : 2); ++granted) {
            Call call = Make(2);
            EntryLog log;
            const int left = LeftOver([&] {
                const LargeBlockRefusal refusal(granted);
                EXPECT_EQ(call.Run(&stock, resume, true, &log), -9);
            });
            EXPECT_EQ(left, 0);
            EXPECT_TRUE(SameBytes(call.image, observed));
            EXPECT_EQ(stock.items.size(), keys);
            EXPECT_TRUE(log.log.Calls().empty());
        }
    }
}

/// Copies that find no memory are parked empty; the run itself has succeeded.
TEST_P(StagedAllocations, CopiesWithoutMemoryAreParkedEmpty) {
    OwnedStock stock;
    Call call = Make(1);
    {
        const LargeBlockRefusal refusal(Scratch() + 2);
        EXPECT_EQ(call.RunAndPark(stock), 1);
    }
    EXPECT_EQ(stock.Item(L"image")->pvData, nullptr);
    EXPECT_EQ(stock.Item(L"image")->uiSize, 0u);
    EXPECT_EQ(stock.Item(L"kernel")->pvData, nullptr);
    EXPECT_TRUE(stock.Holds(L"pg", observed));
}

#endif

}  // namespace
