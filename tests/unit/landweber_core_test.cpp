// SPDX-License-Identifier: MIT

// The Landweber core as its host sees it: memory, Prepare, Run and Free in any order, untouched inputs, the
// random generator, equal bytes.

#include <gnr_deconvolution/cores.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>

#include "support/progress_log.h"
#include "support/ref/landweber_calls.h"

namespace {

using namespace gnr::test;
using Core = CRy3DLandweberDeconvolutionCore;
using Job = LandweberCoreJob;

/// In both modes: with momentum, and automatic.
class LandweberCore : public testing::TestWithParam<bool> {
  protected:
    bool Automatic() const { return GetParam(); }
};

INSTANTIATE_TEST_SUITE_P(Modes, LandweberCore, testing::Bool(),
                         [](const auto& mode) { return mode.param ? "Automatic" : "Momentum"; });

// -------------------------------------------------------------------------------------------------- sizes

TEST_P(LandweberCore, RequiredMemoryCountsVolumesBandsWorkspaceAndReserve) {
    Core core(Automatic());
    CRy3DDeconvRunParameters params;
    const auto required = [&](int x, int y, int z) {
        params.sizes = Geometry(x, y, z);
        return core.GetRequiredMemorySize(CRyRefCountPtr<CRy3DDeconvRunParameters>(&params));
    };
    EXPECT_EQ(required(16, 16, 16), 110592u + 16384u + 57344u + 416u + 4u);
    EXPECT_EQ(required(8, 6, 15), 21600u + 0u + 9408u + 248u);
    EXPECT_EQ(required(100, 16, 64), 2506752u + 467712u + 1433600u + 1520u + 16u);
    EXPECT_EQ(required(100, 16, 79), 24u * 128928u + 32u * (15600u + 1900u + 216u + 24u) + 112u * 15600u +
                                         8u * (102u + 16u + 79u + 8u) + 16u);
    EXPECT_EQ(required(2, 2, 65536), 12582912u + 0u + 3670016u + 524336u);
    // 2050 * 2048 * 1000 samples, bands of 1024 * 1024 * 500 and an eighth of it each level down.
    EXPECT_EQ(required(2048, 2048, 1000), 24u * 4198400000ull +
                                              32u * (524288000ull + 65536000u + 8192000u + 1015808u) +
                                              112u * 524288000ull + 8u * (2050u + 2048u + 1000u + 8u) + 16u);
}

TEST_P(LandweberCore, ProposedDimensionsAreRoundedUp) {
    Core core(Automatic());
    const auto rounded = [&](unsigned x, unsigned y, unsigned z, unsigned dx, unsigned dy, unsigned dz) {
        EXPECT_EQ(core.ModifyProposedDimensions(x, y, z, dx, dy, dz), 0);
        return std::tuple(x, y, z);
    };
    EXPECT_EQ(rounded(97, 101, 17, 1, 1, 16), std::tuple(100u, 108u, 32u));
    EXPECT_EQ(rounded(16, 16, 0, 16, 1, 1), std::tuple(16u, 16u, 1u));
}

TEST(LandweberFactory, ValuesGiveTheTwoModes) {
    Job job(4, 2, 4);
    RestorationJob<CRy3DDeconvRunParameters> plain(job.image, job.psf);
    const auto momentum = CRyAbstract3DDeconvolutionCore::Create3DDeconvolutionCore(eDeconvLandweber);
    ASSERT_NE(dynamic_cast<Core*>(momentum.get()), nullptr);
    ASSERT_EQ(momentum->Prepare(plain.Ptr()), 0);
    EXPECT_EQ(momentum->Run(plain.Ptr()), 0);
    const auto automatic =
        CRyAbstract3DDeconvolutionCore::Create3DDeconvolutionCore(eDeconvLandweberAutomatic);
    ASSERT_NE(dynamic_cast<Core*>(automatic.get()), nullptr);
    ASSERT_EQ(automatic->Prepare(plain.Ptr()), 0);
    EXPECT_EQ(automatic->Run(plain.Ptr()), -4);
    EXPECT_EQ(automatic->Run(job.Ptr()), 0);
    EXPECT_EQ(job.done, 3u);
}

// -------------------------------------------------------------------------------------- order of the calls

TEST_P(LandweberCore, RunBeforePrepareTouchesNothing) {
    Core core(Automatic());
    Job job;
    ProgressLog log;
    log.Attach(job.params);
    const Volume before = job.image;
    EXPECT_EQ(core.Run(job.Ptr()), -9);
    EXPECT_TRUE(SameBytes(job.image, before));
    EXPECT_TRUE(log.Calls().empty());
    EXPECT_EQ(job.done, 77u);
}

/// The missing buffers are reported before the class of the parameters is looked at.
TEST_P(LandweberCore, NotPreparedComesBeforeWrongParameters) {
    Core core(Automatic());
    Job job;
    RestorationJob<CRy3DDeconvRunParameters> plain(job.image, job.psf);
    EXPECT_EQ(core.Run(plain.Ptr()), -9);
}

TEST_P(LandweberCore, FreeAtAnyTimeAndMoreThanOnce) {
    Core core(Automatic());
    Job job;
    EXPECT_EQ(core.Free(), 0);
    ASSERT_EQ(core.Prepare(job.Ptr()), 0);
    EXPECT_EQ(core.Free(), 0);
    EXPECT_EQ(core.Free(), 0);
    EXPECT_EQ(core.Run(job.Ptr()), -9);
    EXPECT_EQ(core.Prepare(job.Ptr()), 0);
    EXPECT_EQ(core.Run(job.Ptr()), 0);
}

/// From four levels to none and back to one: bands of the last geometry, and no others, are in use.
TEST_P(LandweberCore, PrepareAgainChangesGeometryAndLevels) {
    Core core(Automatic());
    Job first;
    Job again;
    Job deep(16, 16, 64);
    Job shallow(4, 3, 5);
    ASSERT_EQ(core.Prepare(first.Ptr()), 0);
    ASSERT_EQ(core.Prepare(first.Ptr()), 0);
    ASSERT_EQ(core.Run(first.Ptr()), 0);
    for (Job* other : {&deep, &shallow}) {
        ASSERT_EQ(core.Prepare(other->Ptr()), 0);
        ASSERT_EQ(core.Run(other->Ptr()), 0);
    }
    ASSERT_EQ(core.Prepare(again.Ptr()), 0);
    ASSERT_EQ(core.Run(again.Ptr()), 0);
    EXPECT_TRUE(SameImage(first.image, again.image));
}

TEST_P(LandweberCore, AFreeThatFailsEndsPrepareWithoutBuffers) {
    struct FreeAnswers : Core {
        using Core::Core;
        int answer = 5;
        int Free() override {
            Core::Free();
            return answer;
        }
    } core(Automatic());
    Job job;
    EXPECT_EQ(core.Prepare(job.Ptr()), 5);
    EXPECT_EQ(core.Run(job.Ptr()), -9);
    core.answer = 0;
    EXPECT_EQ(core.Prepare(job.Ptr()), 0);
    EXPECT_EQ(core.Run(job.Ptr()), 0);
}

// ----------------------------------------------------------------------------------------- what a run owes

TEST_P(LandweberCore, ReferencesToTheParametersAreDroppedOnEveryWayOut) {
    Core core(Automatic());
    Job job;
    const auto owners = [&] { return static_cast<int>(job.params.iRefCount); };
    core.GetRequiredMemorySize(job.Ptr());
    EXPECT_EQ(owners(), 1);
    EXPECT_EQ(core.Run(job.Ptr()), -9);
    EXPECT_EQ(owners(), 1);
    EXPECT_EQ(core.Prepare(job.Ptr()), 0);
    EXPECT_EQ(owners(), 1);
    EXPECT_EQ(core.Run(job.Ptr()), 0);
    EXPECT_EQ(owners(), 1);
    ProgressLog log(0);
    log.Attach(job.params);
    EXPECT_EQ(core.Run(job.Ptr()), -8);
    EXPECT_EQ(owners(), 1);
}

TEST_P(LandweberCore, PsfAndSettingsStayAsTheyWere) {
    Core core(Automatic());
    Job job;
    job.psf.FillPadding(kSentinel);
    const Volume psf = job.psf;
    ASSERT_EQ(RunOnce(core, job), 0);
    EXPECT_TRUE(SameBytes(job.psf, psf));
    EXPECT_EQ(job.params.uiIterations, 3u);
    EXPECT_EQ(job.params.dRegularization, 10.0);
    EXPECT_EQ(job.params.dScale, 1.0);
    EXPECT_EQ(job.params.pfImage, job.image.get());
}

/// Whatever stands in the padding of image and PSF, the image columns come out the same.
TEST_P(LandweberCore, PaddingIsNeverRead) {
    Job clean;
    Core core(Automatic());
    ASSERT_EQ(RunOnce(core, clean), 0);
    for (const float content : {kSentinel, -1e30f, std::numeric_limits<float>::quiet_NaN()}) {
        Job job;
        job.image.FillPadding(content);
        job.psf.FillPadding(content);
        ASSERT_EQ(RunOnce(core, job), 0);
        EXPECT_TRUE(SameImage(job.image, clean.image)) << content;
        EXPECT_EQ(job.done, clean.done);
    }
}

/// 4 by 3 by 3 takes 54 floats, no whole number of groups of four or eight.
TEST_P(LandweberCore, NothingIsWrittenBehindTheImage) {
    Core core(Automatic());
    Job job(4, 3, 3);
    const auto floats = static_cast<std::size_t>(job.image.sizes.total);
    const std::unique_ptr<float, void (*)(float*)> roomy(
        CRy3DDeconvolutionLow::SSE_Alloc(static_cast<long long>(floats) + 16),
        &CRy3DDeconvolutionLow::SSE_Destroy);
    std::copy_n(job.image.get(), floats, roomy.get());
    std::fill_n(roomy.get() + floats, 16, -kSentinel);
    job.params.pfImage = roomy.get();
    ASSERT_EQ(RunOnce(core, job), 0);
    for (std::size_t n = floats; n < floats + 16; ++n) EXPECT_EQ(roomy.get()[n], -kSentinel);
}

TEST_P(LandweberCore, ReferencesAreIgnored) {
    QualityProbe<Core> core(Automatic());
    Job job;
    Job unwatched;
    const Volume truth = Scene(8, 4, 16, 20, 400);
    job.params.pfReference = truth.get();
    ASSERT_EQ(RunOnce(core, job), 0);
    EXPECT_TRUE(core.measured.empty());
    EXPECT_TRUE(core.logged.empty());
    ASSERT_EQ(RunOnce(core, unwatched), 0);
    EXPECT_TRUE(SameImage(job.image, unwatched.image));
}

TEST_P(LandweberCore, TheCountNeedNotBeAskedFor) {
    Core core(Automatic());
    Job job;
    Job unasked;
    unasked.params.puiIterationsDone = nullptr;
    ASSERT_EQ(RunOnce(core, job), 0);
    ASSERT_EQ(RunOnce(core, unasked), 0);
    EXPECT_TRUE(SameImage(job.image, unasked.image));
    EXPECT_EQ(job.done, Automatic() ? 3u : 77u);
}

TEST_P(LandweberCore, RunsRepeatWithEqualBytesAtEqualThreadCount) {
    for (const int threads : {1, 2, 5}) {
        const ThreadCount scope(threads);
        Core core(Automatic());
        Job first;
        Job between;
        Job second;
        between.image.FillRandom(99, 1, 50);
        ASSERT_EQ(core.Prepare(first.Ptr()), 0);
        std::srand(1);
        ASSERT_EQ(core.Run(first.Ptr()), 0);
        ASSERT_EQ(core.Run(between.Ptr()), 0);
        std::srand(99);
        ASSERT_EQ(core.Run(second.Ptr()), 0);
        EXPECT_TRUE(SameImage(first.image, second.image)) << threads;
    }
}

/// Seeded with 0 at the start, three draws for each shrinkage, none without.
TEST_P(LandweberCore, TheGeneratorIsSeededAndDrawnThreeTimesForEachShrinkage) {
    Core core(Automatic());
    const auto next = [&](double strength, int planes, unsigned iterations) {
        Job job(4, 2, planes);
        job.params.dRegularization = strength;
        job.params.uiIterations = iterations;
        std::srand(4711);
        EXPECT_EQ(RunOnce(core, job), 0);
        return std::rand();
    };
    const auto drawn = [](int draws) {
        std::srand(0);
        for (int n = 0; n < draws; ++n) std::rand();
        return std::rand();
    };
    EXPECT_EQ(next(10, 16, 0), drawn(0));
    EXPECT_EQ(next(10, 16, 1), drawn(3));
    EXPECT_EQ(next(10, 16, 4), drawn(12));
    EXPECT_EQ(next(0, 16, 4), drawn(0));
    EXPECT_EQ(next(10, 15, 4), drawn(0));
}

}  // namespace
