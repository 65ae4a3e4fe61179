// SPDX-License-Identifier: MIT
#pragma once

// Owner of the scratch that lives for one call.

#include <ry_system/alloc.h>

#include <cstddef>
#include <memory>

namespace gnr::detail {

struct FreeScratch {
    void operator()(void* block) const { CRyAlloc::Free(block); }
};

template <class T>
using ScratchBlock = std::unique_ptr<T[], FreeScratch>;

/// `count` samples, not initialised; null when memory is exhausted.
template <class T>
ScratchBlock<T> NewScratch(std::size_t count) {
    return ScratchBlock<T>(static_cast<T*>(CRyAlloc::Alloc(0, count * sizeof(T))));
}

}  // namespace gnr::detail
