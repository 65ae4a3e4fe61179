// SPDX-License-Identifier: MIT

// Stops of the blind core, and how it measures its iterates.

#include <gnr_deconvolution/cores.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "support/blind_drivers.h"
#include "support/ref/landweber_runs.h"

namespace {

using namespace gnr::test;
using Core = CRy3DBlindDeconvolutionCore;
using Job = BlindCoreJob;
using Params = CRy3DBlindDeconvRunParameters;

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
