// SPDX-License-Identifier: MIT

// What the PSF models, the transforms, a parked call and a stock do when memory runs out in the middle. Replaces the allocation
// functions of this executable, so that blocks of one chosen size can be refused.

#include <gnr_deconvolution/psf_3d.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <vector>

#include "support/psf_access.h"
#include "support/ref/psf_layered.h"
#include "support/refused_alloc.h"
#include "support/staged_calls.h"
#include "support/stock_entries.h"
#include "support/temp_path_folder.h"

namespace {

std::atomic<std::size_t> refusedBytes{0};  // 0: none
std::atomic<int> refusedFrom{0};           // first block of that size to be refused, counted from 0 ...
std::atomic<int> refusedUpTo{0};           // ... and the one behind the last
std::atomic<int> seen{0};

bool Refuse(std::size_t bytes) {
    if (refusedBytes == 0 || bytes != refusedBytes) return false;
    const int index = seen++;
    return index >= refusedFrom && index < refusedUpTo;
}

/// Refuses blocks of so many bytes while it lives.
class Refusal {
  public:
    explicit Refusal(std::size_t bytes, int from = 0, int upTo = 1 << 30) {
        seen = 0;
        refusedFrom = from;
        refusedUpTo = upTo;
        refusedBytes = bytes;
    }
    ~Refusal() { refusedBytes = 0; }
};

}  // namespace

void* operator new(std::size_t bytes) {
    void* const block = Refuse(bytes) ? nullptr : std::malloc(bytes == 0 ? 1 : bytes);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
    return Refuse(bytes) ? nullptr : std::malloc(bytes == 0 ? 1 : bytes);
}
// Inlined without the operator that gave the block, free would seem the wrong partner to a compiler.
[[gnu::noinline]] void operator delete(void* block) noexcept {
    std::free(block);
}
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}

namespace {

using namespace gnr::test;

class PsfOutOfMemory : public testing::Test {
  protected:
    PsfOutOfMemory() {
        EXPECT_EQ(psf.AllocatePSF(40, 38, 7), 0);
        entries = static_cast<std::size_t>(gnr::ref::LayeredModel(psf.sizes, optics, true, true).nR);
    }
    bool PlaneIsZero(int z) {
        const float* const plane = psf.pfPSF + std::int64_t{z} * psf.sizes.planeStride;
        return std::all_of(plane, plane + psf.sizes.planeStride, [](float v) { return v == 0.0f; });
    }
    int Epi() { return psf.EpiFluorescence(&psf.sizes, psf.pfPSF, &optics, true, true, true, &focus); }

    OpenPsf psf;
    SDiffractionParamsEx optics = OilOptics();
    std::size_t entries = 0;
    double focus = 0.0;
};

TEST_F(PsfOutOfMemory, OnePlaneWithoutATableIsMinus3AndTheOthersAreComputed) {
    ASSERT_EQ(Epi(), 0);
    const std::vector<float> whole(psf.pfPSF, psf.pfPSF + psf.sizes.total);
    const Refusal refusal(entries * sizeof(double), 2, 3);
    EXPECT_EQ(Epi(), -3);
    for (int z = 0; z < 7; ++z) {
        const float* const plane = psf.pfPSF + std::int64_t{z} * psf.sizes.planeStride;
        EXPECT_EQ(PlaneIsZero(z), z == 2);
        if (z != 2) {
            EXPECT_TRUE(std::equal(plane, plane + psf.sizes.planeStride,
                                   whole.begin() + std::int64_t{z} * psf.sizes.planeStride));
        }
    }
}

TEST_F(PsfOutOfMemory, NoTableAtAllIsMinus3AndAllZero) {
    const Refusal refusal(entries * sizeof(double));
    EXPECT_EQ(Epi(), -3);
    for (int z = 0; z < 7; ++z) EXPECT_TRUE(PlaneIsZero(z));
}

TEST_F(PsfOutOfMemory, ModelsBuiltOnItPassTheFailureOn) {
    optics.dEmissionWavelength = optics.dWavelength;
    optics.iModality = 5;
    const auto narrow = static_cast<std::size_t>(gnr::ref::LayeredModel(psf.sizes, optics, true, true).nR);
    DFT3D s = psf.sizes;
    {
        const Refusal refusal(narrow * sizeof(double), 0, 1);
        EXPECT_EQ(psf.TwoPhotonFluorescence(&s, psf.pfPSF, &optics, true, true), -3);
    }
    for (const int failing : {0, 7}) {  // in the emission, in the excitation
        const Refusal refusal(narrow * sizeof(double), failing, failing + 1);
        EXPECT_EQ(psf.ConfocalFluorescence(&s, psf.pfPSF, &optics, true, true), -3);
    }
    const Refusal refusal(narrow * sizeof(double), 0, 1);
    EXPECT_EQ(psf.GeneratePSFEx(&s, &optics, nullptr, nullptr, true, true), -8);
    EXPECT_NE(psf.pfPSF, nullptr);
}

TEST_F(PsfOutOfMemory, SharedTablesOfTheLayeredModelAreMinus3) {
    const Refusal refusal(std::size_t{64} * 1024 * sizeof(double));
    EXPECT_EQ(Epi(), -3);
}

TEST_F(PsfOutOfMemory, TablesOfTheFastModelThrow) {
    // From the middle of 40 x 38 samples to the corner and one further.
    const Refusal refusal((27 + 2) * sizeof(double));
    EXPECT_THROW(psf.KERNEL3D_Airy(&psf.sizes, psf.pfPSF, &optics, true, nullptr, nullptr, 1.0f, true),
                 std::bad_alloc);
}

/// Whatever small block of a transform is refused: a status, no exception.
TEST(TransformOutOfMemory, IsMinus1AndLeavesTheSamples) {
    FloatPSF3D volume;
    ASSERT_EQ(volume.AllocatePSF(4, 3, 2), 0);
    volume.pfPSF[0] = 1.0f;
    const std::vector<float> before(volume.pfPSF, volume.pfPSF + volume.sizes.total);
    int failures = 0;
    for (std::size_t bytes = 8; bytes <= 1024; bytes += 8) {
        int status = 0;
        {
            const Refusal refusal(bytes);
            ASSERT_NO_THROW(status = CRy3DDeconvolutionLow::DFT3D_Transform(&volume.sizes, volume.pfPSF))
                << bytes;
        }
        failures += status == -1 ? 1 : 0;
        if (status == -1) {
            EXPECT_TRUE(std::equal(before.begin(), before.end(), volume.pfPSF)) << bytes;
        } else {
            EXPECT_EQ(CRy3DDeconvolutionLow::DFT3D_Inversion(&volume.sizes, volume.pfPSF), 0) << bytes;
            std::copy(before.begin(), before.end(), volume.pfPSF);
        }
    }
    EXPECT_GT(failures, 0);
}

/// Wherever parking lacks a small block, for an item, a key or an entry: each volume is freed once.
TEST(ParkingOutOfMemory, ThrowsAndFreesEachVolumeOnce) {
    const Volume image = Scene(6, 5, 4, 20, 400);
    const Volume spread = AsymmetricPsf(6, 5, 4);
    int thrown = 0;
    for (std::size_t bytes = 8; bytes <= 128; bytes += 8) {
        for (int index = 0; index < 12; ++index) {
            StagedCall call(Staged::kConjugate, image, spread, 0);
            const int before = RefusedAlloc::live;
            {
                OwnedStock stock;
                try {
                    const Refusal refusal(bytes, index, index + 1);
                    call.RunAndPark(stock);
                } catch (const std::bad_alloc&) {
                    ++thrown;
                }
            }
            EXPECT_EQ(RefusedAlloc::live, before) << bytes << ' ' << index;
        }
    }
    EXPECT_GT(thrown, 5);
}

/// Whatever small block is refused: -9, no exception, all blocks in place or in the file.
TEST(StockOutOfMemory, SwapAndGetLoseNothing) {
    const TempPathFolder folder;
    OwnedStock stock;
    Put(stock, L"a", {1});
    Put(stock, L"fLambda", {1, 2, 3, 4});
    int failures = 0;
    for (std::size_t bytes = 2; bytes <= 256; bytes += 2) {
        for (int index = 0; index < 8; ++index) {
            for (const auto step : {&CRyMemoryStock::Swap, &CRyMemoryStock::Get}) {
                const bool was_swapped = stock.bSwapped;
                int code = 0;
                {
                    const Refusal refusal(bytes, index, index + 1);
                    ASSERT_NO_THROW(code = (stock.*step)()) << bytes << ' ' << index;
                }
                if (code == 0) continue;
                ++failures;
                ASSERT_EQ(code, -9);
                ASSERT_EQ(stock.bSwapped, was_swapped);
                ASSERT_EQ((stock.*step)(), 0);
            }
            ASSERT_EQ(Block(stock, L"a"), BlockBytes({1}));
            ASSERT_EQ(Block(stock, L"fLambda"), BlockBytes({1, 2, 3, 4}));
        }
    }
    EXPECT_GT(failures, 10);
}

}  // namespace
