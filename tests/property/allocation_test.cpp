// SPDX-License-Identifier: MIT

// What the cores allocate: volumes in Prepare, as GetRequiredMemorySize says, and none in Run.

#include <gnr_deconvolution/cores.h>
#include <gnr_deconvolution/legacy.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <memory>

#include "property/volume_blocks.h"
#include "support/volumes.h"

#if defined(GNR_TEST_COUNTS_BLOCKS)

#include <malloc.h>

extern "C" {
void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_memalign(size_t, size_t);
void __libc_free(void*);
}

namespace gnr::test {

std::atomic<std::size_t> largeBlocks = 0;
std::atomic<std::size_t> largeBytes = 0;
std::atomic<int> liveLargeBlocks = 0;
std::atomic<int> largeBlocksUntilRefusal = -1;

namespace {

/// Whether a block of so many bytes shall be refused; counts it if not.
bool Refused(std::size_t bytes) {
    if (bytes < kVolumeLike) return false;
    if (largeBlocksUntilRefusal == 0) return true;
    if (largeBlocksUntilRefusal > 0) --largeBlocksUntilRefusal;
    ++largeBlocks;
    largeBytes += bytes;
    return false;
}

void* Live(void* block) {
    if (block != nullptr && malloc_usable_size(block) >= kVolumeLike) ++liveLargeBlocks;
    return block;
}

}  // namespace

}  // namespace gnr::test

extern "C" {
void* malloc(size_t bytes) {
    return gnr::test::Refused(bytes) ? nullptr : gnr::test::Live(__libc_malloc(bytes));
}
void* calloc(size_t count, size_t bytes) {
    return gnr::test::Refused(count * bytes) ? nullptr : gnr::test::Live(__libc_calloc(count, bytes));
}
void* memalign(size_t alignment, size_t bytes) {
    return gnr::test::Refused(bytes) ? nullptr : gnr::test::Live(__libc_memalign(alignment, bytes));
}
void free(void* block) {
    if (block != nullptr && malloc_usable_size(block) >= gnr::test::kVolumeLike) --gnr::test::liveLargeBlocks;
    __libc_free(block);
}
void* aligned_alloc(size_t alignment, size_t bytes) {
    return memalign(alignment, bytes);
}
int posix_memalign(void** block, size_t alignment, size_t bytes) {
    *block = memalign(alignment, bytes);
    return *block == nullptr ? 12 : 0;
}
}

namespace {

using gnr::test::largeBlocks;
using gnr::test::largeBytes;
using gnr::test::Volume;

/// Three iterations with a PSF of two samples on a random volume.
struct Job {
    Job(int x, int y, int z) : image(x, y, z), psf(x, y, z) {
        image.FillRandom(1, 1.0f, 100.0f);
        psf.at(0, 0, 0) = 0.6f;
        psf.at(1, 0, 0) = 0.4f;
        params->Release();
        params->sizes = image.sizes;
        params->rcImage = {0, x, 0, y, 0, z};
        params->pfImage = image;
        params->pfPsf = psf;
        params->dRegularization = 1.0;
        params->uiIterations = 3;
        params->bWienerStart = true;
    }

    Volume image;
    Volume psf;
    const CRyRefCountPtr<CRy3DAutoDeconvRunParameters> params{new CRy3DAutoDeconvRunParameters};
};

void ExpectNoVolumeInRun(CRyAbstract3DDeconvolutionCore& core, const Job& job) {
    largeBlocks = 0;
    EXPECT_EQ(core.Run(job.params), 0);
    EXPECT_EQ(largeBlocks, 0u);
}

struct Core {
    const char* name;
    CRyAbstract3DDeconvolutionCore* (*make)();
};

class AllocationsOf : public testing::TestWithParam<Core> {};

TEST_P(AllocationsOf, VolumesInPrepareAsAnnouncedAndNoneInRun) {
    const std::unique_ptr<CRyAbstract3DDeconvolutionCore> core(GetParam().make());
    const Job job(64, 60, 16);
    largeBytes = 0;
    ASSERT_EQ(core->Prepare(job.params), 0);
    const std::size_t announced = core->GetRequiredMemorySize(job.params);
    EXPECT_GE(largeBytes, announced);
    EXPECT_LE(largeBytes, announced + 7 * 256) << "more than the slack of alignment of seven buffers";
    ExpectNoVolumeInRun(*core, job);
}

/// Bands, workspace and what shifts need are all there after Prepare.
TEST(AllocationsOfLandweber, NoneInRun) {
    for (const bool automatic : {false, true}) {
        CRy3DLandweberDeconvolutionCore core(automatic);
        const Job job(128, 64, 32);
        ASSERT_EQ(core.Prepare(job.params), 0);
        ExpectNoVolumeInRun(core, job);
    }
}

/// 128 x 64 x 32 with passes of ten accelerated sweeps; four planes of it are no block that is counted.
struct BlindVolumes {
    BlindVolumes() {
        image.FillRandom(1, 1.0f, 100.0f);
        psf.at(0, 0, 0) = 0.6f;
        psf.at(1, 0, 0) = 0.4f;
    }
    Volume image{128, 64, 32};
    Volume psf{128, 64, 32};
    DFT3D sizes = image.sizes;
};

TEST(AllocationsOfBlind, CoreAllocatesInPrepareAlone) {
    BlindVolumes volumes;
    CRy3DBlindDeconvolutionCore core;
    const CRyRefCountPtr<CRy3DBlindDeconvRunParameters> params(new CRy3DBlindDeconvRunParameters);
    params->Release();
    params->sizes = volumes.sizes;
    params->pfImage = volumes.image;
    params->pfPsf = volumes.psf;
    params->fBlindValue = -1.0f;
    params->iBlindInnerSetting = 1;
    params->uiIterations = 15;
    largeBlocks = 0;
    ASSERT_EQ(core.Prepare(params), 0);
    EXPECT_EQ(largeBlocks, 7u);
    largeBlocks = 0;
    EXPECT_EQ(core.Run(params), 0);
    EXPECT_EQ(largeBlocks, 0u);
}

TEST(AllocationsOfBlind, EntriesAllocateOnceForTheWholeRun) {
    BlindVolumes volumes;
    largeBlocks = 0;
    EXPECT_EQ(CRy3DDeconvolution().LucyRichardsonIBD(&volumes.sizes, volumes.psf, volumes.image, 15, nullptr,
                                                     nullptr, 0, 0, -1.0f, 1),
              1);
    EXPECT_EQ(largeBlocks, 7u);
    largeBlocks = 0;
    EXPECT_EQ(CRy3DDeconvolution().SIM_LucyRichardsonIBD(&volumes.sizes, volumes.psf, volumes.image, 3,
                                                         nullptr, nullptr, 0, 0, -1.0f, nullptr),
              1);
    EXPECT_EQ(largeBlocks, 3u);
}

INSTANTIATE_TEST_SUITE_P(Cores, AllocationsOf,
                         testing::Values(Core{"wiener",
                                              []() -> CRyAbstract3DDeconvolutionCore* {
                                                  return new CRy3DWienerDeconvolutionCore;
                                              }},
                                         Core{"manual",
                                              []() -> CRyAbstract3DDeconvolutionCore* {
                                                  return new CRy3DLucyRichardsonTMDeconvolutionCore(false);
                                              }},
                                         Core{"automatic",
                                              []() -> CRyAbstract3DDeconvolutionCore* {
                                                  return new CRy3DLucyRichardsonTMDeconvolutionCore(true);
                                              }},
                                         Core{
                                             "accelerated",
                                             []() -> CRyAbstract3DDeconvolutionCore* {
                                                 return new CRy3DAcceleratedLucyRichardsonTMDeconvolutionCore;
                                             }}),
                         [](const auto& core) { return core.param.name; });

}  // namespace

#endif
