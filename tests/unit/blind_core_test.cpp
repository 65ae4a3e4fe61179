// SPDX-License-Identifier: MIT

// The blind core: what it owes its host, and its passes.

#include <gnr_deconvolution/cores.h>
#include <gtest/gtest.h>

#include <tuple>

#include "support/blind_drivers.h"
#include "support/ref/landweber_runs.h"

namespace {

using namespace gnr::test;
using Core = CRy3DBlindDeconvolutionCore;
using Job = BlindCoreJob;
using Params = CRy3DBlindDeconvRunParameters;

// ------------------------------------------------------------------------------------------- codes and buffers

TEST(BlindCore, RequiredMemoryIsSevenVolumesAndFourPlanes) {
    Core core;
    Job job;
    for (const auto& [x, y, z] : {std::tuple(6, 5, 4), std::tuple(2048, 2048, 1000)}) {
        job.params.sizes = Geometry(x, y, z);
        EXPECT_EQ(core.GetRequiredMemorySize(job.Ptr()),
                  28ull * static_cast<unsigned long long>(job.params.sizes.total) +
                      16ull * static_cast<unsigned long long>(job.params.sizes.planeStride));
    }
}

TEST(BlindCore, ProposedDimensionsAreRoundedUp) {
    Core core;
    unsigned x = 97;
    unsigned y = 101;
    unsigned z = 17;
    EXPECT_EQ(core.ModifyProposedDimensions(x, y, z, 2, 1, 16), 0);
    EXPECT_EQ(std::tuple(x, y, z), std::tuple(100u, 108u, 32u));
}

TEST(BlindCore, RunBeforePrepareIsMinus4_stays) {
    Core core;
    Job job;
    ProgressLog log;
    log.Attach(job.params);
    const Job before;
    EXPECT_EQ(core.Run(job.Ptr()), -4);
    EXPECT_EQ(core.Prepare(job.Ptr()), 0);
    EXPECT_EQ(core.Free(), 0);
    EXPECT_EQ(core.Free(), 0);
    EXPECT_EQ(core.Run(job.Ptr()), -4);
    EXPECT_TRUE(SameBytes(job.image, before.image));
    EXPECT_TRUE(SameBytes(job.psf, before.psf));
    EXPECT_TRUE(log.Calls().empty());
}

TEST(BlindCore, OtherParametersAreMinus4AndTouchNothing) {
    Core core;
    RestorationJob<CRy3DAutoDeconvRunParameters> job(BlindObserved(), BlindGuess());
    ProgressLog log;
    log.Attach(job.params);
    const Volume before = job.image;
    ASSERT_EQ(core.Prepare(job.Ptr()), 0);
    EXPECT_EQ(core.Run(job.Ptr()), -4);
    EXPECT_TRUE(SameBytes(job.image, before));
    EXPECT_TRUE(log.Calls().empty());
    EXPECT_EQ(static_cast<int>(job.params.iRefCount), 1);
}

TEST(BlindCore, MoreMemoryThanThereIs) {
    Core core;
    Job job;
    const DFT3D good = job.params.sizes;
    for (const bool planes : {false, true}) {
        DFT3D& s = job.params.sizes;
        s = good;
        if (planes) {
            s.planeStride = -1;
        } else {
            s.total = 1LL << 60;
        }
        EXPECT_EQ(core.Prepare(job.Ptr()), -3);
        s = good;
        EXPECT_EQ(core.Run(job.Ptr()), -4);
    }
    EXPECT_EQ(core.Prepare(job.Ptr()), 0);
    EXPECT_EQ(core.Run(job.Ptr()), 0);
}

struct FreeAnswers : Core {
    int answer = 0;
    int Free() override {
        Core::Free();
        return answer;
    }
};

TEST(BlindCore, AFreeThatFailsEndsPrepareWithoutBuffers) {
    FreeAnswers core;
    Job job;
    core.answer = 5;
    EXPECT_EQ(core.Prepare(job.Ptr()), 5);
    EXPECT_EQ(core.Run(job.Ptr()), -4);
    core.answer = 0;
    EXPECT_EQ(core.Prepare(job.Ptr()), 0);
    EXPECT_EQ(core.Run(job.Ptr()), 0);
}

TEST(BlindCore, TheFactoriesMakeAWorkingJob) {
    const auto core = CRyAbstract3DDeconvolutionCore::Create3DDeconvolutionCore(eDeconvBlind);
    const auto params = CRy3DDeconvRunParameters::Create3DDeconvParameters(eDeconvBlind);
    Job job;
    Job expected;
    params->sizes = job.params.sizes;
    params->pfImage = job.image;
    params->pfPsf = job.psf;
    params->uiIterations = 4;
    auto& blind = dynamic_cast<Params&>(*params);
    blind.fBlindValue = -1.0f;
    ASSERT_EQ(core->Prepare(params), 0);
    ASSERT_EQ(core->Run(params), 0);
    Core plain;
    ASSERT_EQ(RunOnce(plain, expected), 0);
    EXPECT_TRUE(SameImage(job.image, expected.image));
}

/// A second run goes on from the buffers as they stand, and keeps nothing else.
TEST(BlindCore, RunsOfOnePreparedCoreAreIndependent) {
    Core core;
    Job first(6, 1);
    Job between(4, 0);
    Job second(6, 1);
    ASSERT_EQ(core.Prepare(first.Ptr()), 0);
    ASSERT_EQ(core.Run(first.Ptr()), 0);
    ASSERT_EQ(core.Run(between.Ptr()), 0);
    ASSERT_EQ(core.Run(second.Ptr()), 0);
    EXPECT_TRUE(SameImage(first.image, second.image));
    EXPECT_TRUE(SameImage(first.psf, second.psf));
}

// ------------------------------------------------------------------------------------------------------ passes

TEST(BlindCore, NoIterationsTouchNothing) {
    Core core;
    Job job(0);
    ProgressLog log;
    log.Attach(job.params);
    const Job before(0);
    EXPECT_EQ(RunOnce(core, job), 0);
    EXPECT_TRUE(SameBytes(job.image, before.image));
    EXPECT_TRUE(SameBytes(job.psf, before.psf));
    EXPECT_TRUE(log.Calls().empty());
}

/// Ten units: five sweeps of each kind, and never accelerated.
TEST(BlindCore, SingleSweepsCountBothKinds) {
    Core core;
    Job job(10, 0);
    BlindReplay replay = job.Replay();
    ProgressLog log;
    log.Attach(job.params);
    ASSERT_EQ(RunOnce(core, job), 0);
    ReplayCycles(replay, 5, 1, true);
    ExpectReplayed(job, replay);
    std::string expected;
    for (int n = 0; n < 10; ++n) expected += "b p p p p e1 ";
    EXPECT_EQ(LineOf(log), expected + "b e1");
}

TEST(BlindCore, AnOddLimitEndsWithAnImagePass) {
    Core core;
    Job job(3, 0);
    BlindReplay replay = job.Replay();
    ProgressLog log;
    log.Attach(job.params);
    ASSERT_EQ(RunOnce(core, job), 0);
    ReplayCycles(replay, 2, 1, true, true);
    ExpectReplayed(job, replay);
    EXPECT_EQ(LineOf(log), "b p p p p e1 b p p p p e1 b p p p p e1 b e1");
}

std::string AcceleratedPass(int sweeps) {
    std::string line = "b p";
    for (int n = 0; n < sweeps; ++n) line += " p p p p p p p";
    return line;
}

/// 25 with 20 a pass: one pass of each kind, and steps of 20.
TEST(BlindCore, TwentySweepsAPass) {
    for (const int setting : {2, 7, -1}) {
        Core core;
        Job job(25, setting);
        BlindReplay replay = job.Replay();
        ProgressLog log;
        log.Attach(job.params);
        ASSERT_EQ(RunOnce(core, job), 0);
        ReplayCycles(replay, 1, 20, true);
        ExpectReplayed(job, replay);
        EXPECT_EQ(LineOf(log), AcceleratedPass(20) + " e20 " + AcceleratedPass(20) + " e20 b e20");
    }
}

/// The count is cut to the limit; the sweeps are not.
TEST(BlindCore, TenSweepsAPass) {
    Core core;
    Job job(4, 1);
    BlindReplay replay = job.Replay();
    ProgressLog log;
    log.Attach(job.params);
    ASSERT_EQ(RunOnce(core, job), 0);
    ReplayCycles(replay, 1, 10, true, true);
    ExpectReplayed(job, replay);
    EXPECT_EQ(LineOf(log), AcceleratedPass(10) + " e4 b e4");
}

/// Passes that the energy ratio ends after one sweep of ten count one.
TEST(BlindCore, TheEnergyStopShortensPasses) {
    Core core;
    Job job(4, 1);
    job.params.fBlindValue = 1e30f;
    job.params.bNoPsfGuard = true;
    BlindReplay replay = job.Replay();
    ProgressLog log;
    log.Attach(job.params);
    ASSERT_EQ(RunOnce(core, job), 0);
    // An image pass ends at once, a PSF pass never: 1 + 10 reach the limit.
    EXPECT_EQ(replay.ImagePass(BlindForm::Parallel, 10, 1e30f), 1u);
    EXPECT_EQ(replay.PsfPass(BlindForm::Parallel, 10, 1e30f), 10u);
    ExpectReplayed(job, replay);
    EXPECT_EQ(LineOf(log), AcceleratedPass(1) + " e1 " + AcceleratedPass(10) + " e1 b e1");
}

TEST(BlindCore, AThresholdOfMinusOneHalfRunsAllSweeps) {
    Job off(25, 1);
    Job below(25, 1);
    off.params.fBlindValue = -0.5f;
    Core core;
    ProgressLog log;
    log.Attach(off.params);
    ASSERT_EQ(RunOnce(core, off), 0);
    ASSERT_EQ(RunOnce(core, below), 0);
    EXPECT_TRUE(SameImage(off.image, below.image));
    EXPECT_EQ(log.Units(), 10u + 10u + 5u + 5u);
}

}  // namespace
