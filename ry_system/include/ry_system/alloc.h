// SPDX-License-Identifier: MIT
#pragma once

// Plain memory blocks, released through the same class that handed them out.

#include <ry_system/export.h>

#include <cstddef>

/// Allocator of plain blocks.
class RY_SYSTEM_API CRyAlloc {
  public:
    /// Flag of Alloc: the block is filled with zero bytes.
    static constexpr unsigned kZeroed = 8;

    /// A block of uiBytes bytes, aligned for every fundamental type; 0 bytes give a valid block too.
    /// Null when memory is exhausted. Flags other than kZeroed are ignored.
    static void* Alloc(unsigned uiFlags, size_t uiBytes);

    /// Releases a block of Alloc; null is harmless.
    static void Free(void* pvBlock);
};
