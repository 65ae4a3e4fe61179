// SPDX-License-Identifier: MIT

// The accelerated Richardson-Lucy core against its double-precision twin: the damped likelihood, the line
// search, whole runs with threads 1, 2 and 5, and the stop at every progress call.

#include <gnr_deconvolution/cores.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <deque>
#include <ostream>
#include <vector>

#include "kernels/damped_likelihood.h"
#include "support/progress_log.h"
#include "support/ref/accelerated.h"
#include "support/restoration_job.h"
#include "support/tolerances.h"

namespace {

using namespace gnr::test;
using gnr::ref::AcceleratedJob;
using gnr::ref::AcceleratedResult;
using gnr::ref::FromVolume;
using gnr::ref::kDampingConstant;
using Core = QualityProbe<CRy3DAcceleratedLucyRichardsonTMDeconvolutionCore>;

// -------------------------------------------------------------------------------- damped likelihood

constexpr float kExponents[] = {0.5f, 1.0f, 2.0f, 3.0f, 7.5f};

TEST(DampedLikelihoodReference, Deviation) {
    for (const float g : {1e-9f, 1e-3f, 0.4f, 1.0f, 3.0f, 60.0f}) {
        for (const float h : {1e-9f, 2e-3f, 0.39f, 1.1f, 2.0f, 400.0f}) {
            const double expected = gnr::ref::DampedDeviation<double>(g, h, kDampingConstant);
            EXPECT_NEAR(gnr::detail::DampedDeviation(g, h, kDampingConstant), expected,
                        kDampedTerm * (g + h + std::abs(g * std::log(h / g))))
                << g << ' ' << h;
        }
    }
}

TEST(DampedLikelihoodReference, Penalty) {
    for (const float N : kExponents) {
        for (const float u : {-2.0f, 0.0f, 1e-6f, 0.01f, 0.3f, 0.999f, 1.0f, 1.5f, 20.0f}) {
            const double expected = gnr::ref::DampedPenalty<double>(u, N);
            EXPECT_NEAR(gnr::detail::DampedPenalty(u, N), expected, kDampedTerm * (1 + std::abs(expected)))
                << u << ' ' << N;
        }
    }
}

TEST(DampedLikelihoodReference, RatioOverAWholeVolumeAtAnyThreadCount) {
    for (const float N : kExponents) {
        Volume observed(6, 5, 3);
        Volume work(6, 5, 3);
        observed.FillRandom(3, 0.2f, 4.0f).FillPadding(2.0f);
        // At least a tenth apart: closer, u loses its digits to cancellation.
        work.Fill([&](int i, int j, int k) { return observed.at(i, j, k) * ((i + j + k) % 2 ? 1.1 : 0.7); });
        work.FillPadding(1.0f);
        Volume one = work;
        for (const int threads : {1, 2, 5}) {
            const ThreadCount scope(threads);
            Volume ratio = work;
            gnr::detail::ComputeDampedRatio3D(observed, ratio, &ratio.sizes, kDampingConstant, N);
            for (std::int64_t n = 0; n < ratio.sizes.total; ++n) {
                const double expected =
                    gnr::ref::DampedRatio(observed.get()[n], work.get()[n], kDampingConstant, N);
                ASSERT_NEAR(ratio.get()[n], expected, kDampedRatio * (1 + std::abs(expected))) << N;
            }
            if (threads == 1) one = ratio;
            EXPECT_TRUE(SameBytes(ratio, one));
        }
    }
}

// -------------------------------------------------------------------------------------- line search

class OpenCore : public CRy3DAcceleratedLucyRichardsonTMDeconvolutionCore {
  public:
    using CRy3DAcceleratedLucyRichardsonTMDeconvolutionCore::OptimizeAlphaByLogLikelihood;
};

TEST(LineSearchReference, AlphaAndLikelihoodOfCraftedBlurs) {
    const Volume g = Volume(6, 5, 4).FillRandom(3, 0.5f, 6.0f);
    const Volume before = Volume(6, 5, 4).FillRandom(4, 1.0f, 3.0f);
    const SRyIRect3D box = {1, 5, 0, 4, 1, 4};
    int lost = 0;
    int bounded = 0;
    for (const float N : {1.0f, 2.0f, 3.0f}) {
        for (const double towards : {0.7, 0.3, 0.05, 0.01, 1e-3}) {
            // The blur moves a fraction of the way to g, so the best alpha is about 1 / towards.
            const Volume after = Volume(6, 5, 4).Fill([&](int i, int j, int k) {
                return before.at(i, j, k) + towards * (g.at(i, j, k) - before.at(i, j, k));
            });
            for (const float bound : {1.0f, 1.9f, 5.0f, 40.0f, 3e38f}) {
                const auto expected = gnr::ref::LineSearch(1, bound, FromVolume(g), FromVolume(after),
                                                           FromVolume(before), kDampingConstant, N, box);
                if (expected.gainMargin < kGainMargin || expected.boundMargin < kBoundMargin) continue;
                expected.lostGain ? ++lost : ++bounded;
                for (const int threads : {1, 2, 5}) {
                    const ThreadCount scope(threads);
                    OpenCore core;
                    float alpha = 1.0f;
                    const double likelihood = core.OptimizeAlphaByLogLikelihood(
                        alpha, bound, g, after, before, &g.sizes, kDampingConstant, N, box);
                    EXPECT_EQ(alpha, expected.alpha) << N << ' ' << towards << ' ' << bound;
                    EXPECT_NEAR(likelihood, expected.likelihood,
                                kLikelihoodRelative * std::abs(expected.likelihood));
                }
            }
        }
    }
    EXPECT_GE(lost, 10);
    EXPECT_GE(bounded, 10);
}

// ---------------------------------------------------------------------------------------- whole runs

struct Case {
    const char* name;
    int x, y, z;
    double strength;
    unsigned iterations;
    bool wienerStart = false;
    float dark = 20;
    float peak = 400;
    float lift = 0.0f;     ///< added to every observed sample
    float padding = 0.0f;  ///< what the host's padding holds
    double psfSum = 1.0;
    bool partBox = false;
    float noise = 0.02f;  ///< of the observed samples, relative

    friend std::ostream& operator<<(std::ostream& out, const Case& c) { return out << c.name; }
};

double ToleranceOf(const AcceleratedResult& expected, const Volume& observed, double strength) {
    double largest = LargestSample(observed) + expected.offset;
    ForImageColumns(expected.image, [&](int i, int j, int k) {
        largest = std::max(largest, std::abs(expected.image.at(i, j, k)));
    });
    const double tolerance = RestorationTolerance(1.0 * observed.x() * observed.y() * observed.z(),
                                                  2 + expected.ErrorGrowth(strength), largest);
    return strength < 1 ? tolerance + WeakDampingTolerance(expected.SmallestContrast(), largest) : tolerance;
}

/// The twin itself must be on firm ground, or the comparison says nothing.
void ExpectFirmDecisions(const AcceleratedResult& r, double strength) {
    EXPECT_GT(r.SmallestGainMargin(), kGainMargin);
    EXPECT_GT(r.SmallestBoundMargin(), kBoundMargin);
    if (strength < 1) {
        EXPECT_GT(r.SmallestContrast(), kDampingContrast);
    }
}

class AcceleratedAgainstTwin : public testing::TestWithParam<Case> {};

TEST_P(AcceleratedAgainstTwin, WholeRun) {
    const Case& c = GetParam();
    const Volume scene = Scene(c.x, c.y, c.z, c.dark, c.peak);
    const Volume psf = AsymmetricPsf(c.x, c.y, c.z, c.psfSum);
    Volume observed = Observed(scene, AsymmetricPsf(c.x, c.y, c.z), c.noise);
    observed.Fill([&](int i, int j, int k) { return observed.at(i, j, k) + c.lift; });
    observed.FillPadding(c.padding);

    SRyIRect3D box = WholeBox(observed.sizes);
    if (c.partBox) box = {1, c.x - 2, 1, c.y, 0, c.z - 1};
    const gnr::ref::PaddedVolume truth = FromVolume(scene);
    AcceleratedJob twin;
    twin.wienerStart = c.wienerStart;
    twin.strength = c.strength;
    twin.iterations = c.iterations;
    twin.box = box;
    twin.truth = &truth;
    const AcceleratedResult expected = gnr::ref::Accelerated(FromVolume(observed), FromVolume(psf), twin);
    ExpectFirmDecisions(expected, c.strength);
    const double tolerance = ToleranceOf(expected, observed, c.strength);

    for (const int threads : {1, 2, 5}) {
        SCOPED_TRACE(threads);
        const ThreadCount scope(threads);
        Core core;
        RestorationJob job(observed, psf);
        unsigned done = 77;
        job.params.rcImage = box;
        job.params.bWienerStart = c.wienerStart;
        job.params.dRegularization = c.strength;
        job.params.uiIterations = c.iterations;
        job.params.pfReference = scene.get();
        job.params.puiIterationsDone = &done;
        ASSERT_EQ(RunOnce(core, job), 0);

        ExpectImageNear(job.image, expected.image, tolerance);
        EXPECT_EQ(done, expected.done);
        ASSERT_EQ(core.logged.size(), 1u);
        EXPECT_EQ(core.logged[0].count, expected.done);
        ASSERT_EQ(core.logged[0].series.size(), expected.quality.size());
        for (std::size_t n = 0; n < expected.quality.size(); ++n) {
            EXPECT_EQ(core.logged[0].series[n].first, expected.quality[n].first);
            EXPECT_NEAR(core.logged[0].series[n].second, expected.quality[n].second, tolerance);
            EXPECT_NEAR(core.measured[n].scale, expected.mean, kParallelSumRelative * 4 * expected.mean);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Runs, AcceleratedAgainstTwin,
    testing::Values(Case{"none", 8, 5, 4, 1, 0}, Case{"one", 8, 5, 4, 1, 1}, Case{"two", 8, 5, 4, 1, 2},
                    Case{"five, partial groups", 4, 3, 3, 1, 5}, Case{"six, odd total", 12, 7, 5, 1, 6},
                    Case{"seven", 6, 4, 7, 1, 7}, Case{"twelve", 8, 5, 4, 1, 12},
                    Case{"one plane", 8, 6, 1, 1, 5}, Case{"two columns", 2, 9, 6, 1, 5},
                    Case{"damped by 2", 8, 5, 4, 2, 6, false, 20, 40000},
                    Case{"damped by 2, noisy", 8, 5, 4, 2, 6, false, 20, 4000, 0, 0, 1, false, 0.5f},
                    Case{"damped by 3, noisy", 8, 5, 4, 3, 3, false, 20, 40000, 0, 0, 1, false, 0.5f},
                    Case{"damped by one half", 4, 3, 2, 0.5, 2, false, 20, 4000, 0, 0, 1, false, 0.5f},
                    Case{"Wiener start only", 8, 5, 4, 1, 0, true},
                    Case{"Wiener start", 8, 5, 4, 1, 3, true, 20, 400, 0, 0, 1, false, 0.3f},
                    Case{"Wiener start, damped by 3", 12, 7, 5, 3, 2, true, 20, 40000, 0, 0, 1, false, 0.5f},
                    Case{"no pedestal", 8, 5, 4, 1, 3, false, 100, 400, 0, 200},
                    Case{"pedestal of at most 20", 8, 5, 4, 1, 3, false, 20, 40000},
                    Case{"negative samples", 8, 5, 4, 1, 3, false, 20, 400, -25},
                    Case{"padding decides the pedestal", 8, 5, 4, 1, 3, false, 100, 400, 0, -900},
                    Case{"PSF sum 1.1 is not corrected", 8, 5, 4, 1, 3, false, 20, 400, 0, 0, 1.1},
                    Case{"part of the volume", 8, 5, 4, 1, 5, false, 20, 400, 0, 0, 1.0, true}));

/// The image that a stop leaves, at every progress call: before the ratio, after the plain step, after the
/// over-relaxed one; always back in input units without the pedestal.
TEST(AcceleratedReference, StopAtEveryCall) {
    const Volume psf = AsymmetricPsf(4, 3, 5);
    const Volume observed = Observed(Scene(4, 3, 5, 20, 400), psf, 0.02f);
    for (int call = 0; call < 15; ++call) {
        SCOPED_TRACE(call);
        AcceleratedJob twin;
        twin.iterations = 3;
        twin.box = WholeBox(observed.sizes);
        twin.stopAtCall = call;
        const auto expected = gnr::ref::Accelerated(FromVolume(observed), FromVolume(psf), twin);
        ExpectFirmDecisions(expected, 1);

        Core core;
        ProgressLog log(call);
        RestorationJob job(observed, psf);
        unsigned done = 77;
        job.params.dRegularization = 1;
        job.params.uiIterations = 3;
        job.params.puiIterationsDone = &done;
        log.Attach(job.params);
        ASSERT_EQ(RunOnce(core, job), -8);
        ExpectImageNear(job.image, expected.image, ToleranceOf(expected, observed, 1));
        EXPECT_EQ(done, expected.done);
        EXPECT_EQ(done, static_cast<unsigned>(call + 1) / 5);
        EXPECT_EQ(static_cast<int>(log.Calls().size()), expected.calls);
    }
}

/// Looks over the shoulder of a run: every line search with its arguments and its answer.
class WatchedCore : public CRy3DAcceleratedLucyRichardsonTMDeconvolutionCore {
  public:
    struct Search {
        float alpha;
        float bound;
        double likelihood;
        gnr::ref::LineSearchResult twin;
    };
    std::vector<Search> searches;

  protected:
    double OptimizeAlphaByLogLikelihood(float& fAlpha, float fAlphaMax, const float* observed,
                                        const float* blurredNew, const float* blurredOld, const DFT3D* pSizes,
                                        float fC, float fN, const SRyIRect3D& rc) override {
        const auto padded = [&](const float* pf) {
            gnr::ref::PaddedVolume v(pSizes->rowLength - 2, pSizes->rows, pSizes->planes);
            std::copy_n(pf, v.values.size(), v.values.begin());
            return v;
        };
        const auto twin = gnr::ref::LineSearch(fAlpha, fAlphaMax, padded(observed), padded(blurredNew),
                                               padded(blurredOld), fC, fN, rc);
        const double likelihood =
            CRy3DAcceleratedLucyRichardsonTMDeconvolutionCore::OptimizeAlphaByLogLikelihood(
                fAlpha, fAlphaMax, observed, blurredNew, blurredOld, pSizes, fC, fN, rc);
        searches.push_back({fAlpha, fAlphaMax, likelihood, twin});
        return likelihood;
    }
};

/// Runs long enough for the stop test. Rounding grows too far for a twin of the whole run, so each line
/// search is compared on the core's own buffers, and the end with what the core's own likelihoods ask for.
TEST(AcceleratedReference, LongRunsSearchAndStopByTheRule) {
    const Volume psf = AsymmetricPsf(8, 5, 4);
    const Volume observed = Observed(Scene(8, 5, 4, 20, 400), psf, 0.02f);
    std::vector<unsigned> ends;
    for (const double ratio : {1.0007, 1.002, 1.5, 0.5}) {
        SCOPED_TRACE(ratio);
        WatchedCore core;
        RestorationJob job(observed, psf);
        unsigned done = 0;
        job.params.dRegularization = 1;
        job.params.uiIterations = 40;
        job.params.dStopRatio = ratio;
        job.params.puiIterationsDone = &done;
        ASSERT_EQ(RunOnce(core, job), 0);

        std::deque<double> history;
        unsigned expectedDone = 0;
        int compared = 0;
        for (const auto& search : core.searches) {
            ++expectedDone;
            EXPECT_EQ(search.bound >= 1.0f, true);
            if (search.twin.gainMargin > kGainMargin && search.twin.boundMargin > kBoundMargin) {
                ++compared;
                EXPECT_EQ(search.alpha, search.twin.alpha);
            }
            if (history.size() == 6) history.pop_front();
            history.push_back(search.likelihood);
            if (expectedDone < 15) continue;
            const auto visit =
                gnr::ref::VisitStopTest(history, core.searches[0].likelihood, ratio, expectedDone);
            if (visit.falls || visit.flattens) break;
        }
        EXPECT_EQ(core.searches.size(), expectedDone);
        EXPECT_EQ(done, expectedDone);
        EXPECT_GE(compared, 10);
        ends.push_back(done);
    }
    EXPECT_GT(ends[0], ends[1]);
    EXPECT_GT(ends[1], 15u);
    EXPECT_EQ(ends[2], 15u);
    EXPECT_EQ(ends[3], 40u);
}

}  // namespace
