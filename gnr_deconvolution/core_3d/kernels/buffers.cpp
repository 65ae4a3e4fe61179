// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/kernels_3d.h>
#include <ry_system/alloc.h>

#include <cstdint>
#include <cstdlib>
#include <limits>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace {

/// A cache line; more than the 16 bytes that the kernels need.
constexpr std::uintptr_t kAlignment = 64;
/// Floats behind an SSE_ buffer, so that a last group of eight stays inside the block.
constexpr std::int64_t kSlack = 8;

float* AllocatePlain(std::int64_t floats) {
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max() / std::int64_t{sizeof(float)};
    if (floats < 0 || floats > most) return nullptr;
    return static_cast<float*>(CRyAlloc::Alloc(0, static_cast<size_t>(floats) * sizeof(float)));
}

/// Volumes that do not fit into the caches are read up to one and a half times as fast from large pages. A wish: the
/// system may not grant it.
void AskForLargePages([[maybe_unused]] void* block, [[maybe_unused]] size_t bytes) {
#if defined(__linux__)
    constexpr std::uintptr_t page = std::uintptr_t{2} << 20;
    const auto begin = reinterpret_cast<std::uintptr_t>(block);
    const std::uintptr_t first = (begin + page - 1) / page * page;
    const std::uintptr_t behind = (begin + bytes) / page * page;
    if (first < behind) madvise(static_cast<char*>(block) + (first - begin), behind - first, MADV_HUGEPAGE);
#endif
}

}  // namespace

float* CRy3DDeconvolutionLow::KERNEL3D_Create(const DFT3D* s) {
    return AllocatePlain(s->total);
}
void CRy3DDeconvolutionLow::KERNEL3D_Destroy(float* pf) {
    CRyAlloc::Free(pf);
}
float* CRy3DDeconvolutionLow::INLINE_Create(long long n) {
    return AllocatePlain(n);
}
void CRy3DDeconvolutionLow::INLINE_Destroy(float* pf) {
    CRyAlloc::Free(pf);
}
float* CRy3DDeconvolutionLow::KERNEL2D_Create(FDCT2D* s) {
    return AllocatePlain(s->iCount);
}

// The block begins with the pointer that calloc gave; calloc hands out large blocks as untouched zero pages,
// so that zeroing costs nothing until a page is used.
float* CRy3DDeconvolutionLow::SSE_Alloc(long long n) {
    constexpr std::int64_t overhead = kAlignment + sizeof(void*) + kSlack * sizeof(float);
    constexpr std::int64_t most =
        (std::numeric_limits<std::int64_t>::max() - overhead) / std::int64_t{sizeof(float)};
    if (n < 0 || n > most) return nullptr;

    const size_t bytes = static_cast<size_t>(n) * sizeof(float) + overhead;
    void* const block = std::calloc(bytes, 1);
    if (block == nullptr) return nullptr;
    AskForLargePages(block, bytes);
    const std::uintptr_t first = reinterpret_cast<std::uintptr_t>(block) + sizeof(void*);
    const std::uintptr_t offset = (first + kAlignment - 1) / kAlignment * kAlignment - first;
    void** const aligned = static_cast<void**>(block) + (sizeof(void*) + offset) / sizeof(void*);
    aligned[-1] = block;
    return reinterpret_cast<float*>(aligned);
}

void CRy3DDeconvolutionLow::SSE_Destroy(float* pf) {
    if (pf != nullptr) std::free(reinterpret_cast<void**>(pf)[-1]);
}
