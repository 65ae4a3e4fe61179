// SPDX-License-Identifier: MIT

// Progress of the Landweber core: every call of a run, and a stop at every one of them.

#include <gnr_deconvolution/cores.h>
#include <gtest/gtest.h>

#include <thread>

#include "support/progress_log.h"
#include "support/ref/landweber_runs.h"

namespace {

using namespace gnr::test;
using Core = CRy3DLandweberDeconvolutionCore;

struct Job : RestorationJob<> {
    Job()
        : RestorationJob<>(Observed(Scene(4, 2, 16, 20, 400), AsymmetricPsf(4, 2, 16), 0.02f),
                           AsymmetricPsf(4, 2, 16, 1.2)) {
        params.dRegularization = 10;
        params.uiIterations = 4;
        params.dStopRatio = 1e9;
        params.puiIterationsDone = &done;
    }
    unsigned done = 77;
};

/// Begin, poll, end for each iteration, cut after `count` calls.
std::vector<ProgressReport> FirstReports(int count) {
    constexpr ERyProgressPhase kPhases[] = {eProgressStepBegin, eProgressPoll, eProgressStepEnd};
    std::vector<ProgressReport> calls;
    for (int n = 0; n < count; ++n) calls.push_back(ReportOf(kPhases[n % 3]));
    return calls;
}

/// In both modes: with momentum, and automatic.
class LandweberProgress : public testing::TestWithParam<bool> {
  protected:
    bool Automatic() const { return GetParam(); }
};

INSTANTIATE_TEST_SUITE_P(Modes, LandweberProgress, testing::Bool(),
                         [](const auto& mode) { return mode.param ? "Automatic" : "Momentum"; });

TEST_P(LandweberProgress, BeginPollEndForEachIteration) {
    for (const unsigned iterations : {0u, 1u, 4u}) {
        Core core(Automatic());
        Job job;
        job.params.uiIterations = iterations;
        ProgressLog log;
        log.Attach(job.params);
        ASSERT_EQ(RunOnce(core, job), 0);
        EXPECT_EQ(log.Calls(), FirstReports(static_cast<int>(3 * iterations)));
        EXPECT_EQ(log.Units(), iterations);
    }
}

TEST_P(LandweberProgress, WatchingChangesNothing) {
    Core core(Automatic());
    Job watched;
    Job unwatched;
    ProgressLog log;
    log.Attach(watched.params);
    ASSERT_EQ(RunOnce(core, watched), 0);
    ASSERT_EQ(RunOnce(core, unwatched), 0);
    EXPECT_TRUE(SameImage(watched.image, unwatched.image));
}

TEST(LandweberProgressOfStops, ARunThatEndsByItselfSendsNoMore) {
    Core core(true);
    Job job;
    job.params.uiIterations = 20;
    job.params.dStopRatio = 0;
    ProgressLog log;
    log.Attach(job.params);
    ASSERT_EQ(RunOnce(core, job), 0);
    EXPECT_EQ(job.done, 6u);
    EXPECT_EQ(log.Calls(), FirstReports(18));
    EXPECT_EQ(log.Units(), 6u);
}

/// Before the end of an iteration a stop leaves the image of the iteration before, behind it that of its own;
/// the count is stored on the way out.
TEST_P(LandweberProgress, StopAtEveryCall) {
    for (int call = 0; call < 12; ++call) {
        SCOPED_TRACE(call);
        const unsigned finished = static_cast<unsigned>(call / 3 + (call % 3 == 2 ? 1 : 0));
        Core core(Automatic());
        Job job;
        ProgressLog log(call, -call - 1);
        log.Attach(job.params);
        EXPECT_EQ(RunOnce(core, job), -8);
        EXPECT_EQ(log.Calls(), FirstReports(call + 1));
        EXPECT_EQ(job.done, Automatic() ? finished : 77u);

        Job shorter;
        shorter.params.uiIterations = finished;
        ASSERT_EQ(RunOnce(core, shorter), 0);
        EXPECT_TRUE(SameImage(job.image, shorter.image));
    }
}

TEST_P(LandweberProgress, AStopAtOnceLeavesEveryByte) {
    for (const int call : {0, 1}) {
        Core core(Automatic());
        Job job;
        job.image.FillPadding(kSentinel);
        const Volume before = job.image;
        ProgressLog log(call);
        log.Attach(job.params);
        EXPECT_EQ(RunOnce(core, job), -8);
        EXPECT_TRUE(SameBytes(job.image, before));
    }
}

/// The preparation has been done by then: the generator is seeded.
TEST_P(LandweberProgress, AStopAtOnceFindsThePreparationDone) {
    Core core(Automatic());
    Job job;
    ProgressLog log(0);
    log.Attach(job.params);
    std::srand(4711);
    EXPECT_EQ(RunOnce(core, job), -8);
    const int next = std::rand();
    std::srand(0);
    EXPECT_EQ(next, std::rand());
}

TEST_P(LandweberProgress, AStoppedCoreRunsAgain) {
    Core core(Automatic());
    Job stopped;
    Job whole;
    Job fresh;
    ASSERT_EQ(core.Prepare(stopped.Ptr()), 0);
    ProgressLog log(7);
    log.Attach(stopped.params);
    ASSERT_EQ(core.Run(stopped.Ptr()), -8);
    ASSERT_EQ(core.Run(whole.Ptr()), 0);
    Core other(Automatic());
    ASSERT_EQ(RunOnce(other, fresh), 0);
    EXPECT_TRUE(SameImage(whole.image, fresh.image));
}

/// At every call the image is that of the iterations finished so far.
TEST_P(LandweberProgress, TheHostSeesEachFinishedImage) {
    Core core(Automatic());
    std::vector<Volume> finished;
    for (unsigned iterations = 0; iterations <= 4; ++iterations) {
        Job job;
        job.params.uiIterations = iterations;
        ASSERT_EQ(RunOnce(core, job), 0);
        finished.push_back(job.image);
    }
    Job job;
    ProgressLog log;
    std::size_t ended = 0;
    log.onCall = [&](const ProgressReport& call) {
        ended += call.n;
        EXPECT_TRUE(SameImage(job.image, finished.at(ended))) << call.phase << " behind " << ended;
    };
    log.Attach(job.params);
    ASSERT_EQ(RunOnce(core, job), 0);
    EXPECT_EQ(ended, 4u);
}

TEST_P(LandweberProgress, CallbacksArriveOnTheCallersThread) {
    Core core(Automatic());
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

}  // namespace
