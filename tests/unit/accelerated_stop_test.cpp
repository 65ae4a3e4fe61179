// SPDX-License-Identifier: MIT

// The stop test of the accelerated core on scripted likelihoods: both clauses, and when it may look at all.

#include <gnr_deconvolution/cores.h>
#include <gtest/gtest.h>

#include <cmath>
#include <deque>
#include <functional>

#include "support/ref/accelerated.h"
#include "support/restoration_job.h"
#include "support/scripted_core.h"

namespace {

using namespace gnr::test;

class AcceleratedStop : public testing::Test {
  protected:
    using Script = std::function<double(std::size_t)>;

    unsigned Done(const Script& likelihood, double stopRatio, unsigned limit, bool noAutoStop = false) {
        ScriptedCore core;
        core.script = [&](std::size_t n) { return std::pair(1.0f, likelihood(n)); };
        unsigned done = 77;
        RestorationJob job(Volume(4, 3, 3).FillRandom(2, 10, 90), AsymmetricPsf(4, 3, 3));
        job.params.dRegularization = 1;
        job.params.uiIterations = limit;
        job.params.puiIterationsDone = &done;
        job.params.dStopRatio = stopRatio;
        job.params.bNoAutoStop = noAutoStop;
        EXPECT_EQ(RunOnce(core, job), 0);
        EXPECT_EQ(core.asked.size(), done);
        return done;
    }
    static unsigned ByTheRule(const Script& likelihood, double stopRatio, unsigned limit) {
        std::deque<double> history;
        for (unsigned done = 1; done <= limit; ++done) {
            if (history.size() == 6) history.pop_front();
            history.push_back(likelihood(done - 1));
            if (done < 15) continue;
            const auto visit = gnr::ref::VisitStopTest(history, likelihood(0), stopRatio, done);
            if (visit.falls || visit.flattens) return done;
        }
        return limit;
    }
    static constexpr double kNever = -1e300;

    const Script rising = [](std::size_t n) { return static_cast<double>(n); };
    const Script falling = [](std::size_t n) { return -static_cast<double>(n); };
    const Script flattening = [](std::size_t n) { return 1 - std::pow(0.7, static_cast<double>(n)); };
    const Script peaking = [](std::size_t n) { return 20 - std::abs(static_cast<double>(n) - 20); };
};

TEST_F(AcceleratedStop, NoTestBeforeFifteenIterations) {
    EXPECT_EQ(Done(falling, 1.0007, 14), 14u);
    EXPECT_EQ(Done(falling, 1.0007, 15), 15u);
    EXPECT_EQ(Done(falling, 1.0007, 16), 15u);
    EXPECT_EQ(Done(falling, kNever, 40), 15u);
}

TEST_F(AcceleratedStop, RisingLikelihoodsGoOn) {
    EXPECT_EQ(Done(rising, 1.0007, 40), 40u);
    EXPECT_EQ(Done(rising, kNever, 40), 40u);
}

/// The mean of the last six falls below that of the last three only where the likelihood rises.
TEST_F(AcceleratedStop, FallingMeansStop) {
    EXPECT_EQ(Done(peaking, kNever, 40), ByTheRule(peaking, kNever, 40));
    EXPECT_EQ(Done(peaking, kNever, 40), 24u);
}

TEST_F(AcceleratedStop, GrowthBelowTheRatioStops) {
    for (const double ratio : {1.0007, 1.002, 1.02, 1.5}) {
        const unsigned expected = ByTheRule(flattening, ratio, 60);
        EXPECT_EQ(Done(flattening, ratio, 60), expected) << ratio;
    }
    EXPECT_EQ(Done(flattening, 1.5, 60), 15u);
    EXPECT_GT(Done(flattening, 1.0007, 60), Done(flattening, 1.002, 60));
    EXPECT_EQ(Done(flattening, kNever, 40), 40u);
}

/// Growth is counted from the first likelihood, which the history has long dropped.
TEST_F(AcceleratedStop, TheBaseIsTheFirstLikelihood) {
    const Script low = [&](std::size_t n) { return n == 0 ? -1000.0 : rising(n); };
    EXPECT_EQ(Done(rising, 1.01, 20), 20u);
    EXPECT_EQ(Done(low, 1.01, 20), 15u);
    EXPECT_EQ(ByTheRule(low, 1.01, 20), 15u);
}

TEST_F(AcceleratedStop, OnlyTheLastSixCount) {
    const Script spike = [&](std::size_t n) { return n == 8 ? 1e6 : rising(n); };
    const Script recent = [&](std::size_t n) { return n == 9 ? 1e6 : rising(n); };
    EXPECT_EQ(Done(spike, kNever, 20), 20u);
    EXPECT_EQ(Done(recent, kNever, 20), 15u);
}

/// No growth from the base at all: 0 / 0 is below no ratio.
TEST_F(AcceleratedStop, ConstantLikelihoodsGoOn_stays) {
    EXPECT_EQ(Done([](std::size_t) { return 1.0; }, 1.0007, 20), 20u);
}

TEST_F(AcceleratedStop, SwitchedOffAllIterationsRun) {
    EXPECT_EQ(Done(falling, 1.0007, 40, true), 40u);
    EXPECT_EQ(Done(flattening, 1e9, 40, true), 40u);
}

/// All likelihoods of an empty box are 0.
TEST_F(AcceleratedStop, AnEmptyBoxNeverStops) {
    CRy3DAcceleratedLucyRichardsonTMDeconvolutionCore core;
    unsigned done = 77;
    RestorationJob job(Scene(4, 3, 3, 20, 400), AsymmetricPsf(4, 3, 3));
    job.params.dRegularization = 1;
    job.params.uiIterations = 20;
    job.params.puiIterationsDone = &done;
    job.params.rcImage = {0, 0, 0, 0, 0, 0};
    ASSERT_EQ(RunOnce(core, job), 0);
    EXPECT_EQ(done, 20u);
}

}  // namespace
