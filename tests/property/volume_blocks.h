// SPDX-License-Identifier: MIT
#pragma once

// Blocks of memory as large as a volume of the tests, counted and refused. The allocation functions of this
// executable are replaced in allocation_test.cpp, where the C library and the sanitizers let them be.

#include <atomic>
#include <cstddef>

#include "support/sanitizer.h"

#if defined(__GLIBC__) && !GNR_ADDRESS_SANITIZER
#define GNR_TEST_COUNTS_BLOCKS 1
#endif

namespace gnr::test {

/// Blocks of this size or more, in bytes, are counted; a volume of the tests is larger, plans are far
/// smaller.
inline constexpr std::size_t kVolumeLike = std::size_t{200} * 1024;

extern std::atomic<std::size_t> largeBlocks;  ///< handed out so far
extern std::atomic<std::size_t> largeBytes;
extern std::atomic<int> liveLargeBlocks;  ///< handed out and not freed
/// So many more are handed out; below 0 there is no end.
extern std::atomic<int> largeBlocksUntilRefusal;

/// Refuses large blocks after the first `granted` ones, for the length of a scope.
class LargeBlockRefusal {
  public:
    explicit LargeBlockRefusal(int granted) { largeBlocksUntilRefusal = granted; }
    LargeBlockRefusal(const LargeBlockRefusal&) = delete;
    LargeBlockRefusal& operator=(const LargeBlockRefusal&) = delete;
    ~LargeBlockRefusal() { largeBlocksUntilRefusal = -1; }
};

}  // namespace gnr::test
