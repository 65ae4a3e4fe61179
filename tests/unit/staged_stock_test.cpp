// SPDX-License-Identifier: MIT

// What parked and resumed calls read and write of the stock, and whom things belong to afterwards.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/bits.h"
#include "support/staged_calls.h"

namespace {

using namespace gnr::test;
using Call = StagedCall;

class StagedStock : public testing::TestWithParam<Staged> {
  protected:
    Call Make(int iterations) const { return {GetParam(), observed, psf, iterations}; }
    float Lambda(unsigned strength) const { return gnr::ref::ChainWeight(strength, Make(0).factor()); }
    std::vector<std::wstring> Keys() const {
        std::vector<std::wstring> keys = {L"fLambda", L"image", L"kernel", L"pg", L"ph"};
        if (GetParam() == Staged::kAdditive) keys.insert(keys.begin() + 1, L"fSum2");
        return keys;
    }
    static std::vector<std::wstring> KeysOf(const CRyMemoryStock& stock) {
        std::vector<std::wstring> keys;
        for (const auto& [key, item] : stock.items) keys.emplace_back(key.c_str());
        return keys;
    }
    Volume Plain(int iterations) const {
        Call call = Make(iterations);
        EXPECT_EQ(call.Run(), 1);
        return call.image;
    }
    const Volume psf = AsymmetricPsf(6, 5, 4, 0.9).FillPadding(-2.0f);
    const Volume observed =
        Observed(Scene(6, 5, 4, 20, 400), AsymmetricPsf(6, 5, 4), 0.02f).FillPadding(kSentinel);
};

INSTANTIATE_TEST_SUITE_P(Entries, StagedStock, testing::ValuesIn(kStagedEntries),
                         [](const auto& entry) { return NameOf(entry.param); });

// ---------------------------------------------------------------------------------------------- parked call

TEST_P(StagedStock, AParkedCallPutsEverythingIntoTheStock) {
    for (const int iterations : {0, 2}) {
        OwnedStock stock;
        Call call = Make(iterations);
        ASSERT_EQ(call.RunAndPark(stock), 1);
        EXPECT_EQ(KeysOf(stock), Keys());
        EXPECT_TRUE(SameBytes(call.image, Plain(iterations)));
        EXPECT_TRUE(stock.Holds(L"image", call.image));
        EXPECT_TRUE(stock.Holds(L"kernel", psf));
        EXPECT_TRUE(stock.Holds(L"pg", observed));
        EXPECT_TRUE(stock.Holds(L"ph", gnr::ref::ChainSpectrum(psf)));
        EXPECT_EQ(stock.FloatOf(L"fLambda"), Lambda(5));
        for (const wchar_t* const key : {L"image", L"kernel", L"pg", L"ph"}) {
            EXPECT_EQ(stock.Item(key)->uiSize, static_cast<unsigned long long>(observed.sizes.total) * 4);
        }
        EXPECT_EQ(stock.Item(L"fLambda")->uiSize, 4u);
    }
}

/// Set by nobody, but never chance either.
TEST(StagedAdditive, TheUnreadSumIsParkedAsZero_stays) {
    OwnedStock stock;
    Call call(Staged::kAdditive, Scene(6, 5, 4, 20, 400), AsymmetricPsf(6, 5, 4), 1);
    ASSERT_EQ(call.RunAndPark(stock), 1);
    ASSERT_NE(stock.Item(L"fSum2"), nullptr);
    EXPECT_EQ(stock.Item(L"fSum2")->uiSize, 4u);
    EXPECT_EQ(Bits(stock.FloatOf(L"fSum2")), 0u);
    EXPECT_EQ(call.ResumeAndPark(stock), 1);
    EXPECT_EQ(Bits(stock.FloatOf(L"fSum2")), 0u);
}

TEST_P(StagedStock, ParkedCopiesAreNoneOfTheHostsBuffers) {
    OwnedStock stock;
    Call call = Make(1);
    ASSERT_EQ(call.RunAndPark(stock), 1);
    EXPECT_NE(stock.Item(L"image")->pvData, call.image.get());
    EXPECT_NE(stock.Item(L"kernel")->pvData, call.psf.get());
}

/// The stop comes first, the store all the same.
TEST_P(StagedStock, AStopParksTheLastFinishedState) {
    for (int at = 0; at < 6; ++at) {
        OwnedStock stock;
        Call call = Make(3);
        EntryLog log(at);
        EXPECT_EQ(call.RunAndPark(stock, &log), -8);
        EXPECT_EQ(KeysOf(stock), Keys());
        EXPECT_TRUE(SameBytes(call.image, Plain((at + 1) / 2))) << at;
        EXPECT_TRUE(stock.Holds(L"image", call.image));
        EXPECT_TRUE(stock.Holds(L"pg", observed));
    }
}

/// "image" takes the new estimate, all other keys keep what they hold.
TEST_P(StagedStock, KeysThatAreThereKeepTheirContents) {
    OwnedStock stock;
    const Volume other = Scene(6, 5, 4, 1, 2, 77);
    for (const wchar_t* const key : {L"image", L"kernel", L"pg", L"ph"}) stock.Put(key, other);
    float lambda = 0.25f;
    stock.items[CRyStringW(L"fLambda")] = new CRyMemoryStockItem(&lambda, 4, false);
    std::vector<const void*> blocks;
    for (const auto& [key, item] : stock.items) blocks.push_back(item->pvData);
    Call call = Make(2);
    ASSERT_EQ(call.RunAndPark(stock), 1);
    EXPECT_TRUE(SameBytes(call.image, Plain(2)));
    EXPECT_TRUE(stock.Holds(L"image", call.image));
    for (const wchar_t* const key : {L"kernel", L"pg", L"ph"}) EXPECT_TRUE(stock.Holds(key, other));
    EXPECT_EQ(stock.FloatOf(L"fLambda"), 0.25f);
    std::vector<const void*> after;
    for (const auto& [key, item] : stock.items) {
        if (key == CRyStringW(L"fSum2")) continue;
        after.push_back(item->pvData);
    }
    EXPECT_EQ(after, blocks);
}

/// One volume is handed over, the other freed; a sanitizer sees to the rest.
TEST_P(StagedStock, OneOfTheTwoVolumesThereAlready) {
    for (const wchar_t* const key : {L"pg", L"ph"}) {
        OwnedStock stock;
        const Volume other = Scene(6, 5, 4, 1, 2, 77);
        stock.Put(key, other);
        Call call = Make(1);
        ASSERT_EQ(call.RunAndPark(stock), 1);
        EXPECT_TRUE(stock.Holds(key, other));
        EXPECT_EQ(KeysOf(stock), Keys());
    }
}

TEST_P(StagedStock, WithoutAStockNothingIsParked) {
    Call call = Make(2);
    EXPECT_EQ(call.Run(nullptr, false, true, nullptr), 1);
    EXPECT_TRUE(SameBytes(call.image, Plain(2)));
}

// --------------------------------------------------------------------------------------------- resumed call

/// What the host's buffers hold does not matter: both come from the stock.
TEST_P(StagedStock, AResumedCallTakesImageAndPsfBack) {
    OwnedStock stock;
    Call first = Make(2);
    ASSERT_EQ(first.RunAndPark(stock), 1);
    Call resumed(GetParam(), Volume(6, 5, 4), Volume(6, 5, 4), 0);
    ASSERT_EQ(resumed.Resume(stock), 1);
    EXPECT_TRUE(SameBytes(resumed.image, first.image));
    EXPECT_TRUE(SameBytes(resumed.psf, psf));
}

/// Everything that is parked stays the stock's, as the same blocks; only "image" changes, and only where
/// asked.
TEST_P(StagedStock, AResumedCallLeavesTheStocksBlocks) {
    for (const bool store : {false, true}) {
        OwnedStock stock;
        Call first = Make(2);
        ASSERT_EQ(first.RunAndPark(stock), 1);
        std::vector<const void*> blocks;
        for (const auto& [key, item] : stock.items) blocks.push_back(item->pvData);
        Call resumed = Make(2);
        ASSERT_EQ(resumed.Run(&stock, true, store, nullptr), 1);
        std::vector<const void*> after;
        for (const auto& [key, item] : stock.items) after.push_back(item->pvData);
        EXPECT_EQ(after, blocks);
        EXPECT_FALSE(SameBytes(resumed.image, first.image));
        EXPECT_TRUE(stock.Holds(L"image", store ? resumed.image : first.image));
        EXPECT_TRUE(stock.Holds(L"kernel", psf));
        EXPECT_TRUE(stock.Holds(L"pg", observed));
        EXPECT_TRUE(stock.Holds(L"ph", gnr::ref::ChainSpectrum(psf)));
        EXPECT_EQ(stock.FloatOf(L"fLambda"), Lambda(5));
    }
}

/// g is what the first call saw, not the estimate that the resumed one starts from.
TEST_P(StagedStock, AResumedCallWorksOnTheFirstCallsInputs) {
    OwnedStock stock;
    Call first = Make(2);
    ASSERT_EQ(first.RunAndPark(stock), 1);
    Volume expected = first.image;
    RunChain(GetParam(), expected, gnr::ref::ChainInputs(observed, psf, Lambda(5)), 3);
    Call resumed(GetParam(), Volume(6, 5, 4), Volume(6, 5, 4), 3);
    ASSERT_EQ(resumed.Resume(stock), 1);
    EXPECT_TRUE(SameBytes(resumed.image, expected));
}

TEST_P(StagedStock, TheWeightIsTheStocksAndTheTermTheCalls) {
    OwnedStock stock;
    Call first = Make(2);
    ASSERT_EQ(first.RunAndPark(stock), 1);
    const gnr::ref::ChainInputs run(observed, psf, Lambda(5));
    for (const unsigned strength : {0u, 1u, 90u}) {
        Volume expected = first.image;
        RunChain(GetParam(), expected, run, 2, strength != 0);
        Call resumed = Make(2);
        resumed.strength = strength;
        ASSERT_EQ(resumed.Resume(stock), 1);
        EXPECT_TRUE(SameBytes(resumed.image, expected)) << strength;
        EXPECT_EQ(stock.FloatOf(L"fLambda"), Lambda(5));
    }
}

/// A weight of 0 goes along: a later call with a strength forms the term, and adds nothing.
TEST_P(StagedStock, AWeightOfZeroStaysZero) {
    OwnedStock stock;
    Call first = Make(2);
    first.strength = 0;
    ASSERT_EQ(first.RunAndPark(stock), 1);
    EXPECT_EQ(stock.FloatOf(L"fLambda"), 0.0f);
    Volume expected = first.image;
    RunChain(GetParam(), expected, gnr::ref::ChainInputs(observed, psf, 0.0f), 2, true);
    Call resumed = Make(2);
    resumed.strength = 90;
    ASSERT_EQ(resumed.Resume(stock), 1);
    EXPECT_TRUE(SameBytes(resumed.image, expected));
}

/// Keys of a copy may be missing: the caller's own buffers and setting serve, and a store puts them back.
TEST_P(StagedStock, MissingCopiesAreSkipped) {
    OwnedStock stock;
    Call first = Make(2);
    ASSERT_EQ(first.RunAndPark(stock), 1);
    for (const wchar_t* const key : {L"image", L"kernel", L"fLambda"}) {
        delete stock.Item(key);
        stock.items.erase(CRyStringW(key));
    }
    const Volume start = Scene(6, 5, 4, 20, 100, 3);
    Volume expected = start;
    RunChain(GetParam(), expected, gnr::ref::ChainInputs(observed, psf, Lambda(7)), 2);
    Call resumed(GetParam(), start, Volume(6, 5, 4), 2);
    resumed.strength = 7;
    ASSERT_EQ(resumed.ResumeAndPark(stock), 1);
    EXPECT_TRUE(SameBytes(resumed.image, expected));
    EXPECT_TRUE(stock.Holds(L"image", resumed.image));
    EXPECT_TRUE(stock.Holds(L"kernel", Volume(6, 5, 4)));
    EXPECT_EQ(stock.FloatOf(L"fLambda"), Lambda(7));
}

TEST_P(StagedStock, AStopInAResumedCallParksToo) {
    OwnedStock stock;
    Call first = Make(1);
    ASSERT_EQ(first.RunAndPark(stock), 1);
    Call resumed = Make(3);
    EntryLog log(2);
    EXPECT_EQ(resumed.ResumeAndPark(stock, &log), -8);
    Volume expected = first.image;
    RunChain(GetParam(), expected, gnr::ref::ChainInputs(observed, psf, Lambda(5)), 1);
    EXPECT_TRUE(SameBytes(resumed.image, expected));
    EXPECT_TRUE(stock.Holds(L"image", expected));
}

// -------------------------------------------------------------------------------------------- what is wrong

TEST_P(StagedStock, MoreMemoryThanThereIs) {
    OwnedStock stock;
    Call call = Make(3);
    call.beyondMemory = true;
    EntryLog log;
    EXPECT_EQ(call.RunAndPark(stock, &log), -9);
    EXPECT_TRUE(SameBytes(call.image, observed));
    EXPECT_TRUE(stock.items.empty());
    EXPECT_TRUE(log.log.Calls().empty());
}

/// Missing, swapped out, of another geometry: -9, and nothing is touched.
TEST_P(StagedStock, AStockThatLacksTheInputsIsRefused) {
    const auto refuse = [&](CRyMemoryStock* stock) {
        Call call = Make(2);
        EntryLog log;
        EXPECT_EQ(call.Run(stock, true, true, &log), -9);
        EXPECT_TRUE(SameBytes(call.image, observed));
        EXPECT_TRUE(SameBytes(call.psf, psf));
        EXPECT_TRUE(log.log.Calls().empty());
    };
    refuse(nullptr);
    OwnedStock empty;
    refuse(&empty);
    EXPECT_TRUE(empty.items.empty());
    for (const wchar_t* const key : {L"pg", L"ph"}) {
        OwnedStock stock;
        Call first(GetParam(), Volume(6, 5, 4), psf, 0);
        ASSERT_EQ(first.RunAndPark(stock), 1);
        CRyMemoryStockItem* const item = stock.Item(key);
        stock.items[CRyStringW(key)] = nullptr;
        refuse(&stock);
        stock.items[CRyStringW(key)] = item;
        item->destroy();
        refuse(&stock);
    }
    OwnedStock larger;
    Call first(GetParam(), Volume(6, 5, 6), AsymmetricPsf(6, 5, 6), 0);
    ASSERT_EQ(first.RunAndPark(larger), 1);
    refuse(&larger);
}

}  // namespace
