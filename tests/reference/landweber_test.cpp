// SPDX-License-Identifier: MIT

// The restartable Landweber core against its double-precision twin: whole runs in both modes, all levels,
// both sides of every decision, a stop at every progress call, threads 1, 2 and 5.

#include <gnr_deconvolution/cores.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>

#include "support/ref/landweber.h"
#include "support/ref/landweber_runs.h"
#include "support/tolerances.h"

namespace {

using namespace gnr::test;
using gnr::ref::Disturbance;
using gnr::ref::FromVolume;
using gnr::ref::LandweberJob;
using gnr::ref::LandweberResult;

constexpr bool kMomentum = false;
constexpr bool kAutomatic = true;

struct Case {
    const char* name;
    int x, y, z;
    bool automatic;
    double strength;
    unsigned iterations;
    double psfSum = 1.0;
    double scale = 1.0;
    double stopRatio = 1.0007;
    float lift = 0.0f;  ///< added to every observed sample; below 0 for negative samples
    bool partBox = false;

    friend std::ostream& operator<<(std::ostream& out, const Case& c) { return out << c.name; }
};

/// Twin of one job, exact, and how far a single-precision run may be from it.
struct Expectation {
    LandweberResult run;
    double tolerance;
};

Expectation Expect(const Volume& observed, const Volume& psf, LandweberJob job) {
    const auto image = FromVolume(observed);
    const auto spread = FromVolume(psf);
    LandweberResult run = gnr::ref::Landweber(image, spread, job);
    for (const auto& visit : run.visits) {
        EXPECT_FALSE(visit.margin <= kDecisionMargin) << "k " << visit.k << ": " << visit.margin;
    }
    const double tolerance = RoundingTolerance(run.image, [&](const Disturbance& disturbance) {
        job.disturbance = disturbance;
        return gnr::ref::Landweber(image, spread, job).image;
    });
    return {std::move(run), tolerance};
}

void Set(RestorationJob<>& job, const LandweberJob& twin, unsigned& done) {
    job.params.rcImage = twin.box;
    job.params.dRegularization = twin.strength;
    job.params.dScale = twin.scale;
    job.params.uiIterations = twin.iterations;
    job.params.dStopRatio = twin.stopRatio;
    job.params.puiIterationsDone = &done;
}

class LandweberAgainstTwin : public testing::TestWithParam<Case> {};

TEST_P(LandweberAgainstTwin, WholeRun) {
    const Case& c = GetParam();
    const Volume psf = AsymmetricPsf(c.x, c.y, c.z, c.psfSum);
    Volume observed = Observed(Scene(c.x, c.y, c.z, 20, 400), AsymmetricPsf(c.x, c.y, c.z), 0.02f);
    observed.Fill([&](int i, int j, int k) { return observed.at(i, j, k) + c.lift; });

    LandweberJob twin;
    twin.automatic = c.automatic;
    twin.strength = c.strength;
    twin.scale = c.scale;
    twin.iterations = c.iterations;
    twin.stopRatio = c.stopRatio;
    twin.box = WholeBox(observed.sizes);
    if (c.partBox) twin.box = {1, c.x - 2, 1, c.y, 0, c.z - 1};
    const auto [expected, tolerance] = Expect(observed, psf, twin);
    ASSERT_EQ(expected.code, 0);

    for (const int threads : {1, 2, 5}) {
        SCOPED_TRACE(threads);
        const ThreadCount scope(threads);
        CRy3DLandweberDeconvolutionCore core(c.automatic);
        RestorationJob job(observed, psf);
        unsigned done = 77;
        Set(job, twin, done);
        ProgressLog log;
        log.Attach(job.params);
        ASSERT_EQ(RunOnce(core, job), 0);
        ExpectImageNear(job.image, expected.image, tolerance);
        EXPECT_EQ(done, c.automatic ? expected.done : 77u);
        EXPECT_EQ(log.Calls(), ReportsOf(expected.phases));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Momentum, LandweberAgainstTwin,
    testing::Values(
        Case{"none", 8, 6, 5, kMomentum, 10, 0}, Case{"one", 8, 6, 5, kMomentum, 0, 1},
        Case{"two, without momentum", 8, 6, 5, kMomentum, 0, 2},
        Case{"three, with momentum", 8, 6, 5, kMomentum, 0, 3}, Case{"forty", 8, 6, 5, kMomentum, 0, 40},
        Case{"odd sides", 6, 7, 9, kMomentum, 0, 12}, Case{"one plane", 8, 6, 1, kMomentum, 10, 5},
        Case{"one row", 8, 1, 6, kMomentum, 10, 5},
        Case{"15 planes never shrink", 8, 5, 15, kMomentum, 40, 4},
        Case{"16 planes shrink", 8, 6, 16, kMomentum, 40, 4}, Case{"strength 1", 16, 16, 16, kMomentum, 1, 3},
        Case{"strength 10", 8, 4, 16, kMomentum, 10, 12}, Case{"strength 60", 16, 8, 16, kMomentum, 60, 3},
        Case{"scaled threshold", 8, 4, 16, kMomentum, 10, 4, 1.0, 5.0},
        Case{"threshold 0", 8, 4, 16, kMomentum, 10, 4, 1.0, 0.0},
        Case{"two levels", 12, 8, 32, kMomentum, 30, 3}, Case{"three levels", 8, 16, 48, kMomentum, 30, 2},
        Case{"30 planes, one level", 6, 4, 30, kMomentum, 30, 3},
        Case{"four levels", 16, 16, 64, kMomentum, 30, 2},
        Case{"two columns, two rows", 2, 2, 16, kMomentum, 10, 10},
        Case{"PSF sum 2", 8, 4, 16, kMomentum, 10, 6, 2.0},
        Case{"PSF sum 0.5", 8, 4, 16, kMomentum, 10, 6, 0.5},
        Case{"PSF sum 1e-11 is not corrected", 8, 4, 16, kMomentum, 10, 4, 1e-11},
        Case{"negative samples", 8, 4, 16, kMomentum, 10, 5, 1.0, 1.0, 1.0007, -60.0f}));

INSTANTIATE_TEST_SUITE_P(
    Automatic, LandweberAgainstTwin,
    testing::Values(Case{"none", 8, 6, 5, kAutomatic, 10, 0}, Case{"one", 8, 6, 5, kAutomatic, 0, 1},
                    Case{"two", 8, 6, 5, kAutomatic, 0, 2}, Case{"twelve", 8, 6, 5, kAutomatic, 0, 12},
                    Case{"five cannot stop", 8, 6, 5, kAutomatic, 0, 5, 1.0, 1.0, 0.0},
                    Case{"six, the sixth is the last", 8, 6, 5, kAutomatic, 0, 6, 1.0, 1.0, 0.0},
                    Case{"stops at the sixth", 8, 6, 5, kAutomatic, 0, 12, 1.0, 1.0, 0.0},
                    Case{"one plane", 8, 6, 1, kAutomatic, 10, 5},
                    Case{"15 planes never shrink", 8, 5, 15, kAutomatic, 40, 4},
                    Case{"strength 10", 8, 4, 16, kAutomatic, 10, 12},
                    Case{"strength 60", 16, 8, 16, kAutomatic, 60, 3},
                    Case{"scaled threshold", 8, 4, 16, kAutomatic, 10, 4, 1.0, 5.0},
                    Case{"two levels", 12, 8, 32, kAutomatic, 30, 3},
                    Case{"four levels", 16, 16, 64, kAutomatic, 30, 1},
                    Case{"PSF sum 2", 8, 4, 16, kAutomatic, 10, 4, 2.0},
                    Case{"PSF sum 0.5", 8, 4, 16, kAutomatic, 10, 4, 0.5},
                    Case{"negative samples", 8, 4, 16, kAutomatic, 10, 4, 1.0, 1.0, 1.0007, -60.0f},
                    Case{"part of the volume", 8, 6, 5, kAutomatic, 0, 12, 1.0, 1.0, 0.9, 0.0f, true}));

/// A shift of 0 along an axis is undone by a whole side, which is no shift at all.
TEST(LandweberReference, ShiftsOfZeroAlongEachAxis) {
    const Volume psf = AsymmetricPsf(2, 2, 16);
    const Volume observed = Observed(Scene(2, 2, 16, 20, 400), psf, 0.02f);
    LandweberJob twin;
    twin.strength = 20;
    twin.iterations = 60;
    twin.box = WholeBox(observed.sizes);
    const auto [expected, tolerance] = Expect(observed, psf, twin);
    ASSERT_EQ(expected.shifts.size(), 60u);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const auto zero = [axis](const std::array<int, 3>& shift) { return shift[axis] == 0; };
        ASSERT_TRUE(std::any_of(expected.shifts.begin(), expected.shifts.end(), zero)) << axis;
    }

    CRy3DLandweberDeconvolutionCore core(false);
    RestorationJob job(observed, psf);
    unsigned done = 0;
    Set(job, twin, done);
    ASSERT_EQ(RunOnce(core, job), 0);
    ExpectImageNear(job.image, expected.image, tolerance);
}

/// A threshold between the growths of two iterations: the run ends with the one above it, which is carried
/// out whole.
TEST(LandweberReference, TheIterationThatStopsIsCarriedOut) {
    const Volume psf = AsymmetricPsf(8, 6, 5, 1.0, 1.5);
    const Volume observed = Observed(Scene(8, 6, 5, 20, 400), psf, 0.02f);
    LandweberJob twin;
    twin.automatic = true;
    twin.iterations = 12;
    twin.stopRatio = 1e9;
    twin.box = WholeBox(observed.sizes);
    const auto visits = Expect(observed, psf, twin).run.visits;
    ASSERT_EQ(visits.size(), 10u);  // k from 2, none of them the last
    const auto growth = [&](std::size_t k) { return visits[k - 2].ratio / visits[k - 2].previous; };
    // Growth climbs towards 1 from below, so that each iteration can be told from the ones before.
    constexpr std::size_t k = 7;
    ASSERT_GT(growth(k), growth(k - 1) + 4 * kDecisionMargin);
    twin.stopRatio = (growth(k) + growth(k - 1)) / 2;
    twin.iterations = 100;
    const auto [expected, tolerance] = Expect(observed, psf, twin);
    ASSERT_EQ(expected.done, k + 1);

    CRy3DLandweberDeconvolutionCore core(true);
    RestorationJob job(observed, psf);
    unsigned done = 77;
    Set(job, twin, done);
    ASSERT_EQ(RunOnce(core, job), 0);
    EXPECT_EQ(done, k + 1);
    ExpectImageNear(job.image, expected.image, tolerance);
}

/// The image that a stop leaves, at every progress call.
TEST(LandweberReference, StopAtEveryCall) {
    const Volume psf = AsymmetricPsf(4, 2, 16, 2.0);
    const Volume observed = Observed(Scene(4, 2, 16, 20, 400), AsymmetricPsf(4, 2, 16));
    for (const bool automatic : {false, true}) {
        for (int call = 0; call < 9; ++call) {
            SCOPED_TRACE(testing::Message() << (automatic ? "automatic" : "momentum") << ", call " << call);
            LandweberJob twin;
            twin.automatic = automatic;
            twin.strength = 10;
            twin.iterations = 3;
            twin.box = WholeBox(observed.sizes);
            twin.stopAtCall = call;
            const auto [expected, tolerance] = Expect(observed, psf, twin);
            ASSERT_EQ(expected.code, -8);

            CRy3DLandweberDeconvolutionCore core(automatic);
            ProgressLog log(call);
            RestorationJob job(observed, psf);
            unsigned done = 77;
            Set(job, twin, done);
            log.Attach(job.params);
            ASSERT_EQ(RunOnce(core, job), -8);
            ExpectImageNear(job.image, expected.image, tolerance);
            EXPECT_EQ(done, automatic ? expected.done : 77u);
            EXPECT_EQ(log.Calls(), ReportsOf(expected.phases));
        }
    }
}

}  // namespace
