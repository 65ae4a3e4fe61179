// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/memory_stock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/stock_entries.h"
#include "support/temp_path_folder.h"

namespace {

using namespace gnr::test;

class MemoryStock : public testing::Test {
  protected:
    TempPathFolder folder_;
    CRyMemoryStock stock_;
};

void ExpectInMemory(const CRyMemoryStock& stock) {
    EXPECT_FALSE(stock.bSwapped);
    EXPECT_TRUE(stock.strSwapFile.empty());
}

TEST_F(MemoryStock, StartsEmptyAndInMemory) {
    EXPECT_TRUE(stock_.items.empty());
    ExpectInMemory(stock_);
}

TEST_F(MemoryStock, WithoutEntriesMakesAnEmptyFile) {
    EXPECT_EQ(stock_.Swap(), 0);
    EXPECT_TRUE(stock_.bSwapped);
    EXPECT_EQ(ReadWhole(SwapFile(stock_)), FileBytes());
    EXPECT_EQ(stock_.Get(), 0);
    ExpectInMemory(stock_);
    EXPECT_TRUE(folder_.Files().empty());
}

/// The example that the format is told by: 4 + 14 + 4 + 4 bytes.
TEST_F(MemoryStock, WritesARecordByteForByte) {
    Put(stock_, L"fLambda", {0xDE, 0xAD, 0xBE, 0xEF});
    ASSERT_EQ(stock_.Swap(), 0);
    const FileBytes expected = {7, 0,   0, 0,   'f', 0, 'L', 0, 'a', 0,    'm',  0,    'b',
                                0, 'd', 0, 'a', 0,   4, 0,   0, 0,   0xDE, 0xAD, 0xBE, 0xEF};
    EXPECT_EQ(expected.size(), 26u);
    EXPECT_EQ(ReadWhole(SwapFile(stock_)), expected);
}

TEST_F(MemoryStock, WritesRecordsInTheOrderOfKeys) {
    Put(stock_, L"b", {2});
    Put(stock_, L"ab", {1, 1});
    Put(stock_, L"B", {0});
    ASSERT_EQ(stock_.Swap(), 0);
    const FileBytes expected = {1, 0, 0, 0, 'B', 0, 1,   0, 0, 0, 0,           //
                                2, 0, 0, 0, 'a', 0, 'b', 0, 2, 0, 0, 0, 1, 1,  //
                                1, 0, 0, 0, 'b', 0, 1,   0, 0, 0, 2};
    EXPECT_EQ(ReadWhole(SwapFile(stock_)), expected);
}

TEST_F(MemoryStock, WritesKeysInSixteenBitCharacters) {
    Put(stock_, L"\u00b5\u4e2d\U0001f52c", {9});
    ASSERT_EQ(stock_.Swap(), 0);
    const FileBytes expected = {4, 0, 0, 0, 0xB5, 0, 0x2D, 0x4E, 0x3D, 0xD8, 0x2C, 0xDD, 1, 0, 0, 0, 9};
    EXPECT_EQ(ReadWhole(SwapFile(stock_)), expected);
    ASSERT_EQ(stock_.Get(), 0);
    EXPECT_EQ(Block(stock_, L"\u00b5\u4e2d\U0001f52c"), BlockBytes({9}));
}

TEST_F(MemoryStock, GivesBlocksBackAndKeepsKeysMeanwhile) {
    BlockBytes large(3'000'001);
    for (std::size_t i = 0; i < large.size(); ++i)
        large[i] = static_cast<unsigned char>(i * 2654435761u >> 24);
    Put(stock_, L"image", large);
    Put(stock_, L"fLambda", {1, 2, 3, 4});
    ASSERT_EQ(stock_.Swap(), 0);
    EXPECT_TRUE(stock_.bSwapped);
    EXPECT_EQ(stock_.items.size(), 2u);
    for (const auto& [key, item] : stock_.items) EXPECT_EQ(item, nullptr);

    ASSERT_EQ(stock_.Get(), 0);
    ExpectInMemory(stock_);
    EXPECT_EQ(Block(stock_, L"image"), large);
    EXPECT_EQ(Block(stock_, L"fLambda"), BlockBytes({1, 2, 3, 4}));
    EXPECT_TRUE(folder_.Files().empty());
}

TEST_F(MemoryStock, MaySwapAgainAndAgain) {
    Put(stock_, L"image", {5, 6, 7});
    for (int round = 0; round < 3; ++round) {
        ASSERT_EQ(stock_.Swap(), 0);
        ASSERT_EQ(stock_.Get(), 0);
        ASSERT_EQ(Block(stock_, L"image"), BlockBytes({5, 6, 7}));
    }
    EXPECT_TRUE(folder_.Files().empty());
}

TEST_F(MemoryStock, EntriesOfZeroBytesSurvive) {
    char on_the_stack = 'x';
    stock_.items[L"adopted with size 0"] = new CRyMemoryStockItem(&on_the_stack, 0, true);
    stock_.items[L"empty"] = new CRyMemoryStockItem;
    stock_.items[L"size without a block"] = new CRyMemoryStockItem(nullptr, 3, true);
    Put(stock_, L"last", {1});
    ASSERT_EQ(stock_.Swap(), 0);
    ASSERT_EQ(stock_.Get(), 0);
    EXPECT_EQ(Block(stock_, L"adopted with size 0"), BlockBytes());
    EXPECT_EQ(Block(stock_, L"empty"), BlockBytes());
    EXPECT_EQ(Block(stock_, L"size without a block"), BlockBytes());
    EXPECT_EQ(Block(stock_, L"last"), BlockBytes({1}));
}

TEST_F(MemoryStock, TheEmptyKeyIsAKey) {
    Put(stock_, L"", {8});
    ASSERT_EQ(stock_.Swap(), 0);
    EXPECT_EQ(ReadWhole(SwapFile(stock_)), FileBytes({0, 0, 0, 0, 1, 0, 0, 0, 8}));
    ASSERT_EQ(stock_.Get(), 0);
    EXPECT_EQ(Block(stock_, L""), BlockBytes({8}));
}

TEST_F(MemoryStock, KeysMayHave1024Characters) {
    const std::wstring key(1024, L'k');
    Put(stock_, key.c_str(), {1, 2});
    ASSERT_EQ(stock_.Swap(), 0);
    ASSERT_EQ(stock_.Get(), 0);
    EXPECT_EQ(Block(stock_, key.c_str()), BlockBytes({1, 2}));
}

TEST_F(MemoryStock, LongerKeysAreNotReadBack_stays) {
    const std::wstring key(1025, L'k');
    Put(stock_, key.c_str(), {1, 2});
    EXPECT_EQ(stock_.Swap(), 0);
    EXPECT_EQ(stock_.Get(), -9);
}

TEST_F(MemoryStock, ParksInAFolderOfItsOwnForItsOwnerAlone) {
    Put(stock_, L"image", {1});
    ASSERT_EQ(stock_.Swap(), 0);
    EXPECT_EQ(SwapFile(stock_).parent_path(), folder_.Path() / "DecSwapStorage");
    EXPECT_EQ(SwapFile(stock_).filename().native().rfind("ryq", 0), 0u);
    struct stat status {};
    ASSERT_EQ(::stat(SwapFile(stock_).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
    // Other users' stocks share the folder, and cannot remove this one's file.
    ASSERT_EQ(::stat(SwapFile(stock_).parent_path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 01777u);
    ASSERT_EQ(stock_.Get(), 0);
    EXPECT_TRUE(std::filesystem::is_directory(folder_.Path() / "DecSwapStorage"));
}

TEST_F(MemoryStock, TwoStocksNeverShareAFile) {
    constexpr int kStocks = 200;
    std::vector<std::unique_ptr<CRyMemoryStock>> stocks;
    for (int i = 0; i < kStocks; ++i) {
        stocks.push_back(std::make_unique<CRyMemoryStock>());
        Put(*stocks.back(), L"number", {static_cast<unsigned char>(i)});
    }
    const auto swap_half = [&stocks](int first) {
        for (int i = first; i < kStocks; i += 2) EXPECT_EQ(stocks[static_cast<std::size_t>(i)]->Swap(), 0);
    };
    std::thread odd(swap_half, 1);
    swap_half(0);
    odd.join();

    EXPECT_EQ(folder_.Files().size(), static_cast<std::size_t>(kStocks));
    for (int i = 0; i < kStocks; ++i) {
        EXPECT_EQ(stocks[static_cast<std::size_t>(i)]->Get(), 0);
        EXPECT_EQ(Block(*stocks[static_cast<std::size_t>(i)], L"number"),
                  BlockBytes({static_cast<unsigned char>(i)}));
    }
}

TEST_F(MemoryStock, LeavesNoFileWhenDestroyedSwapped) {
    {
        CRyMemoryStock stock;
        Put(stock, L"image", {1, 2, 3});
        ASSERT_EQ(stock.Swap(), 0);
        ASSERT_EQ(folder_.Files().size(), 1u);
    }
    EXPECT_TRUE(folder_.Files().empty());
}

/// Copies of the stock point to the same items.
TEST_F(MemoryStock, DestructorEmptiesItemsAndKeepsTheObjects_stays) {
    float value = 2.5f;
    auto* const item = new CRyMemoryStockItem(&value, sizeof value, false);
    {
        CRyMemoryStock stock;
        stock.items[L"kept"] = item;
        stock.items[L"nothing"] = nullptr;
        Put(stock, L"other", {1});
    }
    EXPECT_EQ(item->pvData, nullptr);
    EXPECT_EQ(item->uiSize, 0u);
    delete item;
}

TEST_F(MemoryStock, CopiesShareItemsAndState) {
    Put(stock_, L"image", {4, 5});
    CRyMemoryStock copy(stock_);
    EXPECT_EQ(copy.items, stock_.items);
    CRyMemoryStock assigned;
    assigned = copy;
    EXPECT_EQ(assigned.items, stock_.items);
    ExpectInMemory(assigned);
    EXPECT_EQ(Block(assigned, L"image"), BlockBytes({4, 5}));
}

TEST_F(MemoryStock, CopyOfASwappedStockNamesTheSameFile) {
    Put(stock_, L"image", {4, 5});
    ASSERT_EQ(stock_.Swap(), 0);
    CRyMemoryStock copy(stock_);
    EXPECT_TRUE(copy.bSwapped);
    EXPECT_TRUE(copy.strSwapFile == stock_.strSwapFile);
    EXPECT_EQ(copy.Get(), 0);
    EXPECT_EQ(Block(copy, L"image"), BlockBytes({4, 5}));
    EXPECT_EQ(stock_.Get(), -9);  // the file is gone
    EXPECT_TRUE(stock_.bSwapped);
}

}  // namespace
