// SPDX-License-Identifier: MIT

// The one-call Landweber entries against their double-precision twins: whole runs through several restarts,
// both sides of the stop test, a stop at every progress call, threads 1, 2 and 5.

#include <gnr_deconvolution/legacy.h>
#include <gtest/gtest.h>

#include <ostream>

#include "support/ref/landweber_entries.h"
#include "support/ref/landweber_runs.h"
#include "support/tolerances.h"

namespace {

using namespace gnr::test;
using gnr::ref::Disturbance;
using gnr::ref::FromVolume;
using gnr::ref::LandweberEntryJob;
using gnr::ref::LandweberEntryResult;

struct Case {
    const char* name;
    int x, y, z;
    int iterations;
    double psfSum = 1.0;
    double stopRatio = 1.0007;
    float lift = 0.0f;  ///< added to every observed sample; below 0 for negative samples
    bool partBox = false;

    friend std::ostream& operator<<(std::ostream& out, const Case& c) { return out << c.name; }
};

using Twin = LandweberEntryResult (*)(const gnr::ref::PaddedVolume&, const gnr::ref::PaddedVolume&,
                                      const LandweberEntryJob&);

/// Twin of one call, exact, and how far a single-precision run may be from it.
struct Expectation {
    LandweberEntryResult run;
    double tolerance;
};

Expectation Expect(Twin twin, const Volume& observed, const Volume& psf, LandweberEntryJob job) {
    const auto image = FromVolume(observed);
    const auto spread = FromVolume(psf);
    LandweberEntryResult run = twin(image, spread, job);
    for (const auto& visit : run.visits) {
        EXPECT_FALSE(visit.margin <= kDecisionMargin) << "i " << visit.k << ": " << visit.margin;
    }
    const double tolerance = RoundingTolerance(run.image, [&](const Disturbance& disturbance) {
        job.disturbance = disturbance;
        return twin(image, spread, job).image;
    });
    return {std::move(run), tolerance};
}

int WithRestart(Volume& image, Volume& psf, const LandweberEntryJob& job, EntryLog& log) {
    DFT3D s = image.sizes;
    return CRy3DDeconvolution().Landweber(&s, psf, image, job.iterations, log.callback(), log.pointer(), 0, 0,
                                          0, 0);
}

int Automatic(Volume& image, Volume& psf, const LandweberEntryJob& job, EntryLog& log, unsigned& done) {
    DFT3D s = image.sizes;
    return CRy3DDeconvolution().Landweber_Automatic(&s, psf, image, job.iterations, log.callback(),
                                                    log.pointer(), 0, 0, 0, job.box, 0, &done, job.stopRatio);
}

class LandweberEntry : public testing::TestWithParam<Case> {
  protected:
    Volume MakeObserved() const {
        const Case& c = GetParam();
        Volume observed = Observed(Scene(c.x, c.y, c.z, 20, 400), AsymmetricPsf(c.x, c.y, c.z), 0.02f);
        observed.Fill([&](int i, int j, int k) { return observed.at(i, j, k) + c.lift; });
        return observed;
    }
    LandweberEntryJob Job() const {
        const Case& c = GetParam();
        LandweberEntryJob job;
        job.iterations = c.iterations;
        job.stopRatio = c.stopRatio;
        job.box = c.partBox ? SRyIRect3D{1, c.x - 2, 1, c.y, 0, c.z - 1} : SRyIRect3D{0, c.x, 0, c.y, 0, c.z};
        return job;
    }
    Volume MakePsf() const {
        const Case& c = GetParam();
        return AsymmetricPsf(c.x, c.y, c.z, c.psfSum);
    }
};

class LandweberWithRestart : public LandweberEntry {};

TEST_P(LandweberWithRestart, WholeRun) {
    const auto [expected, tolerance] =
        Expect(&gnr::ref::LandweberWithRestart, MakeObserved(), MakePsf(), Job());
    for (const int threads : {1, 2, 5}) {
        SCOPED_TRACE(threads);
        const ThreadCount scope(threads);
        Volume image = MakeObserved();
        Volume psf = MakePsf();
        EntryLog log;
        ASSERT_EQ(WithRestart(image, psf, Job(), log), 1);
        ExpectImageNear(image, expected.image, tolerance);
        EXPECT_EQ(log.log.Calls(), ReportsOf(expected.phases));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, LandweberWithRestart,
    testing::Values(Case{"none", 8, 6, 5, 0}, Case{"one", 8, 6, 5, 1}, Case{"two", 8, 6, 5, 2},
                    Case{"three", 8, 6, 5, 3}, Case{"35, no restart", 6, 5, 4, 35},
                    Case{"36, restart at the end", 6, 5, 4, 36}, Case{"37, on from there", 6, 5, 4, 37},
                    Case{"75, two restarts", 6, 5, 4, 75}, Case{"odd sides", 6, 7, 9, 8},
                    Case{"one plane", 8, 6, 1, 8}, Case{"two columns", 2, 5, 6, 8},
                    Case{"PSF sum 1.3", 8, 6, 5, 40, 1.3}, Case{"PSF sum 2", 8, 6, 5, 6, 2.0},
                    Case{"PSF sum 0.5", 8, 6, 5, 6, 0.5},
                    Case{"PSF sum 1e-11 is not corrected", 8, 6, 5, 40, 1e-11},
                    Case{"negative samples", 8, 6, 5, 40, 1.0, 1.0007, -60.0f}));

class LandweberAutomatic : public LandweberEntry {};

TEST_P(LandweberAutomatic, WholeRun) {
    const auto [expected, tolerance] =
        Expect(&gnr::ref::LandweberAutomatic, MakeObserved(), MakePsf(), Job());
    for (const int threads : {1, 2, 5}) {
        SCOPED_TRACE(threads);
        const ThreadCount scope(threads);
        Volume image = MakeObserved();
        Volume psf = MakePsf();
        EntryLog log;
        unsigned done = 77;
        ASSERT_EQ(Automatic(image, psf, Job(), log, done), 1);
        ExpectImageNear(image, expected.image, tolerance);
        EXPECT_EQ(done, expected.done);
        EXPECT_EQ(log.log.Calls(), ReportsOf(expected.phases));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, LandweberAutomatic,
    testing::Values(Case{"none", 8, 6, 5, 0}, Case{"one", 8, 6, 5, 1}, Case{"two", 8, 6, 5, 2},
                    Case{"five cannot stop", 8, 6, 5, 5, 1.0, 0.0},
                    Case{"six, the sixth is the last", 8, 6, 5, 6, 1.0, 0.0},
                    Case{"stops at the sixth", 8, 6, 5, 12, 1.0, 0.0}, Case{"twelve", 8, 6, 5, 12},
                    Case{"odd sides", 6, 7, 9, 8}, Case{"one plane", 8, 6, 1, 8},
                    Case{"PSF sum 1.3", 8, 6, 5, 12, 1.3}, Case{"PSF sum 2", 8, 6, 5, 5, 2.0},
                    Case{"PSF sum 0.5", 8, 6, 5, 5, 0.5}, Case{"PSF sum 1e-11", 8, 6, 5, 5, 1e-11},
                    Case{"negative samples", 8, 6, 5, 5, 1.0, 1.0007, -60.0f},
                    Case{"part of the volume", 8, 6, 5, 12, 1.0, 0.9, 0.0f, true}));

/// The image that a stop leaves, at every progress call, those around a restart included.
TEST(LandweberEntryReference, StopAtEveryCall) {
    const Volume psf = AsymmetricPsf(4, 3, 5, 1.3);
    const Volume observed = Observed(Scene(4, 3, 5, 20, 400), AsymmetricPsf(4, 3, 5));
    LandweberEntryJob job;
    job.box = WholeBox(observed.sizes);
    for (const int call : {0, 1, 2, 3, 4, 5, 70, 71, 72, 73}) {
        SCOPED_TRACE(call);
        job.iterations = 37;
        job.stopAtCall = call;
        const auto [expected, tolerance] = Expect(&gnr::ref::LandweberWithRestart, observed, psf, job);
        ASSERT_EQ(expected.code, -8);
        Volume image = observed;
        Volume spread = psf;
        EntryLog log(call);
        ASSERT_EQ(WithRestart(image, spread, job, log), -8);
        ExpectImageNear(image, expected.image, tolerance);
        EXPECT_EQ(log.log.Calls(), ReportsOf(expected.phases));
    }
    for (int call = 0; call < 6; ++call) {
        SCOPED_TRACE(call);
        job.iterations = 3;
        job.stopAtCall = call;
        const auto [expected, tolerance] = Expect(&gnr::ref::LandweberAutomatic, observed, psf, job);
        ASSERT_EQ(expected.code, -8);
        Volume image = observed;
        Volume spread = psf;
        EntryLog log(call);
        unsigned done = 77;
        ASSERT_EQ(Automatic(image, spread, job, log, done), -8);
        ExpectImageNear(image, expected.image, tolerance);
        EXPECT_EQ(done, expected.done);
    }
}

}  // namespace
