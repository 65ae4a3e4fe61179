// SPDX-License-Identifier: MIT

// Runs of the accelerated Richardson-Lucy core, case by case: codes, callbacks, stops, pedestal, Wiener
// start, bound and over-relaxation, quality. Where the line search is scripted, results are told float by
// float.

#include <gnr_deconvolution/cores.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "support/progress_log.h"
#include "support/ref/accelerated.h"
#include "support/restoration_job.h"
#include "support/scripted_core.h"

namespace {

using namespace gnr::test;
using Core = CRy3DAcceleratedLucyRichardsonTMDeconvolutionCore;
using Probe = QualityProbe<Core>;

class AcceleratedCore : public testing::Test {
  protected:
    struct Job : RestorationJob<> {
        Job(const Volume& observed, const Volume& spread, unsigned iterations)
            : RestorationJob<>(observed, spread) {
            params.dRegularization = 1;
            params.uiIterations = iterations;
            params.puiIterationsDone = &done;
        }
        unsigned done = 77;
    };

    const Volume psf = AsymmetricPsf(8, 5, 4);
    const Volume scene = Scene(8, 5, 4, 20, 400);
    const Volume observed = Observed(scene, psf, 0.02f);
};

TEST_F(AcceleratedCore, NeedsAutomaticParameters) {
    Core core;
    RestorationJob<CRy3DDeconvRunParameters> plain(observed, psf);
    RestorationJob<CRy3DBlindDeconvRunParameters> blind(observed, psf);
    ProgressLog log;
    log.Attach(plain.params);
    ASSERT_EQ(core.Prepare(plain.Ptr()), 0);
    EXPECT_EQ(core.Run(plain.Ptr()), -4);
    EXPECT_EQ(core.Run(blind.Ptr()), -4);
    EXPECT_TRUE(SameBytes(plain.image, observed));
    EXPECT_TRUE(SameBytes(blind.image, observed));
    EXPECT_TRUE(log.Calls().empty());
    EXPECT_EQ(static_cast<int>(plain.params.iRefCount), 1);
}

TEST_F(AcceleratedCore, NoIterationsGiveTheImageBackClipped) {
    Core core;
    Volume image = observed;
    image.at(3, 2, 1) = -7.0f;
    Job job(image, psf, 0);
    ProgressLog log;
    log.Attach(job.params);
    ASSERT_EQ(RunOnce(core, job), 0);
    EXPECT_EQ(job.done, 0u);
    EXPECT_TRUE(log.Calls().empty());
    const float tolerance = 1e-6f * LargestSample(image);
    ForEachSample(psf, [&](int i, int j, int k) {
        EXPECT_NEAR(job.image.at(i, j, k), std::max(0.0f, image.at(i, j, k)), tolerance);
    });
}

TEST_F(AcceleratedCore, EveryIterationBeginsPollsThreeTimesAndEnds) {
    Core core;
    Job job(observed, psf, 2);
    ProgressLog log;
    log.Attach(job.params);
    ASSERT_EQ(RunOnce(core, job), 0);
    std::vector<ProgressReport> expected;
    for (int k = 0; k < 2; ++k) {
        for (const auto phase :
             {eProgressStepBegin, eProgressPoll, eProgressPoll, eProgressPoll, eProgressStepEnd}) {
            expected.push_back(ReportOf(phase));
        }
    }
    EXPECT_EQ(log.Calls(), expected);
    EXPECT_EQ(job.done, 2u);
}

/// A stop at a begin, or at a poll before the plain step, leaves what a run of the finished iterations
/// leaves; so does one at an end, with its own iteration counted. Only the last poll comes after the plain
/// step.
TEST_F(AcceleratedCore, StopAtEveryCallCompletesTheRun) {
    for (int call = 0; call < 20; ++call) {
        SCOPED_TRACE(call);
        const auto finished = static_cast<unsigned>(call + 1) / 5;
        const auto measured = static_cast<unsigned>(call) / 5;
        const TemporaryFolder folder;
        Core core;
        Probe probe;
        Job shorter(observed, psf, finished);
        ASSERT_EQ(RunOnce(core, shorter), 0);
        for (Core* each : {static_cast<Core*>(&probe), &core}) {
            Job job(observed, psf, 4);
            ProgressLog log(call);
            log.Attach(job.params);
            job.params.pfReference = scene.get();
            ASSERT_EQ(RunOnce(*each, job), -8);
            EXPECT_EQ(log.Calls().size(), static_cast<std::size_t>(call) + 1);
            EXPECT_EQ(job.done, finished);
            EXPECT_EQ(SameImage(job.image, shorter.image), call % 5 != 3);
        }
        ASSERT_EQ(probe.logged.size(), 1u);
        EXPECT_EQ(probe.logged[0].series.size(), measured);
        EXPECT_EQ(probe.logged[0].count, finished);
        if (measured == 0) {
            EXPECT_FALSE(folder.Diagnostic().has_value());
        } else {
            EXPECT_EQ(folder.Diagnostic(), gnr::ref::QualityText(probe.logged[0].series, finished));
        }
    }
}

TEST_F(AcceleratedCore, TheLineSearchIsAskedThroughItsSlot) {
    ScriptedCore core;
    Job job(observed, psf, 3);
    job.params.dRegularization = 2.5;
    job.params.rcImage = {1, 7, 0, 4, 1, 3};
    ASSERT_EQ(RunOnce(core, job), 0);
    ASSERT_EQ(core.asked.size(), 3u);
    for (const auto& asked : core.asked) {
        EXPECT_EQ(asked.alpha, 1.0f);
        EXPECT_EQ(asked.c, -0.08f);
        EXPECT_EQ(asked.N, 2.5f);
        EXPECT_EQ(asked.total, job.params.sizes.total);
        EXPECT_EQ(std::memcmp(&asked.box, &job.params.rcImage, sizeof(SRyIRect3D)), 0);
        EXPECT_EQ(asked.observed, core.asked[0].observed);
        EXPECT_NE(asked.buffers[0], asked.buffers[1]);
        EXPECT_NE(asked.buffers[1], asked.buffers[2]);
    }
    EXPECT_EQ(core.asked[0].bound, 1.0f);
    EXPECT_GE(core.asked[1].bound, 1.0f);
}

/// Watches the host's image at the calls: the estimate at a begin, the plain step at the third poll, the
/// over-relaxed one at an end. Bound and step follow from them float by float.
TEST_F(AcceleratedCore, BoundAndOverRelaxationSampleBySample) {
    for (const float alpha : {0.0f, 1.0f, 2.0f, 3.5f, 1000.0f}) {
        SCOPED_TRACE(alpha);
        ScriptedCore core;
        core.script = [&](std::size_t n) { return std::pair(n == 1 ? alpha : 1.5f, 0.0); };
        Job job(observed, psf, 4);
        ProgressLog log;
        log.Attach(job.params);
        Volume previous(8, 5, 4);
        Volume plain(8, 5, 4);
        log.onCall = [&](const ProgressReport& call) {
            const std::size_t n = log.Calls().size() - 1;
            if (call.phase == eProgressStepBegin) previous = job.image;
            if (n % 5 == 3) plain = job.image;
            if (call.phase != eProgressStepEnd) return;
            const std::size_t k = n / 5;
            const float step = k == 1 ? alpha : 1.5f;
            float bound = k == 0 ? 1.0f : std::numeric_limits<float>::max();
            ForEachSample(psf, [&](int x, int y, int z) {
                const float d = plain.at(x, y, z) - previous.at(x, y, z);
                if (k > 0 && d < 0 && plain.at(x, y, z) > 1e-30f) {
                    bound = std::min(bound, -previous.at(x, y, z) / d);
                }
                const float relaxed = plain.at(x, y, z) + (step - 1) * d;
                ASSERT_EQ(job.image.at(x, y, z), std::max(0.0f, relaxed)) << k;
            });
            EXPECT_EQ(core.asked[k].bound, bound) << k;
        };
        ASSERT_EQ(RunOnce(core, job), 0);
        EXPECT_EQ(core.asked.size(), 4u);
    }
}

TEST_F(AcceleratedCore, OneIterationIsOnePlainStep) {
    ScriptedCore scripted;
    Core core;
    Job plain(observed, psf, 1);
    Job searched(observed, psf, 1);
    ASSERT_EQ(RunOnce(scripted, plain), 0);
    ASSERT_EQ(RunOnce(core, searched), 0);
    EXPECT_TRUE(SameImage(plain.image, searched.image));
    EXPECT_EQ(searched.done, 1u);
}

// ------------------------------------------------------------------------------------------ pedestal

class Pedestal : public AcceleratedCore {
  protected:
    /// The observed data of the first line search, in input units: image + pedestal, over its mean.
    void ExpectObserved(const Volume& image, float pedestal) {
        ScriptedCore core;
        Job job(image, psf, 1);
        ASSERT_EQ(RunOnce(core, job), 0);
        double mean = 0;
        ForEachSample(psf, [&](int i, int j, int k) { mean += (image.at(i, j, k) + pedestal) / 160.0; });
        ForEachSample(psf, [&](int i, int j, int k) {
            const auto n = static_cast<std::size_t>((k * 5 + j) * 10 + i);
            const double expected = (image.at(i, j, k) + pedestal) / mean;
            ASSERT_NEAR(core.asked.at(0).observed[n], expected, 1e-6 * (1 + expected));
        });
    }
    static Volume Ramp(float from, float to, float padding) {
        Volume v(8, 5, 4);
        v.Fill([&](int i, int j, int k) {
            return from + (to - from) * static_cast<float>((k * 5 + j) * 8 + i) / 159;
        });
        v.FillPadding(padding);
        return v;
    }
};

TEST_F(Pedestal, NoneForAFlatImage) {
    ExpectObserved(Ramp(7, 7, 7), 0);
}
TEST_F(Pedestal, NoneFromAFortiethOfTheRangeOn) {
    ExpectObserved(Ramp(100, 500, 300), 0);
    ExpectObserved(Ramp(11, 411, 300), 0);
}
TEST_F(Pedestal, LiftsTheDarkestSampleToAFortiethOfTheRange) {
    ExpectObserved(Ramp(0, 400, 100), 10);
    ExpectObserved(Ramp(9, 409, 100), 1);
    ExpectObserved(Ramp(-30, 370, 100), 40);
}
TEST_F(Pedestal, LiftsByTwentyAtMost) {
    ExpectObserved(Ramp(0, 2000, 100), 20);
    ExpectObserved(Ramp(-5, 1995, 100), 25);
}
TEST_F(Pedestal, PaddingTakesPartInTheScan_stays) {
    ExpectObserved(Ramp(100, 500, 0), 12.5f);
    ExpectObserved(Ramp(15, 415, 1e6f), 5);
}

TEST_F(Pedestal, AFlatNegativeImageComesBackAsZeros) {
    Core core;
    Job job(Ramp(-7, -7, -7), psf, 2);
    ASSERT_EQ(RunOnce(core, job), 0);
    EXPECT_TRUE(AllSamplesAre(job.image, 0.0f));
}

TEST_F(Pedestal, AFlatImageStays) {
    Core core;
    Job job(Ramp(7, 7, 7), psf, 1);
    ASSERT_EQ(RunOnce(core, job), 0);
    ForEachSample(psf, [&](int i, int j, int k) { EXPECT_NEAR(job.image.at(i, j, k), 7, 1e-5); });
}

TEST_F(Pedestal, ItIsTakenOffAgainAndTheResultCutAtZero) {
    Core core;
    Job job(Ramp(0, 2000, 0), ImpulsePsf(8, 5, 4), 1);
    ASSERT_EQ(RunOnce(core, job), 0);
    const Volume before = Ramp(0, 2000, 0);
    ForEachSample(psf, [&](int i, int j, int k) {
        EXPECT_NEAR(job.image.at(i, j, k), before.at(i, j, k), 2e-3);
        EXPECT_GE(job.image.at(i, j, k), 0.0f);
    });
}

// -------------------------------------------------------------------------------------- Wiener start

TEST_F(AcceleratedCore, WienerStartKeepsTheMeasuredDataAndGivesThePsfBack) {
    ScriptedCore with;
    ScriptedCore without;
    Job filtered(observed, psf, 1);
    Job plain(observed, psf, 1);
    filtered.params.bWienerStart = true;
    ASSERT_EQ(RunOnce(with, filtered), 0);
    ASSERT_EQ(RunOnce(without, plain), 0);
    EXPECT_FALSE(SameImage(filtered.image, plain.image));
    for (std::size_t n = 0; n < 200; ++n) {
        if (n % 10 < 8) {
            EXPECT_EQ(with.asked.at(0).observed[n], without.asked.at(0).observed[n]);
        }
    }
    ForEachSample(psf,
                  [&](int i, int j, int k) { EXPECT_NEAR(filtered.psf.at(i, j, k), psf.at(i, j, k), 1e-6); });
}

TEST_F(AcceleratedCore, WienerStartByItselfRestoresAndIsCutAtZero) {
    Core core;
    Job job(observed, psf, 0);
    job.params.bWienerStart = true;
    ASSERT_EQ(RunOnce(core, job), 0);
    double before = 0;
    double after = 0;
    ForEachSample(psf, [&](int i, int j, int k) {
        before += std::pow(observed.at(i, j, k) - scene.at(i, j, k), 2);
        after += std::pow(job.image.at(i, j, k) - scene.at(i, j, k), 2);
        EXPECT_GE(job.image.at(i, j, k), 0.0f);
    });
    EXPECT_LT(after, before / 4);
}

// ------------------------------------------------------------------------------------------ quality

TEST_F(AcceleratedCore, MeasuresEachIterationInUnitsOfTheLiftedImage) {
    Probe core;
    Job job(observed, psf, 3);
    job.params.pfReference = scene.get();
    job.params.rcImage = {1, 7, 0, 4, 1, 3};
    ASSERT_EQ(RunOnce(core, job), 0);
    ASSERT_EQ(core.measured.size(), 3u);
    double mean = 0;
    const auto padded = gnr::ref::FromVolume(observed);
    mean = SumOfImageColumns(padded) / 160 + gnr::ref::Pedestal(padded);
    for (unsigned k = 0; k < 3; ++k) {
        EXPECT_EQ(core.measured[k].index, k);
        EXPECT_EQ(core.measured[k].image, job.image.get());
        EXPECT_EQ(core.measured[k].reference, scene.get());
        EXPECT_EQ(std::memcmp(&core.measured[k].box, &job.params.rcImage, sizeof(SRyIRect3D)), 0);
        EXPECT_NEAR(core.measured[k].scale, mean, 1e-6 * mean);
    }
    ASSERT_EQ(core.logged.size(), 1u);
    EXPECT_EQ(core.logged[0].count, 3u);
}

TEST_F(AcceleratedCore, TheDiagnosticFileHoldsALineAnIteration) {
    const TemporaryFolder folder;
    Probe probe;
    Core core;
    for (Core* each : {static_cast<Core*>(&probe), &core}) {
        Job job(observed, psf, 3);
        job.params.pfReference = scene.get();
        ASSERT_EQ(RunOnce(*each, job), 0);
    }
    const std::string text = folder.Diagnostic().value_or("no file");
    EXPECT_EQ(text, gnr::ref::QualityText(probe.logged.at(0).series, 3));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2);
}

}  // namespace
