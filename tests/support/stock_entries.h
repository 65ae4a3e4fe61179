// SPDX-License-Identifier: MIT
#pragma once

// Entries of a memory stock, put in and looked at.

#include <gnr_deconvolution/memory_stock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <optional>
#include <vector>

namespace gnr::test {

using BlockBytes = std::vector<unsigned char>;

inline void Put(CRyMemoryStock& stock, const wchar_t* key, BlockBytes bytes) {
    stock.items[key] = new CRyMemoryStockItem(bytes.data(), bytes.size(), false);
}

/// The block under a key; nothing where the entry or its item is missing.
inline std::optional<BlockBytes> Block(const CRyMemoryStock& stock, const wchar_t* key) {
    const auto found = stock.items.find(key);
    if (found == stock.items.end() || found->second == nullptr) return std::nullopt;
    void* block = nullptr;
    unsigned long long size = 0;
    EXPECT_EQ(found->second->GetMemAndSize(block, size), 0);
    BlockBytes bytes(size);
    if (size != 0) std::memcpy(bytes.data(), block, size);
    return bytes;
}

inline std::filesystem::path SwapFile(const CRyMemoryStock& stock) {
    return stock.strSwapFile.c_str();
}

}  // namespace gnr::test
