// SPDX-License-Identifier: MIT
#include <ry_system/alloc.h>

#include <cstdlib>

void* CRyAlloc::Alloc(unsigned uiFlags, size_t uiBytes) {
    const size_t bytes = uiBytes == 0 ? 1 : uiBytes;
    return (uiFlags & kZeroed) != 0 ? std::calloc(bytes, 1) : std::malloc(bytes);
}

void CRyAlloc::Free(void* pvBlock) {
    std::free(pvBlock);
}
