// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/memory_stock.h>
#include <gnr_deconvolution/return_codes.h>
#include <ry_platform/files.h>

#include <algorithm>
#include <memory>
#include <new>
#include <vector>

#include "stock/kept_object.h"
#include "stock/swap_file.h"

using namespace gnr;
using namespace gnr::detail;

namespace {

// The item of an entry from its record; one that an earlier Get brought back before it failed is filled anew.
bool TakeBack(RecordReader& reader, const CRyStringW& key, CRyMemoryStockItem*& item) {
    if (item != nullptr) return reader.Read(key, *item);
    std::unique_ptr<CRyMemoryStockItem> fresh(new (std::nothrow) CRyMemoryStockItem);
    if (fresh == nullptr || !reader.Read(key, *fresh)) return false;
    item = fresh.release();
    return true;
}

}  // namespace

CRyMemoryStock::~CRyMemoryStock() {
    for (const auto& [key, item] : items) {
        if (item == nullptr) continue;
        item->destroy();
        MarkKeptObject(item);
    }
    if (!strSwapFile.empty()) RY_RemoveFile(strSwapFile.c_str(), 0);
}

int CRyMemoryStock::Swap() try {
    const auto is_away = [](const auto& entry) { return entry.second == nullptr; };
    if (bSwapped || std::any_of(items.begin(), items.end(), is_away)) return kNotReady;

    // Memory is asked for before the first block goes, so that want of it loses none.
    std::vector<KeyBytes> keys;
    keys.reserve(items.size());
    for (const auto& [key, item] : items) keys.push_back(EncodeKey(key));
    strSwapFile = NewSwapFile();
    const OpenFile file = OpenFile::ForWriting(strSwapFile);
    if (!file) return kNotReady;

    bool whole = true;
    auto encoded = keys.cbegin();
    for (auto& [key, item] : items) {
        whole &= WriteRecord(file, *encoded++, *item);
        // deliberate: freed even where it is not in the file, so that Swap gives the memory back in any case
        delete item;
        item = nullptr;
    }
    bSwapped = true;
    return whole ? kSuccess : kNotReady;
} catch (const std::bad_alloc&) {
    return kNotReady;
}

int CRyMemoryStock::Get() try {
    {
        const OpenFile file = OpenFile::ForReading(strSwapFile);
        if (!file) return kNotReady;
        RecordReader reader(file);
        for (auto& [key, item] : items) {
            if (!TakeBack(reader, key, item)) return kNotReady;
        }
    }
    RY_RemoveFile(strSwapFile.c_str(), 0);
    bSwapped = false;
    strSwapFile = CRyStringW();
    return kSuccess;
} catch (const std::bad_alloc&) {
    return kNotReady;
}
