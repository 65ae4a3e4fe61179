// SPDX-License-Identifier: MIT

// The blind core: what it owes its host, its passes, its guard and its count of sweeps.

#include <gnr_deconvolution/cores.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <tuple>

#include "support/blind_drivers.h"
#include "support/ref/landweber_runs.h"

namespace {

using namespace gnr::test;
using Params = CRy3DBlindDeconvRunParameters;
using Core = CRy3DBlindDeconvolutionCore;
using Low = CRy3DDeconvolutionLow;

struct Job : RestorationJob<Params> {
    explicit Job(unsigned iterations = 4, int inner = 0)
        : RestorationJob<Params>(BlindObserved(), BlindGuess()) {
        params.uiIterations = iterations;
        params.iBlindInnerSetting = inner;
        params.fBlindValue = -1.0f;
    }
    BlindReplay Replay() const { return {image, psf}; }
};

/// The passes of a run under no stop test, `cycles` of image and PSF, the data following where asked.
void ReplayCycles(BlindReplay& replay, int cycles, unsigned sweeps, bool follows,
                  bool endsWithImage = false) {
    for (int n = 0; n < cycles; ++n) {
        replay.ImagePass(BlindForm::Parallel, sweeps, -1);
        if (follows) replay.data = replay.image;
        if (n + 1 == cycles && endsWithImage) return;
        replay.PsfPass(BlindForm::Parallel, sweeps, -1);
    }
}

void ExpectReplayed(const Job& job, const BlindReplay& replay) {
    EXPECT_TRUE(SameImage(job.image, replay.image)) << "image";
    EXPECT_TRUE(SameImage(job.psf, replay.psf)) << "psf";
}

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

// ------------------------------------------------------------------------------------------------------- guard

TEST(BlindCore, WithoutTheGuardTheDataStayTheObservedImage) {
    Core core;
    Job job(6, 0);
    job.params.bNoPsfGuard = true;
    BlindReplay replay = job.Replay();
    ASSERT_EQ(RunOnce(core, job), 0);
    ReplayCycles(replay, 3, 1, false);
    ExpectReplayed(job, replay);
    Job guarded(6, 0);
    ASSERT_EQ(RunOnce(core, guarded), 0);
    EXPECT_FALSE(SameImage(job.image, guarded.image));
}

/// The host multiplies the image between passes, so that its peak wanders: by 4 and back, 0.6 decades, and the
/// data freeze and thaw. Only 0 and 7 let 0.6 decades pass.
TEST(BlindCore, TheDataFollowWithinTheToleranceOfTheFirstPeak) {
    for (const int setting : {0, 7, 1, -1}) {
        const float tolerance = setting == 0 || setting == 7 ? 0.8f : 0.3f;
        Core core;
        Job job(8, 0);
        job.params.iBlindGuardSetting = setting;
        BlindReplay replay = job.Replay();
        const float factors[] = {1.0f, 4.0f, 0.25f, 1.0f};
        // The end of an image pass is every fourth step: begin, end, begin, end.
        ProgressLog log;
        int ends = 0;
        log.onCall = [&](const ProgressReport& report) {
            if (report.phase != eProgressStepEnd || ends++ % 2 != 0 || ends > 7) return;
            Low::MulFloatC3D(&job.image.sizes, job.image, factors[ends / 2]);
        };
        log.Attach(job.params);
        ASSERT_EQ(RunOnce(core, job), 0);

        float firstPeak = 0;
        int frozen = 0;
        for (int n = 0; n < 4; ++n) {
            replay.ImagePass(BlindForm::Parallel, 1, -1);
            Low::MulFloatC3D(&replay.image.sizes, replay.image, factors[n]);
            const float peak = std::log10(Low::GetMaxOfImageXX(&replay.image.sizes, replay.image));
            if (n == 0) firstPeak = peak;
            if (std::abs(peak - firstPeak) < tolerance) {
                replay.data = replay.image;
            } else {
                ++frozen;
            }
            replay.PsfPass(BlindForm::Parallel, 1, -1);
        }
        ExpectReplayed(job, replay);
        EXPECT_EQ(frozen > 0, tolerance == 0.3f) << "the case tells the tolerances apart";
    }
}

/// No decades of 0: nothing follows, and the run goes on.
TEST(BlindCore, AnImageOfZerosPassesTheGuard) {
    Core core;
    Job job(4, 0);
    job.image.Fill([](int, int, int) { return 0; });
    EXPECT_EQ(RunOnce(core, job), 0);
    EXPECT_TRUE(AllSamplesAre(job.image, 0.0f));
}

/// A first peak of 0 is an infinite distance from any later one, and no distance from itself: the data stay.
TEST(BlindCore, AFirstPeakOfZeroFreezesTheData_stays) {
    Core core;
    Job job(4, 0);
    BlindReplay replay = job.Replay();
    ProgressLog log;
    int ends = 0;
    log.onCall = [&](const ProgressReport& report) {
        if (report.phase != eProgressStepEnd || ends++ != 0) return;
        Low::KERNEL3D_Zero(&job.image.sizes, job.image);
    };
    log.Attach(job.params);
    ASSERT_EQ(RunOnce(core, job), 0);
    // Zeros stay zeros; what the PSF becomes tells which data it was fitted to.
    replay.image.Fill([](int, int, int) { return 0; });
    for (int n = 0; n < 2; ++n) {
        if (n > 0) replay.ImagePass(BlindForm::Parallel, 1, -1);
        replay.PsfPass(BlindForm::Parallel, 1, -1);
    }
    ExpectReplayed(job, replay);
}

// ------------------------------------------------------------------------------------------------------- stops

/// Stops between passes are -8 at once. Stops within a pass end that pass alone: a host that answers once goes
/// on with -1.
TEST(BlindCore, StopAtEveryCall) {
    Job whole(4, 1);
    whole.params.bNoPsfGuard = true;
    whole.params.fBlindValue = 1e30f;  // 1 + 10 sweeps
    Core core;
    ProgressLog all;
    {
        Job job(4, 1);
        job.params.bNoPsfGuard = true;
        job.params.fBlindValue = 1e30f;
        all.Attach(job.params);
        ASSERT_EQ(RunOnce(core, job), 0);
    }
    const std::vector<ERyProgressPhase> phases = all.Phases();
    for (std::size_t at = 0; at < phases.size(); ++at) {
        SCOPED_TRACE(at);
        Job job(4, 1);
        job.params.bNoPsfGuard = true;
        job.params.fBlindValue = 1e30f;
        ProgressLog log(static_cast<int>(at), 3);
        log.Attach(job.params);
        const int code = RunOnce(core, job);
        if (phases[at] == eProgressPoll) {
            EXPECT_EQ(code, -1);
            EXPECT_GT(log.Calls().size(), at + 1) << "the run goes on";
        } else {
            EXPECT_EQ(code, -8);
            EXPECT_EQ(log.Calls().size(), at + 1) << "the closing pair too ends at its first call";
        }
    }
}

/// A host that keeps answering so ends the run at the driver's next call.
TEST(BlindCore, AStopThatIsKeptUpIsMinus8) {
    for (int from = 0; from < 10; ++from) {
        Core core;
        Job job(4, 0);
        std::vector<ProgressReport> calls;
        struct Host {
            int from;
            std::vector<ERyProgressPhase> phases;
            static int Answer(const CRyStringW&, unsigned, unsigned, unsigned, unsigned,
                              ERyProgressPhase phase, void* p) {
                auto& host = *static_cast<Host*>(p);
                host.phases.push_back(phase);
                return static_cast<int>(host.phases.size()) > host.from;
            }
        } host{from, {}};
        job.params.pfnProgress = &Host::Answer;
        job.params.pProgressData = &host;
        EXPECT_EQ(RunOnce(core, job), -8) << from;
        EXPECT_NE(host.phases.back(), eProgressPoll) << from;
        const auto polls = std::count(host.phases.begin() + from, host.phases.end(), eProgressPoll);
        EXPECT_LE(polls, 1) << from;
    }
}

/// A stop once at the poll ahead of the first sweep: the pass counts none, so that a later one takes its place.
TEST(BlindCore, APassStoppedOnceCountsItsFinishedSweeps) {
    Core core;
    Job job(2, 0);
    ProgressLog log(1);
    log.Attach(job.params);
    EXPECT_EQ(RunOnce(core, job), -1);
    EXPECT_EQ(LineOf(log), "b p e0 b p p p p e0 b p p p p e1 b e1");
}

TEST(BlindCore, CallbacksArriveOnTheCallersThread) {
    Core core;
    Job job;
    ProgressLog log;
    int elsewhere = 0;
    log.onCall = [&, self = std::this_thread::get_id()](const ProgressReport&) {
        elsewhere += std::this_thread::get_id() != self || omp_in_parallel() != 0;
    };
    log.Attach(job.params);
    ASSERT_EQ(RunOnce(core, job), 0);
    EXPECT_EQ(elsewhere, 0);
}

// ----------------------------------------------------------------------------------------------------- quality

/// After each cycle that goes on, at the count of sweeps so far, and the series once at the end.
TEST(BlindCore, QualityAfterEachCycleButTheLast) {
    QualityProbe<Core> core;
    Job job(6, 0);
    const Volume truth = Scene(6, 5, 4, 20, 400);
    job.params.pfReference = truth;
    ASSERT_EQ(RunOnce(core, job), 0);
    ASSERT_EQ(core.measured.size(), 2u);
    for (std::size_t n = 0; n < 2; ++n) {
        EXPECT_EQ(core.measured[n].index, 2 * n + 2);
        EXPECT_EQ(core.measured[n].scale, 1.0f) << "narrower than 30: the sum is 0";
        EXPECT_EQ(core.measured[n].image, job.image.get());
        EXPECT_EQ(core.measured[n].reference, truth.get());
    }
    ASSERT_EQ(core.logged.size(), 1u);
    EXPECT_EQ(core.logged[0].count, 6u);
    EXPECT_EQ(core.logged[0].series.size(), 2u);
}

TEST(BlindCore, QualityIsLoggedAfterAStopToo) {
    QualityProbe<Core> core;
    Job job(6, 0);
    const Volume truth = Scene(6, 5, 4, 20, 400);
    job.params.pfReference = truth;
    ProgressLog log(0);
    log.Attach(job.params);
    EXPECT_EQ(RunOnce(core, job), -8);
    ASSERT_EQ(core.logged.size(), 1u);
    EXPECT_TRUE(core.logged[0].series.empty());
}

TEST(BlindCore, WithoutAReferenceNothingIsMeasured) {
    QualityProbe<Core> core;
    Job job(6, 0);
    ASSERT_EQ(RunOnce(core, job), 0);
    EXPECT_TRUE(core.measured.empty());
    EXPECT_TRUE(core.logged.empty());
}

/// The box begins at column and row 30 wherever rcImage lies, is not cut by it, and is centred in z.
TEST(BlindCore, TheScaleOfQualityComesFromABoxAt30_stays) {
    const int x = 40;
    const int y = 36;
    const int z = 6;
    QualityProbe<Core> core;
    Volume image(x, y, z);
    image.FillRandom(3, 10, 20);
    RestorationJob<Params> job(image, ImpulsePsf(x, y, z));
    job.params.uiIterations = 4;
    job.params.fBlindValue = -1;
    job.params.rcImage = {0, 5, 0, 4, 1, 4};
    job.params.fReferenceSum = 100;
    const Volume truth(x, y, z);
    job.params.pfReference = truth;
    Volume measured(x, y, z);
    ProgressLog log;
    int ends = 0;
    log.onCall = [&](const ProgressReport& report) {
        if (report.phase == eProgressStepEnd && ++ends == 2) measured = job.image;
    };
    log.Attach(job.params);
    ASSERT_EQ(RunOnce(core, job), 0);
    ASSERT_EQ(core.measured.size(), 1u);
    double sum = 0;
    for (int k = 1; k < 4; ++k) {
        for (int j = 30; j < 34; ++j) {
            for (int i = 30; i < 35; ++i) sum += static_cast<double>(measured.at(i, j, k));
        }
    }
    EXPECT_NEAR(core.measured[0].scale, 100 / sum, 1e-6 * 100 / sum);
}

}  // namespace
