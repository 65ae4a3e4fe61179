// SPDX-License-Identifier: MIT

// The allocator of this executable in the place of ry_system's, so that tests can refuse blocks.

#include <gtest/gtest.h>
#include <ry_system/alloc.h>

#include <cstdlib>

#include "support/refused_alloc.h"

using gnr::test::RefusedAlloc;

void* CRyAlloc::Alloc(unsigned uiFlags, size_t uiBytes) {
    const size_t bytes = uiBytes == 0 ? 1 : uiBytes;
    if (RefusedAlloc::Refuses(bytes)) return nullptr;
    void* const block = (uiFlags & kZeroed) != 0 ? std::calloc(bytes, 1) : std::malloc(bytes);
    if (block != nullptr) ++RefusedAlloc::live;
    return block;
}

void CRyAlloc::Free(void* pvBlock) {
    if (pvBlock != nullptr) --RefusedAlloc::live;
    std::free(pvBlock);
}

namespace {

TEST(RefusedAllocation, RefusesTheChosenBlockAndCountsTheOthers) {
    const int before = RefusedAlloc::live;
    const RefusedAlloc refusal(1, 100);
    void* const small = CRyAlloc::Alloc(0, 10);
    void* const first = CRyAlloc::Alloc(0, 100);
    EXPECT_FALSE(refusal.HasRefused());
    EXPECT_EQ(CRyAlloc::Alloc(8, 1000), nullptr);
    EXPECT_TRUE(refusal.HasRefused());
    void* const third = CRyAlloc::Alloc(0, 100);
    EXPECT_NE(third, nullptr);
    EXPECT_EQ(RefusedAlloc::live, before + 3);
    for (void* const block : {small, first, third}) CRyAlloc::Free(block);
    EXPECT_EQ(RefusedAlloc::live, before);
}

}  // namespace
