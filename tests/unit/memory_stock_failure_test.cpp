// SPDX-License-Identifier: MIT

// Swap and Get where the disk, the folder, the file or the keys are not what they should be.

#include <gnr_deconvolution/memory_stock.h>
#include <gtest/gtest.h>
#include <ry_system/alloc.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <string>

#include "support/stock_entries.h"
#include "support/temp_path_folder.h"

namespace {

using namespace gnr::test;

/// Files of this process end at so many bytes while it lives, as on a full disk.
class FileSizeLimit {
  public:
    explicit FileSizeLimit(rlim_t bytes) : handler_(::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit{bytes, before_.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &before_);
        ::signal(SIGXFSZ, handler_);
    }

  private:
    rlimit before_{};
    sighandler_t handler_;
};

class MemoryStockFailure : public testing::Test {
  protected:
    /// Three entries in their file, of 11 + 26 + 15 bytes.
    void SwapThree() {
        Put(stock_, L"a", {1});
        Put(stock_, L"fLambda", {1, 2, 3, 4});
        Put(stock_, L"ph", {5, 6, 7});
        ASSERT_EQ(stock_.Swap(), 0);
        bytes_ = ReadWhole(SwapFile(stock_));
        ASSERT_EQ(bytes_.size(), 52u);
    }
    void Rewrite() { WriteWhole(SwapFile(stock_), bytes_); }

    TempPathFolder folder_;
    CRyMemoryStock stock_;
    FileBytes bytes_;
};

// ------------------------------------------------------------------------------------------- Swap

TEST_F(MemoryStockFailure, SwapWithoutAFolderLeavesTheBlocks) {
    Put(stock_, L"a", {1});
    const EnvironmentValue nowhere("TMPDIR", (folder_.Path() / "missing").c_str());
    EXPECT_EQ(stock_.Swap(), -9);
    EXPECT_FALSE(stock_.bSwapped);
    EXPECT_EQ(Block(stock_, L"a"), BlockBytes({1}));
}

TEST_F(MemoryStockFailure, SwapIntoATooLongPathLeavesTheBlocks) {
    Put(stock_, L"a", {1});
    const EnvironmentValue long_path("TMPDIR", (folder_.Path() / std::string(300, 'd')).c_str());
    EXPECT_EQ(stock_.Swap(), -9);
    EXPECT_EQ(Block(stock_, L"a"), BlockBytes({1}));
}

TEST_F(MemoryStockFailure, SecondSwapIsRefused) {
    SwapThree();
    const CRyStringW file = stock_.strSwapFile;
    EXPECT_EQ(stock_.Swap(), -9);
    EXPECT_TRUE(stock_.strSwapFile == file);
    EXPECT_EQ(stock_.Get(), 0);
    EXPECT_EQ(Block(stock_, L"ph"), BlockBytes({5, 6, 7}));
}

TEST_F(MemoryStockFailure, SwapWithANullPointerIsRefused) {
    Put(stock_, L"a", {1});
    stock_.items[L"b"] = nullptr;
    EXPECT_EQ(stock_.Swap(), -9);
    EXPECT_FALSE(stock_.bSwapped);
    EXPECT_EQ(Block(stock_, L"a"), BlockBytes({1}));
    EXPECT_TRUE(folder_.Files().empty());
}

TEST_F(MemoryStockFailure, AFullDiskLosesTheBlocks_stays) {
    Put(stock_, L"a", BlockBytes(100, 1));
    Put(stock_, L"b", {2});
    {
        const FileSizeLimit limit(50);
        EXPECT_EQ(stock_.Swap(), -9);
    }
    EXPECT_TRUE(stock_.bSwapped);
    EXPECT_EQ(stock_.items.size(), 2u);
    for (const auto& [key, item] : stock_.items) EXPECT_EQ(item, nullptr);
    EXPECT_EQ(stock_.Get(), -9);
}

TEST_F(MemoryStockFailure, ABlockOf4GiBKeepsTheLowHalfOfItsSize_stays) {
    if (sizeof(std::size_t) < 8) GTEST_SKIP() << "no room for such a block";
    constexpr std::size_t kSize = (std::size_t{1} << 32) + 5;
    void* const block = CRyAlloc::Alloc(CRyAlloc::kZeroed, kSize);
    if (block == nullptr) GTEST_SKIP() << "no memory for such a block";
    stock_.items[L"a"] = new CRyMemoryStockItem(block, kSize, true);
    {
        const FileSizeLimit limit(4096);
        EXPECT_EQ(stock_.Swap(), -9);
    }
    const FileBytes file = ReadWhole(SwapFile(stock_));
    EXPECT_EQ(file.size(), 4096u);
    EXPECT_EQ(FileBytes(file.begin(), file.begin() + 10), FileBytes({1, 0, 0, 0, 'a', 0, 5, 0, 0, 0}));
}

// ------------------------------------------------------------------------------------------- Get

TEST_F(MemoryStockFailure, GetOfAStockInMemoryIsRefused) {
    Put(stock_, L"a", {1});
    EXPECT_EQ(stock_.Get(), -9);
    EXPECT_EQ(Block(stock_, L"a"), BlockBytes({1}));
}

TEST_F(MemoryStockFailure, GetWithoutItsFileIsRefused) {
    SwapThree();
    std::filesystem::remove(SwapFile(stock_));
    EXPECT_EQ(stock_.Get(), -9);
    EXPECT_TRUE(stock_.bSwapped);
}

TEST_F(MemoryStockFailure, FoldersAndPipesAreNoSwapFiles) {
    SwapThree();
    const auto file = SwapFile(stock_);
    std::filesystem::remove(file);
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
    EXPECT_EQ(stock_.Get(), -9);
    std::filesystem::remove(file);
    std::filesystem::create_directory(file);
    EXPECT_EQ(stock_.Get(), -9);
}

TEST_F(MemoryStockFailure, ANewKeyInBetweenIsFound) {
    for (const wchar_t* key : {L"b", L"fLambdb", L"z"}) {
        CRyMemoryStock stock;
        Put(stock, L"a", {1});
        Put(stock, L"fLambda", {1, 2, 3, 4});
        ASSERT_EQ(stock.Swap(), 0);
        stock.items[key] = nullptr;
        EXPECT_EQ(stock.Get(), -9);
        EXPECT_TRUE(stock.bSwapped);
        EXPECT_EQ(Block(stock, L"a"), BlockBytes({1}));
        EXPECT_EQ(stock.items[key], nullptr);
        EXPECT_EQ(folder_.Files().size(), 1u);

        // Without the key the file is good again, and what came back before makes room.
        stock.items.erase(key);
        EXPECT_EQ(stock.Get(), 0);
        EXPECT_EQ(Block(stock, L"fLambda"), BlockBytes({1, 2, 3, 4}));
    }
}

TEST_F(MemoryStockFailure, KeysOfTheSameLengthAreTold) {
    SwapThree();
    bytes_[4] = 'b';
    Rewrite();
    EXPECT_EQ(stock_.Get(), -9);
    bytes_[4] = 'a';
    bytes_[5] = 1;  // the high byte counts as well
    Rewrite();
    EXPECT_EQ(stock_.Get(), -9);
    bytes_[5] = 0;
    Rewrite();
    EXPECT_EQ(stock_.Get(), 0);
}

TEST_F(MemoryStockFailure, AFileCutAnywhereIsRefused) {
    SwapThree();
    const FileBytes whole = bytes_;
    for (std::size_t size = 0; size < whole.size(); ++size) {
        bytes_.assign(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        Rewrite();
        ASSERT_EQ(stock_.Get(), -9) << size;
        ASSERT_TRUE(stock_.bSwapped);
        EXPECT_EQ(Block(stock_, L"a").has_value(), size >= 11) << size;
        EXPECT_FALSE(Block(stock_, L"ph").has_value()) << size;
    }
    bytes_ = whole;
    Rewrite();
    EXPECT_EQ(stock_.Get(), 0);
    EXPECT_EQ(Block(stock_, L"ph"), BlockBytes({5, 6, 7}));
}

/// The format carries no checksum: what a flipped bit of a block leaves is a block of the same size, and a size
/// made smaller in the last record leaves its beginning. All else is -9.
TEST_F(MemoryStockFailure, AFlippedBitIsRefusedOrLeavesAReadableBlock) {
    SwapThree();
    const FileBytes whole = bytes_;
    for (std::size_t bit = 0; bit < 8 * whole.size(); ++bit) {
        CRyMemoryStock stock;
        for (const wchar_t* key : {L"a", L"fLambda", L"ph"}) Put(stock, key, {0});
        ASSERT_EQ(stock.Swap(), 0);
        bytes_ = whole;
        bytes_[bit / 8] = static_cast<unsigned char>(bytes_[bit / 8] ^ (1u << bit % 8));
        WriteWhole(SwapFile(stock), bytes_);

        const int result = stock.Get();
        const bool in_block = bit / 8 == 10 || (bit / 8 >= 33 && bit / 8 < 37) || bit / 8 >= 49;
        const bool last_size_less = bit == 8 * 45 || bit == 8 * 45 + 1;
        EXPECT_EQ(result, in_block || last_size_less ? 0 : -9) << bit;
        if (result != 0) continue;
        EXPECT_EQ(Block(stock, L"a")->size(), 1u);
        EXPECT_EQ(Block(stock, L"fLambda")->size(), 4u);
        EXPECT_LE(Block(stock, L"ph")->size(), 3u);
    }
}

/// The most address space that the process has had, in kB.
long PeakAddressSpace() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmPeak:", 0) == 0) return std::stol(line.substr(7));
    }
    return -1;
}

TEST_F(MemoryStockFailure, SizesBeyondTheFileAllocateNothing) {
    if (PeakAddressSpace() < 0) GTEST_SKIP() << "the system does not tell";
    SwapThree();
    for (const unsigned top : {0xFFu, 0x7Fu, 0x01u}) {  // 4 GiB, 2 GiB, 16 MiB
        for (const std::size_t field : {6u, 29u, 45u}) {
            FileBytes broken = bytes_;
            broken[field + 3] = static_cast<unsigned char>(top);
            WriteWhole(SwapFile(stock_), broken);
            // The peak of a process of its own is that of this call.
            EXPECT_EXIT(
                {
                    const long before = PeakAddressSpace();
                    const int result = stock_.Get();
                    std::_Exit(result == -9 && PeakAddressSpace() - before < 8192 ? 0 : 1);
                },
                testing::ExitedWithCode(0), "");
        }
    }
}

TEST_F(MemoryStockFailure, LengthsBeyondTheFileAreRefused) {
    SwapThree();
    for (const unsigned top : {0xFFu, 0x80u, 0x7Fu}) {
        bytes_[3] = static_cast<unsigned char>(top);
        Rewrite();
        EXPECT_EQ(stock_.Get(), -9);
    }
}

TEST_F(MemoryStockFailure, BytesBehindTheLastRecordAreNotLookedAt) {
    SwapThree();
    bytes_.push_back(0xFF);
    Rewrite();
    EXPECT_EQ(stock_.Get(), 0);
    EXPECT_EQ(Block(stock_, L"ph"), BlockBytes({5, 6, 7}));
}

}  // namespace
