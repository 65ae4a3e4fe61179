// SPDX-License-Identifier: MIT
#pragma once

// One call of a restoration in stages, on its own image and PSF.

#include <gnr_deconvolution/legacy.h>
#include <gnr_deconvolution/memory_stock.h>

#include <ostream>

#include "support/ref/landweber_runs.h"
#include "support/ref/total_variation_chains.h"

namespace gnr::test {

enum class Staged { kAdditive, kConjugate };
inline constexpr Staged kStagedEntries[] = {Staged::kAdditive, Staged::kConjugate};

inline const char* NameOf(Staged entry) {
    return entry == Staged::kAdditive ? "Additive" : "Conjugate";
}
inline void PrintTo(Staged entry, std::ostream* out) {
    *out << NameOf(entry);
}

struct StagedCall {
    StagedCall(Staged which, const Volume& observed, const Volume& spread, int count)
        : entry(which), image(observed), psf(spread), iterations(count) {}

    /// A first call that parks nothing.
    int Run(EntryLog* log = nullptr) { return Run(nullptr, false, false, log); }
    int RunAndPark(CRyMemoryStock& stock, EntryLog* log = nullptr) { return Run(&stock, false, true, log); }
    int Resume(CRyMemoryStock& stock, EntryLog* log = nullptr) { return Run(&stock, true, false, log); }
    int ResumeAndPark(CRyMemoryStock& stock, EntryLog* log = nullptr) { return Run(&stock, true, true, log); }
    int Run(CRyMemoryStock* stock, bool resume, bool store, EntryLog* log) {
        return RunOn(image, psf, stock, resume, store, log);
    }
    int RunOn(float* pfImage, float* pfPsf, CRyMemoryStock* stock, bool resume, bool store, EntryLog* log) {
        using Family = CRyLegacy3DDeconvolutionFamily;
        DFT3D s = image.sizes;
        if (beyondMemory) s.total = 1LL << 60;
        const auto call = entry == Staged::kAdditive ? &Family::LucyRichardsonTV_AdditiveVersion
                                                     : &Family::LucyRichardsonTV_ICTM;
        return call(&s, pfPsf, pfImage, iterations, log != nullptr ? log->callback() : nullptr,
                    log != nullptr ? log->pointer() : nullptr, unused, unused, strength, stock, resume,
                    store);
    }
    /// The factor of the weight.
    float factor() const { return entry == Staged::kAdditive ? 0.002f : 0.01f; }

    Staged entry;
    Volume image;
    Volume psf;
    int iterations;
    unsigned strength = 5;
    int unused = 0;
    bool beyondMemory = false;
};

/// The chain that defines a run, on x, with the inputs of its first call.
inline void RunChain(Staged entry, Volume& x, const ref::ChainInputs& run, int iterations,
                     bool withTerm = true) {
    if (entry == Staged::kAdditive) {
        ref::AdditiveChain(x, run, iterations, withTerm);
    } else {
        ref::ICTMChain(x, run, iterations);
    }
}

/// A stock whose item objects are deleted with it.
struct OwnedStock : CRyMemoryStock {
    OwnedStock() = default;
    OwnedStock(const OwnedStock&) = delete;
    OwnedStock& operator=(const OwnedStock&) = delete;
    ~OwnedStock() {
        for (auto& [key, item] : items) delete item;
        items.clear();
    }

    CRyMemoryStockItem* Item(const wchar_t* key) {
        const auto entry = items.find(CRyStringW(key));
        return entry == items.end() ? nullptr : entry->second;
    }
    bool Holds(const wchar_t* key, const void* content, unsigned long long bytes) {
        CRyMemoryStockItem* const item = Item(key);
        return item != nullptr && item->uiSize == bytes && std::memcmp(item->pvData, content, bytes) == 0;
    }
    bool Holds(const wchar_t* key, const Volume& content) {
        return Holds(key, content.get(), static_cast<unsigned long long>(content.sizes.total) * 4);
    }
    float FloatOf(const wchar_t* key) {
        float value = 0;
        EXPECT_EQ(Item(key)->update(&value, sizeof value), 0);
        return value;
    }
    /// Puts a copy under a key that is not there yet.
    void Put(const wchar_t* key, const Volume& content) {
        items[CRyStringW(key)] = new CRyMemoryStockItem(
            content.get(), static_cast<unsigned long long>(content.sizes.total) * 4, false);
    }
};

}  // namespace gnr::test
