// SPDX-License-Identifier: MIT

// The fixed-count and the automatic Richardson-Lucy core against their double-precision twin: whole runs,
// both sides of every decision, threads 1, 2 and 5.

#include <gnr_deconvolution/cores.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <ostream>

#include "support/progress_log.h"
#include "support/ref/lucy_richardson_tm.h"
#include "support/restoration_job.h"
#include "support/tolerances.h"

namespace {

using namespace gnr::test;
using gnr::ref::FromVolume;
using gnr::ref::LucyRichardsonTMJob;
using gnr::ref::LucyRichardsonTMResult;
using Core = QualityProbe<CRy3DLucyRichardsonTMDeconvolutionCore>;

struct Case {
    const char* name;
    int x, y, z;
    bool automatic;
    double strength;
    unsigned iterations;
    double psfSum = 1.0;
    double stopRatio = 1.0007;
    bool partBox = false;
    float lift = 0.0f;  ///< added to every observed sample; below 0 for negative samples

    friend std::ostream& operator<<(std::ostream& out, const Case& c) { return out << c.name; }
};

double ToleranceOf(const LucyRichardsonTMResult& expected, const Volume& observed) {
    double largest = LargestSample(observed);
    ForImageColumns(expected.image, [&](int i, int j, int k) {
        largest = std::max(largest, std::abs(expected.image.at(i, j, k)));
    });
    return RestorationTolerance(1.0 * observed.x() * observed.y() * observed.z(), expected.steps, largest);
}

/// The twin itself must be on firm ground, or the comparison says nothing.
void ExpectFirmDecisions(const LucyRichardsonTMResult& r) {
    EXPECT_GT(r.smallestBlur, kDecisionMargin);
    EXPECT_GT(r.fieldMargin.distanceFromLimit, kDecisionMargin);
    for (const auto& visit : r.visits) EXPECT_GT(visit.margin, kDecisionMargin) << "k " << visit.k;
}

class LucyRichardsonTMAgainstTwin : public testing::TestWithParam<Case> {};

TEST_P(LucyRichardsonTMAgainstTwin, WholeRun) {
    const Case& c = GetParam();
    const Volume scene = Scene(c.x, c.y, c.z, 20, 400);
    const Volume psf = AsymmetricPsf(c.x, c.y, c.z, c.psfSum);
    Volume observed = Observed(scene, AsymmetricPsf(c.x, c.y, c.z), 0.02f);
    observed.Fill([&](int i, int j, int k) { return observed.at(i, j, k) + c.lift; });

    SRyIRect3D box = WholeBox(observed.sizes);
    if (c.partBox) box = {1, c.x - 2, 1, c.y, 0, c.z - 1};
    const gnr::ref::PaddedVolume truth = FromVolume(scene);
    LucyRichardsonTMJob twin;
    twin.automatic = c.automatic;
    twin.strength = c.strength;
    twin.iterations = c.iterations;
    twin.stopRatio = c.stopRatio;
    twin.box = box;
    twin.truth = &truth;
    const LucyRichardsonTMResult expected =
        gnr::ref::LucyRichardsonTM(FromVolume(observed), FromVolume(psf), twin);
    ExpectFirmDecisions(expected);
    const double tolerance = ToleranceOf(expected, observed);

    for (const int threads : {1, 2, 5}) {
        SCOPED_TRACE(threads);
        const ThreadCount scope(threads);
        Core core(c.automatic);
        RestorationJob job(observed, psf);
        unsigned done = 77;
        job.params.rcImage = box;
        job.params.dRegularization = c.strength;
        job.params.uiIterations = c.iterations;
        job.params.dStopRatio = c.stopRatio;
        job.params.pfReference = scene.get();
        job.params.puiIterationsDone = &done;
        ASSERT_EQ(RunOnce(core, job), 0);

        ExpectImageNear(job.image, expected.image, tolerance);
        EXPECT_EQ(done, c.automatic ? expected.done : 77u);
        ASSERT_EQ(core.logged.size(), 1u);
        EXPECT_EQ(core.logged[0].count, expected.done);
        ASSERT_EQ(core.logged[0].series.size(), expected.quality.size());
        for (std::size_t n = 0; n < expected.quality.size(); ++n) {
            EXPECT_EQ(core.logged[0].series[n].first, expected.quality[n].first);
            EXPECT_NEAR(core.logged[0].series[n].second, expected.quality[n].second, tolerance);
        }
    }
}

constexpr bool kFixed = false;
constexpr bool kAutomatic = true;

INSTANTIATE_TEST_SUITE_P(
    FixedCount, LucyRichardsonTMAgainstTwin,
    testing::Values(Case{"none", 8, 5, 4, kFixed, 0, 0}, Case{"one", 8, 5, 4, kFixed, 0, 1},
                    Case{"two", 8, 5, 4, kFixed, 0.5, 2}, Case{"partial groups", 4, 3, 3, kFixed, 0, 5},
                    Case{"odd total", 12, 7, 5, kFixed, 0, 6}, Case{"twelve", 6, 4, 7, kFixed, 0, 12},
                    Case{"one plane", 8, 6, 1, kFixed, 10, 5}, Case{"two columns", 2, 9, 6, kFixed, 10, 5},
                    Case{"strength 1", 8, 5, 6, kFixed, 1, 7}, Case{"strength 10", 8, 5, 4, kFixed, 10, 7},
                    Case{"strength 25", 12, 7, 5, kFixed, 25, 5},
                    Case{"strength 10.9 counts as 10", 8, 5, 4, kFixed, 10.9, 5},
                    Case{"more planes than rows", 6, 4, 9, kFixed, 10, 5},
                    Case{"more planes than columns", 4, 9, 9, kFixed, 25, 5},
                    Case{"PSF sum 4", 8, 5, 4, kFixed, 10, 5, 4.0},
                    Case{"PSF sum 1e-3", 8, 5, 4, kFixed, 0, 5, 1e-3},
                    Case{"PSF sum 1e-11 is not corrected", 8, 5, 4, kFixed, 0, 5, 1e-11},
                    Case{"negative samples", 8, 5, 4, kFixed, 10, 2, 1.0, 1.0007, false, -25.0f},
                    Case{"part of the volume", 8, 5, 4, kFixed, 10, 5, 1.0, 1.0007, true}));

INSTANTIATE_TEST_SUITE_P(
    Automatic, LucyRichardsonTMAgainstTwin,
    testing::Values(
        Case{"none", 8, 5, 4, kAutomatic, 0, 0}, Case{"one", 8, 5, 4, kAutomatic, 0, 1},
        Case{"two", 8, 5, 4, kAutomatic, 0.3, 2}, Case{"five", 4, 3, 3, kAutomatic, 0.3, 5, 1.0, 0.0},
        Case{"six, the sixth may stop", 8, 5, 4, kAutomatic, 0.3, 6, 1.0, 0.0},
        Case{"stops at the sixth", 8, 5, 4, kAutomatic, 0.3, 12, 1.0, 0.0},
        Case{"does not stop", 8, 5, 4, kAutomatic, 0.0, 12},
        Case{"field within its limit", 12, 7, 5, kAutomatic, 0.1, 7},
        Case{"field beyond its limit", 12, 7, 5, kAutomatic, 2, 7},
        Case{"negative strength is squared", 8, 5, 4, kAutomatic, -2, 5},
        Case{"one plane", 8, 6, 1, kAutomatic, 2, 5}, Case{"PSF sum 4", 8, 5, 4, kAutomatic, 0.3, 7, 4.0},
        Case{"PSF sum 1e-11 is not corrected", 8, 5, 4, kAutomatic, 0.3, 5, 1e-11},
        Case{"negative samples", 8, 5, 4, kAutomatic, 0.3, 5, 1.0, 1.0007, false, -25.0f},
        Case{"nothing but negative samples", 8, 5, 4, kAutomatic, 0.3, 5, 1.0, 1.0007, false, -2000.0f},
        Case{"part of the volume", 8, 5, 4, kAutomatic, 0.3, 12, 1.0, 0.9, true}));

/// -3 doubles to -6, which is 4294967290 as an unsigned number: every sample is damped to the clamp.
TEST(LucyRichardsonTMReference, NegativeFixedStrengthWrapsAround_stays) {
    const Volume psf = AsymmetricPsf(8, 5, 6);
    const Volume observed = Observed(Scene(8, 5, 6, 20, 400), psf, 0.1f);
    LucyRichardsonTMJob twin;
    twin.strength = -3;
    twin.iterations = 2;
    const auto expected = gnr::ref::LucyRichardsonTM(FromVolume(observed), FromVolume(psf), twin);
    ASSERT_NEAR(expected.lambda, -4294967296.0 * 4294967296.0 * 1e-6, 1e7);
    ASSERT_GT(expected.fieldMargin.smallestLaplacian, kDecisionMargin);

    Core core(false);
    RestorationJob job(observed, psf);
    job.params.dRegularization = -3;
    job.params.uiIterations = 2;
    ASSERT_EQ(RunOnce(core, job), 0);
    ExpectImageNear(job.image, expected.image, ToleranceOf(expected, observed));
}

/// The largest |u| of the field just within 0.11, where the weight stays, and just beyond, where it shrinks.
TEST(LucyRichardsonTMReference, TheFieldLimitOnBothSides) {
    const Volume psf = AsymmetricPsf(8, 5, 4);
    const Volume observed = Observed(Scene(8, 5, 4, 20, 400), psf);
    LucyRichardsonTMJob twin;
    twin.automatic = true;
    twin.box = WholeBox(observed.sizes);
    twin.strength = 2;  // u: far beyond, so the weight left over tells the largest Laplacian
    const double shrunk = gnr::ref::LucyRichardsonTM(FromVolume(observed), FromVolume(psf), twin).lambda;
    const double largestLaplacian = 0.1 / std::abs(shrunk);
    for (const double largestU : {0.105, 0.115}) {
        SCOPED_TRACE(largestU);
        twin.strength = std::sqrt(largestU / (0.2 * largestLaplacian));
        const auto expected = gnr::ref::LucyRichardsonTM(FromVolume(observed), FromVolume(psf), twin);
        EXPECT_NEAR(expected.lambda / gnr::ref::AutomaticWeight(twin.strength),
                    largestU > 0.11 ? 0.1 / largestU : 1.0, 1e-6);
        ExpectFirmDecisions(expected);

        Core core(true);
        RestorationJob job(observed, psf);
        job.params.dRegularization = twin.strength;
        ASSERT_EQ(RunOnce(core, job), 0);
        ExpectImageNear(job.image, expected.image, ToleranceOf(expected, observed));
    }
}

/// A PSF with a negative lobe makes negative estimates: a fixed count keeps them, an automatic run clips
/// them.
TEST(LucyRichardsonTMReference, NegativeEstimatesAreClippedInAutomaticRunsOnly) {
    const Volume psf = Volume(8, 5, 4).Fill([](int i, int j, int k) {
        if (j != 0 || k != 0) return 0.0;
        return i == 0 ? 1.3 : i == 1 ? -0.3 : 0.0;
    });
    const Volume observed = Scene(8, 5, 4, 20, 400);
    for (const bool automatic : {false, true}) {
        SCOPED_TRACE(automatic);
        LucyRichardsonTMJob twin;
        twin.automatic = automatic;
        twin.iterations = 2;
        twin.box = WholeBox(observed.sizes);
        const auto expected = gnr::ref::LucyRichardsonTM(FromVolume(observed), FromVolume(psf), twin);
        EXPECT_GT(expected.smallestBlur, kDecisionMargin);
        double least = 0;
        ForImageColumns(expected.image,
                        [&](int i, int j, int k) { least = std::min(least, expected.image.at(i, j, k)); });
        EXPECT_EQ(least < 0, !automatic);

        Core core(automatic);
        RestorationJob job(observed, psf);
        job.params.uiIterations = 2;
        ASSERT_EQ(RunOnce(core, job), 0);
        // A ratio is as uncertain as its denominator is small.
        ExpectImageNear(job.image, expected.image, ToleranceOf(expected, observed) / expected.smallestBlur);
        ForEachSample(job.image, [&](int i, int j, int k) {
            if (automatic) {
                EXPECT_GE(job.image.at(i, j, k), 0.0f);
            }
        });
    }
}

/// The damping field reads beside the last image column; what the host put there shows after one iteration.
TEST(LucyRichardsonTMReference, HostPaddingReachesTheLastColumn_stays) {
    const Volume psf = AsymmetricPsf(8, 5, 4);
    Volume observed = Observed(Scene(8, 5, 4, 20, 400), psf);
    observed.FillPadding(3000.0f);
    LucyRichardsonTMJob twin;
    twin.strength = 10;
    const auto expected = gnr::ref::LucyRichardsonTM(FromVolume(observed), FromVolume(psf), twin);

    Core core(false);
    RestorationJob job(observed, psf);
    job.params.dRegularization = 10;
    ASSERT_EQ(RunOnce(core, job), 0);
    ExpectImageNear(job.image, expected.image, ToleranceOf(expected, observed));

    observed.FillPadding(0.0f);
    RestorationJob clean(observed, psf);
    clean.params.dRegularization = 10;
    ASSERT_EQ(RunOnce(core, clean), 0);
    EXPECT_GT(std::abs(job.image.at(7, 1, 1) - clean.image.at(7, 1, 1)), 0.01f * clean.image.at(7, 1, 1));
    EXPECT_EQ(job.image.at(6, 1, 1), clean.image.at(6, 1, 1));
}

/// An automatic run whose stop test the twin has seen: scene, PSF and the visits of a run that never stops.
class LucyRichardsonTMStop : public testing::Test {
  protected:
    LucyRichardsonTMResult Twin(double stopRatio, unsigned iterations, const SRyIRect3D& box) const {
        LucyRichardsonTMJob twin;
        twin.automatic = true;
        twin.strength = 0.1;
        twin.stopRatio = stopRatio;
        twin.iterations = iterations;
        twin.box = box;
        return gnr::ref::LucyRichardsonTM(FromVolume(observed), FromVolume(psf), twin);
    }
    RestorationJob<>& Set(RestorationJob<>& job, double stopRatio, unsigned iterations) {
        job.params.dRegularization = 0.1;
        job.params.dStopRatio = stopRatio;
        job.params.uiIterations = iterations;
        job.params.puiIterationsDone = &done;
        job.params.pfReference = scene.get();
        return job;
    }

    const Volume psf = AsymmetricPsf(8, 5, 4, 1.0, 1.5);
    const Volume scene = Scene(8, 5, 4, 20, 400);
    const Volume observed = Observed(scene, psf, 0.02f);
    unsigned done = 0;
};

/// A threshold between the growth at the seventh and the eighth iteration: iteration 7 is still carried out.
TEST_F(LucyRichardsonTMStop, AtSevenOfHundredCountsEightAndMeasuresTheLastAsNinetyNine) {
    const auto box = WholeBox(observed.sizes);
    const auto visits = Twin(1e9, 9, box).visits;  // k from 2
    ASSERT_EQ(visits.size(), 7u);
    const auto growth = [&](unsigned k) { return visits[k - 2].ratio / visits[k - 2].previous; };
    ASSERT_GT(growth(7), std::max(growth(5), growth(6)) + 4 * kDecisionMargin);
    const double threshold = (growth(7) + std::max(growth(5), growth(6))) / 2;
    const auto expected = Twin(threshold, 100, box);
    ASSERT_EQ(expected.done, 8u);

    Core core(true);
    ProgressLog log;
    RestorationJob job(observed, psf);
    log.Attach(Set(job, threshold, 100).params);
    ASSERT_EQ(RunOnce(core, job), 0);
    EXPECT_EQ(done, 8u);
    EXPECT_EQ(log.Calls().size(), 16u);
    EXPECT_EQ(log.Units(), 8u);
    ASSERT_EQ(core.measured.size(), 8u);
    for (unsigned k = 0; k < 7; ++k) EXPECT_EQ(core.measured[k].index, k);
    EXPECT_EQ(core.measured[7].index, 99u);
    EXPECT_EQ(core.logged.at(0).count, 8u);
    ExpectImageNear(job.image, expected.image, ToleranceOf(expected, observed));

    RestorationJob eight(observed, psf);
    ASSERT_EQ(RunOnce(core, Set(eight, 1e9, 8)), 0);
    EXPECT_TRUE(SameImage(job.image, eight.image));
}

/// A divergence that falls raises the ratio and ends the run whatever the threshold. Single samples come back
/// towards the observed image at some iterations; the twin looks for one.
TEST_F(LucyRichardsonTMStop, RisingRatioStopsWhateverTheThreshold) {
    SRyIRect3D box{};
    LucyRichardsonTMResult expected{FromVolume(observed)};
    const auto firm = [](const LucyRichardsonTMResult& r) {
        return std::all_of(r.visits.begin(), r.visits.end(),
                           [](const auto& visit) { return visit.margin > 20 * kDecisionMargin; });
    };
    bool found = false;
    ForImageColumns(expected.image, [&](int i, int j, int k) {
        if (found) return;
        box = {i, i + 1, j, j + 1, k, k + 1};
        auto tried = Twin(1e9, 30, box);
        found = tried.done > 6 && tried.done < 30 && firm(tried);
        if (found) expected = std::move(tried);
    });
    ASSERT_TRUE(found);
    ASSERT_GT(expected.visits.back().ratio, expected.visits.back().previous);

    Core core(true);
    RestorationJob job(observed, psf);
    Set(job, 1e9, 30).params.rcImage = box;
    ASSERT_EQ(RunOnce(core, job), 0);
    EXPECT_EQ(done, expected.done);
    ExpectImageNear(job.image, expected.image, ToleranceOf(expected, observed));
}

/// The image that a stop leaves, at every progress call.
TEST(LucyRichardsonTMReference, StopAtEveryCall) {
    const Volume psf = AsymmetricPsf(4, 3, 5, 2.0);
    const Volume scene = Scene(4, 3, 5, 20, 400);
    const Volume observed = Observed(scene, AsymmetricPsf(4, 3, 5));
    for (const bool automatic : {false, true}) {
        for (int call = 0; call < 6; ++call) {
            SCOPED_TRACE(testing::Message() << (automatic ? "automatic" : "fixed") << ", call " << call);
            LucyRichardsonTMJob twin;
            twin.automatic = automatic;
            twin.strength = automatic ? 0.3 : 10;
            twin.iterations = 3;
            twin.box = WholeBox(observed.sizes);
            twin.stopAtCall = call;
            const auto expected = gnr::ref::LucyRichardsonTM(FromVolume(observed), FromVolume(psf), twin);

            Core core(automatic);
            ProgressLog log(call);
            RestorationJob job(observed, psf);
            unsigned done = 77;
            job.params.dRegularization = twin.strength;
            job.params.uiIterations = 3;
            job.params.puiIterationsDone = &done;
            log.Attach(job.params);
            ASSERT_EQ(RunOnce(core, job), -8);
            ExpectImageNear(job.image, expected.image, ToleranceOf(expected, observed));
            EXPECT_EQ(done, automatic ? expected.done : 77u);
            EXPECT_EQ(static_cast<int>(log.Calls().size()), expected.calls);
        }
    }
}

}  // namespace
