// SPDX-License-Identifier: MIT

// The blind core against its double-precision twin: whole runs, both sides of the guard and of the stop test,
// the comparison with a truth, a stop at every progress call, threads 1, 2 and 5.

#include <gtest/gtest.h>

#include <cmath>
#include <ostream>

#include "support/ref/blind_calls.h"

namespace {

using namespace gnr::test;
using gnr::ref::BlindCore;
using gnr::ref::BlindHost;
using gnr::ref::BlindJob;
using gnr::ref::FromVolume;

struct Case {
    const char* name;
    unsigned iterations;
    int innerSetting;
    float stopE8 = -1.0f;
    double psfSum = 1.0;
    bool unguarded = false;
    int guardSetting = 0;
    int x = 6, y = 5, z = 4;

    friend std::ostream& operator<<(std::ostream& out, const Case& c) { return out << c.name; }
};

Volume MakeObserved(int x, int y, int z, float dark = 20, unsigned seed = 11) {
    return Observed(Scene(x, y, z, dark, 400, seed), AsymmetricPsf(x, y, z), 0.02f);
}

BlindJob Job(unsigned iterations, int innerSetting, float stopE8 = -1.0f, BlindHost host = {}) {
    BlindJob job;
    job.iterations = iterations;
    job.innerSetting = innerSetting;
    job.stopE8 = stopE8;
    job.host = std::move(host);
    return job;
}

void Compare(const Volume& observed, const Volume& guess, const BlindJob& job,
             const std::vector<int>& threadCounts = {2}) {
    const BlindExpectation expected = ExpectBlind(&BlindCore, observed, guess, job);
    for (const int threads : threadCounts) {
        SCOPED_TRACE(threads);
        const ThreadCount scope(threads);
        BlindCall call(observed, guess, job);
        CRy3DBlindDeconvolutionCore core;
        const int code = call.Run(core);
        ExpectSameRun(call, code, expected);
    }
}

class BlindCoreCases : public testing::TestWithParam<Case> {};

TEST_P(BlindCoreCases, WholeRun) {
    const Case& c = GetParam();
    BlindJob job = Job(c.iterations, c.innerSetting, c.stopE8);
    job.unguarded = c.unguarded;
    job.guardSetting = c.guardSetting;
    Compare(MakeObserved(c.x, c.y, c.z), AsymmetricPsf(c.x, c.y, c.z, c.psfSum, 0.9), job, {1, 2, 5});
}

INSTANTIATE_TEST_SUITE_P(
    Cases, BlindCoreCases,
    testing::Values(Case{"none", 0, 0}, Case{"one of one", 1, 0}, Case{"two of one", 2, 0},
                    Case{"three of one", 3, 0}, Case{"ten of one", 10, 0}, Case{"eleven of one", 11, 0},
                    Case{"one of ten", 1, 1}, Case{"ten of ten", 10, 1}, Case{"eleven of ten", 11, 1},
                    Case{"21 of ten", 21, 1}, Case{"33 of ten", 33, 1}, Case{"25 of twenty", 25, 2},
                    Case{"41 of twenty", 41, -1}, Case{"unguarded", 9, 0, -1.0f, 1.0, true},
                    Case{"unguarded, of ten", 33, 1, -1.0f, 1.2, true}, Case{"test at 0", 9, 1, 0.0f},
                    Case{"test at 0, of one", 9, 0, 0.0f}, Case{"PSF sum 1.7", 7, 0, -1.0f, 1.7},
                    Case{"PSF sum 0.4, of ten", 25, 1, -1.0f, 0.4}, Case{"PSF sum -2", 5, 0, -1.0f, -2.0},
                    Case{"odd sides", 7, 0, -1.0f, 1.2, false, 1, 4, 7, 3},
                    Case{"one plane", 7, 0, -1.0f, 1.0, false, 7, 6, 5, 1}));

// ------------------------------------------------------------------------------------------------- the guard

/// Peaks that leave one tolerance and not the other; thresholds 0.8 for 0 and 7, 0.3 for the rest.
TEST(BlindCoreGuard, BothTolerances) {
    const Volume guess = AsymmetricPsf(6, 5, 4, 1.0, 1.6);
    const Volume observed = MakeObserved(6, 5, 4);
    int followed = 0;
    int frozen = 0;
    for (const int guardSetting : {0, 7, 1, -1, 8}) {
        for (const int innerSetting : {0, 1}) {
            BlindJob job = Job(innerSetting == 0 ? 13 : 61, innerSetting);
            job.guardSetting = guardSetting;
            SCOPED_TRACE(guardSetting);
            const auto probe = BlindCore(FromVolume(observed), FromVolume(guess), job);
            for (const auto& visit : probe.guard) {
                (visit.follows ? followed : frozen) += 1;
            }
            Compare(observed, guess, job);
        }
    }
    EXPECT_GT(followed, 5);
    EXPECT_GT(frozen, 1);
}

/// A peak that comes back within the tolerance thaws the data.
TEST(BlindCoreGuard, FrozenDataThaw) {
    const Volume observed = MakeObserved(4, 3, 5, 300, 794);
    const Volume guess = AsymmetricPsf(4, 3, 5, 1.37, 1.39);
    BlindJob job = Job(81, 1);
    job.guardSetting = 1;
    const auto probe = BlindCore(FromVolume(observed), FromVolume(guess), job);
    std::vector<bool> follows;
    for (const auto& visit : probe.guard) follows.push_back(visit.follows);
    EXPECT_EQ(follows, (std::vector<bool>{true, false, true, false, false}));
    Compare(observed, guess, job, {1, 2, 5});
}

/// No positive peak, no logarithm: the data stay the observed ones from the first pass on.
TEST(BlindCoreGuard, NegativeImagesAreNeverFollowed) {
    Volume observed = MakeObserved(6, 5, 4);
    observed.Fill([&](int i, int j, int k) { return -observed.at(i, j, k); });
    const Volume guess = AsymmetricPsf(6, 5, 4, 1.0, 0.9);
    const BlindJob job = Job(7, 0);
    const auto probe = BlindCore(FromVolume(observed), FromVolume(guess), job);
    ASSERT_FALSE(probe.guard.empty());
    for (const auto& visit : probe.guard) EXPECT_FALSE(visit.follows);
    Compare(observed, guess, job);
    BlindJob unguarded = job;
    unguarded.unguarded = true;
    BlindCall guardedRun(observed, guess, job);
    BlindCall unguardedRun(observed, guess, unguarded);
    CRy3DBlindDeconvolutionCore core;
    const ThreadCount scope(1);
    guardedRun.Run(core);
    unguardedRun.Run(core);
    EXPECT_TRUE(SameImage(guardedRun.image, unguardedRun.image));
    EXPECT_TRUE(SameImage(guardedRun.psf, unguardedRun.psf));
}

/// Peaks of zero: minus infinity from minus infinity is no number, and no number is below the tolerance.
TEST(BlindCoreGuard, AnImageOfZerosStaysZero) {
    Volume observed = MakeObserved(6, 5, 4);
    observed.Fill([](int, int, int) { return 0; });
    BlindCall run(observed, AsymmetricPsf(6, 5, 4), Job(5, 0));
    CRy3DBlindDeconvolutionCore core;
    EXPECT_EQ(run.Run(core), 0);
    EXPECT_TRUE(AllSamplesAre(run.image, 0));
    EXPECT_TRUE(AllSamplesAre(run.psf, 0));
}

// --------------------------------------------------------------------------------------------- stop tests

TEST(BlindCoreStop, BothSidesOfEveryEnergy) {
    const Volume observed = MakeObserved(4, 3, 5);
    const Volume guess = AsymmetricPsf(4, 3, 5, 1.0, 1.3);
    const auto probe = BlindCore(FromVolume(observed), FromVolume(guess), Job(25, 1, 0.0f));
    std::vector<std::vector<unsigned>> counts;
    const std::size_t most = std::min<std::size_t>(probe.trace.energies.size(), 14);
    ASSERT_GT(most, 10u);
    for (std::size_t n = 0; n < most; ++n) {
        for (const double side : {0.998, 1.003}) {
            const BlindJob job = Job(25, 1, static_cast<float>(probe.trace.energies[n] * side));
            SCOPED_TRACE(job.stopE8);
            counts.push_back(BlindCore(FromVolume(observed), FromVolume(guess), job).counts);
            Compare(observed, guess, job);
        }
    }
    std::sort(counts.begin(), counts.end());
    EXPECT_GE(std::unique(counts.begin(), counts.end()) - counts.begin(), 4);
}

/// A stop answered once, or from some call on, at every call of a run.
void StopAtEveryCall(const BlindJob& settings, int step) {
    const Volume observed = MakeObserved(4, 3, 5, 200);
    const Volume guess = AsymmetricPsf(4, 3, 5, 1.2, 0.9);
    const auto whole = BlindCore(FromVolume(observed), FromVolume(guess), settings);
    for (const bool persists : {false, true}) {
        SCOPED_TRACE(persists ? "for good" : "once");
        for (int call = 0; call <= static_cast<int>(whole.calls.size()); call += step) {
            SCOPED_TRACE(call);
            BlindJob job = settings;
            job.host = {call, persists};
            Compare(observed, guess, job);
        }
    }
}

TEST(BlindCoreStop, AtEveryCallEndingOnTheImage) {
    StopAtEveryCall(Job(5, 0), 1);
}

TEST(BlindCoreStop, AtEveryCallEndingOnThePsf) {
    StopAtEveryCall(Job(4, 0), 1);
}

TEST(BlindCoreStop, AtEveryCallOfAcceleratedPasses) {
    StopAtEveryCall(Job(21, 1), 5);
}

TEST(BlindCoreStop, AtEveryCallOfTestedPasses) {
    StopAtEveryCall(Job(5, 1, 0.0f), 3);
}

/// Zeros and negatives in the data.
TEST(BlindCoreReference, ZerosAndNegatives) {
    for (const int innerSetting : {0, 1}) {
        for (const float factor : {0.0f, -0.5f}) {
            Volume observed = MakeObserved(6, 5, 4, 200);
            observed.Fill([&](int i, int j, int k) {
                return observed.at(i, j, k) * ((i + 2 * j + 3 * k) % 13 == 5 ? factor : 1.0f);
            });
            SCOPED_TRACE(factor);
            Compare(observed, AsymmetricPsf(6, 5, 4, 1.3, factor < 0 ? 0.35 : 0.7),
                    Job(innerSetting == 0 ? 7 : 21, innerSetting));
        }
    }
}

// ------------------------------------------------------------------------------------------------- quality

/// Index, scale and distance of every comparison with a truth, and the count of the log; a stop keeps what
/// was measured before.
void CompareQuality(const Volume& observed, const Volume& guess, const Volume& truth, BlindJob job) {
    const gnr::ref::PaddedVolume ideal = FromVolume(truth);
    job.truth = &ideal;
    const BlindExpectation expected = ExpectBlind(&BlindCore, observed, guess, job);
    BlindCall call(observed, guess, job);
    QualityProbe<CRy3DBlindDeconvolutionCore> core;
    EXPECT_EQ(call.Run(core, &truth), expected.run.code);
    EXPECT_TRUE(SameCalls(call.calls(), expected.run.calls));
    ASSERT_EQ(core.measured.size(), expected.run.quality.size());
    for (std::size_t n = 0; n < core.measured.size(); ++n) {
        SCOPED_TRACE(n);
        EXPECT_EQ(core.measured[n].index, expected.run.quality[n].first);
        const double scale = expected.run.qualityScales[n];
        EXPECT_NEAR(core.measured[n].scale, scale, kDecisionMargin * scale);
        EXPECT_EQ(core.measured[n].image, call.image.get());
        EXPECT_EQ(core.measured[n].reference, truth.get());
        EXPECT_EQ(core.measured[n].box.iMinX, job.box.iMinX);
        EXPECT_EQ(core.measured[n].box.iMaxZ, job.box.iMaxZ);
    }
    ASSERT_EQ(core.logged.size(), 1u);
    EXPECT_EQ(core.logged[0].count, job.iterations);
    ASSERT_EQ(core.logged[0].series.size(), expected.run.quality.size());
    for (std::size_t n = 0; n < core.logged[0].series.size(); ++n) {
        const auto& [index, distance] = expected.run.quality[n];
        EXPECT_EQ(core.logged[0].series[n].first, index);
        EXPECT_NEAR(core.logged[0].series[n].second, distance, kDecisionMargin * distance);
    }
}

TEST(BlindCoreQuality, BelowThirtyTheScaleIsOne) {
    const Volume truth = Scene(6, 5, 4, 20, 400);
    const Volume observed = MakeObserved(6, 5, 4);
    for (const auto& [iterations, innerSetting] : {std::pair(7u, 0), std::pair(8u, 0), std::pair(45u, 1)}) {
        BlindJob job = Job(iterations, innerSetting);
        job.box = {1, 6, 0, 4, 1, 4};
        job.truthSum = 3.5;
        CompareQuality(observed, AsymmetricPsf(6, 5, 4, 1.0, 0.9), truth, job);
    }
}

/// The block begins at column and row 30 wherever the box lies, is centred in z, and is cut by the volume. It
/// may reach into the padding, which therefore is zero here and stays so.
TEST(BlindCoreQuality, ScaledByTheBlockAtThirty) {
    const Volume truth = Scene(32, 33, 3, 20, 400);
    Volume observed = Observed(truth, AsymmetricPsf(32, 33, 3), 0.02f);
    observed.FillPadding(0);
    for (const SRyIRect3D& box :
         {SRyIRect3D{0, 32, 0, 33, 0, 3}, SRyIRect3D{3, 6, 5, 7, 0, 1}, SRyIRect3D{2, 3, 1, 2, 1, 3}}) {
        BlindJob job = Job(5, 0);
        job.box = box;
        job.truthSum = 250;
        CompareQuality(observed, AsymmetricPsf(32, 33, 3, 1.0, 0.9), truth, job);
    }
}

TEST(BlindCoreQuality, KeptAcrossAStop) {
    const Volume truth = Scene(4, 3, 5, 20, 400);
    const Volume observed = MakeObserved(4, 3, 5);
    BlindJob job = Job(5, 0);
    job.box = WholeBox(observed.sizes);
    const Volume guess = AsymmetricPsf(4, 3, 5, 1.0, 0.9);
    const auto whole = BlindCore(FromVolume(observed), FromVolume(guess), job);
    for (int call = 0; call < static_cast<int>(whole.calls.size()); ++call) {
        SCOPED_TRACE(call);
        job.host = {call, false};
        CompareQuality(observed, guess, truth, job);
    }
}

TEST(BlindCoreReference, NobodyNeedsToListen) {
    const Volume observed = MakeObserved(6, 5, 4);
    const Volume guess = AsymmetricPsf(6, 5, 4, 1.2, 0.9);
    const ThreadCount scope(1);
    for (const bool listens : {true, false}) {
        RestorationJob<CRy3DBlindDeconvRunParameters> silent(observed, guess);
        silent.params.uiIterations = 15;
        silent.params.iBlindInnerSetting = 1;
        silent.params.fBlindValue = -1;
        StoppingHost host({});
        if (listens) silent.params.pfnProgress = &StoppingHost::Record;
        silent.params.pProgressData = &host;
        CRy3DBlindDeconvolutionCore core;
        EXPECT_EQ(RunOnce(core, silent), 0);
        EXPECT_EQ(host.log.Calls().empty(), !listens);
        BlindCall call(observed, guess, Job(15, 1));
        EXPECT_EQ(call.Run(core), 0);
        EXPECT_TRUE(SameImage(silent.image, call.image));
        EXPECT_TRUE(SameImage(silent.psf, call.psf));
    }
}

/// A second run starts from the host's buffers as they stand, with nothing left of the first.
TEST(BlindCoreReference, ASecondRunGoesOnFromImageAndPsf) {
    const Volume observed = MakeObserved(6, 5, 4);
    const Volume guess = AsymmetricPsf(6, 5, 4, 1.2, 0.9);
    for (const auto& [iterations, innerSetting] : {std::pair(3u, 0), std::pair(15u, 1)}) {
        const BlindJob job = Job(iterations, innerSetting);
        const auto twice = [](const gnr::ref::PaddedVolume& image, const gnr::ref::PaddedVolume& psf,
                              const BlindJob& settings) {
            const auto first = BlindCore(image, psf, settings);
            return BlindCore(first.image, first.psf, settings);
        };
        const BlindExpectation expected = ExpectBlind(twice, observed, guess, job);
        BlindCall first(observed, guess, job);
        CRy3DBlindDeconvolutionCore core;
        first.Run(core);
        BlindCall second(first.image, first.psf, job);
        const int code = second.Run(core);
        ExpectSameRun(second, code, expected);
    }
}

}  // namespace
