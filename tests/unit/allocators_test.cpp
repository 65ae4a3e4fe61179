// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/kernels_3d.h>
#include <gtest/gtest.h>
#include <ry_system/alloc.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>

#include "support/volumes.h"

namespace {

using Low = CRy3DDeconvolutionLow;

constexpr long long kAbsurd = std::numeric_limits<long long>::max();
/// More bytes than any address space, and yet no overflow on the way.
constexpr long long kBeyondMemory = 1LL << 60;

TEST(SseAlloc, IsAlignedAndZeroedForEverySize) {
    for (long long n = 0; n < 300; ++n) {
        float* const pf = Low::SSE_Alloc(n);
        ASSERT_NE(pf, nullptr);
        ASSERT_EQ(reinterpret_cast<std::uintptr_t>(pf) % 16, 0u) << n;
        ASSERT_EQ(std::count(pf, pf + n, 0.0f), n);
        std::fill(pf, pf + n, gnr::test::kSentinel);
        Low::SSE_Destroy(pf);
    }
}

/// A last group of four floats or of four complex numbers may be written whole.
TEST(SseAlloc, HasSlackForTheLastGroup) {
    for (long long n = 0; n < 40; ++n) {
        float* const pf = Low::SSE_Alloc(n);
        ASSERT_NE(pf, nullptr);
        const long long wholeGroups = (n + 7) / 8 * 8;
        std::fill(pf, pf + wholeGroups, gnr::test::kSentinel);
        EXPECT_EQ(std::count(pf, pf + wholeGroups, gnr::test::kSentinel), wholeGroups);
        Low::SSE_Destroy(pf);
    }
}

TEST(SseAlloc, BlocksDoNotOverlap) {
    float* const first = Low::SSE_Alloc(64);
    float* const second = Low::SSE_Alloc(64);
    std::fill(first, first + 64, 1.0f);
    std::fill(second, second + 64, 2.0f);
    EXPECT_EQ(std::count(first, first + 64, 1.0f), 64);
    Low::SSE_Destroy(first);
    EXPECT_EQ(std::count(second, second + 64, 2.0f), 64);
    Low::SSE_Destroy(second);
}

TEST(SseAlloc, RefusesNegativeAndImpossibleSizes) {
    for (const long long n :
         {-1LL, std::numeric_limits<long long>::min(), kAbsurd, kAbsurd / 4, kBeyondMemory}) {
        EXPECT_EQ(Low::SSE_Alloc(n), nullptr) << n;
    }
}

TEST(PlainBuffers, KernelBuffersHoldTheWholeVolume) {
    const DFT3D s = gnr::test::Geometry(6, 5, 3);
    float* const pf = Low::KERNEL3D_Create(&s);
    ASSERT_NE(pf, nullptr);
    std::fill(pf, pf + s.total, 1.0f);
    Low::KERNEL3D_Destroy(pf);
}

TEST(PlainBuffers, TheBlindScratchHoldsItsCount) {
    FDCT2D s = {37};
    float* const pf = Low::KERNEL2D_Create(&s);
    ASSERT_NE(pf, nullptr);
    std::fill(pf, pf + s.iCount, 1.0f);
    Low::KERNEL3D_Destroy(pf);
}

TEST(PlainBuffers, InlineBuffersHoldTheirCount) {
    for (const long long n : {1LL, 5LL, 1000LL}) {
        float* const pf = Low::INLINE_Create(n);
        ASSERT_NE(pf, nullptr);
        std::fill(pf, pf + n, 1.0f);
        Low::INLINE_Destroy(pf);
    }
}

TEST(PlainBuffers, NoFloatsGiveABlockToRelease) {
    DFT3D none = {};
    FDCT2D noneFlat = {0};
    float* const volume = Low::KERNEL3D_Create(&none);
    float* const plane = Low::KERNEL2D_Create(&noneFlat);
    float* const line = Low::INLINE_Create(0);
    EXPECT_NE(volume, nullptr);
    EXPECT_NE(plane, nullptr);
    EXPECT_NE(line, nullptr);
    Low::KERNEL3D_Destroy(volume);
    Low::KERNEL3D_Destroy(plane);
    Low::INLINE_Destroy(line);
}

TEST(PlainBuffers, RefuseNegativeAndImpossibleSizes) {
    for (const long long n :
         {-1LL, std::numeric_limits<long long>::min(), kAbsurd, kAbsurd / 4, kBeyondMemory}) {
        DFT3D s = {};
        s.total = n;
        EXPECT_EQ(Low::KERNEL3D_Create(&s), nullptr) << n;
        EXPECT_EQ(Low::INLINE_Create(n), nullptr) << n;
    }
    FDCT2D negative = {-1};
    EXPECT_EQ(Low::KERNEL2D_Create(&negative), nullptr);
}

TEST(BuffersDeathTest, ReleasingNullIsHarmless) {
    const auto releaseAll = [] {
        Low::KERNEL3D_Destroy(nullptr);
        Low::INLINE_Destroy(nullptr);
        Low::SSE_Destroy(nullptr);
        CRyAlloc::Free(nullptr);
        std::exit(EXIT_SUCCESS);
    };
    EXPECT_EXIT(releaseAll(), testing::ExitedWithCode(EXIT_SUCCESS), "");
}

TEST(PlainBlocks, TheZeroFlagClears) {
    constexpr size_t kBytes = 4096;
    // A used block of the same size, so that the allocator has dirty memory at hand.
    void* const used = CRyAlloc::Alloc(0, kBytes);
    std::fill_n(static_cast<unsigned char*>(used), kBytes, static_cast<unsigned char>(0xA5));
    CRyAlloc::Free(used);
    auto* const cleared = static_cast<unsigned char*>(CRyAlloc::Alloc(8, kBytes));
    ASSERT_NE(cleared, nullptr);
    EXPECT_EQ(std::count(cleared, cleared + kBytes, 0), static_cast<std::ptrdiff_t>(kBytes));
    CRyAlloc::Free(cleared);
}

TEST(PlainBlocks, ExhaustionGivesNull) {
    EXPECT_EQ(CRyAlloc::Alloc(0, static_cast<size_t>(kBeyondMemory)), nullptr);
    EXPECT_EQ(CRyAlloc::Alloc(8, static_cast<size_t>(kBeyondMemory)), nullptr);
}

}  // namespace
