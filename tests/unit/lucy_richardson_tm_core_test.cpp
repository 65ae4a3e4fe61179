// SPDX-License-Identifier: MIT

// The fixed-count and the automatic Richardson-Lucy core, case by case. What is equal by construction is
// compared bit for bit, at one thread count.

#include <gnr_deconvolution/cores.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "support/progress_log.h"
#include "support/ref/quality.h"
#include "support/restoration_job.h"

namespace {

using namespace gnr::test;
using Core = CRy3DLucyRichardsonTMDeconvolutionCore;
using Probe = QualityProbe<Core>;
constexpr bool kFixed = false;
constexpr bool kAutomatic = true;

class LucyRichardsonTMCore : public testing::Test {
  protected:
    struct Job : RestorationJob<> {
        Job(const Volume& observed, const Volume& spread) : RestorationJob<>(observed, spread) {
            params.dRegularization = 1;
            params.puiIterationsDone = &done;
        }
        unsigned done = 77;
    };

    /// A run of so many iterations that doesn't stop by itself; its image.
    Volume Restored(bool automatic, double strength, unsigned iterations, const Volume& image,
                    const Volume& spread) {
        Core core(automatic);
        Job job(image, spread);
        job.params.dRegularization = strength;
        job.params.uiIterations = iterations;
        job.params.dStopRatio = 1e9;
        EXPECT_EQ(RunOnce(core, job), 0);
        return job.image;
    }
    Volume Restored(bool automatic, double strength, unsigned iterations) {
        return Restored(automatic, strength, iterations, observed, psf);
    }

    const Volume psf = AsymmetricPsf(8, 5, 4);
    const Volume scene = Scene(8, 5, 4, 20, 400);
    const Volume observed = Observed(scene, psf, 0.02f);
};

// ------------------------------------------------------------------------------------------ parameters

TEST_F(LucyRichardsonTMCore, AutomaticNeedsAutomaticParameters) {
    Core core(kAutomatic);
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

TEST_F(LucyRichardsonTMCore, FixedCountTakesAnyRunParameters) {
    Core core(kFixed);
    RestorationJob<CRy3DDeconvRunParameters> plain(observed, psf);
    Job automatic(observed, psf);
    plain.params.dRegularization = 1;
    ASSERT_EQ(RunOnce(core, plain), 0);
    ASSERT_EQ(RunOnce(core, automatic), 0);
    EXPECT_TRUE(SameImage(plain.image, automatic.image));
    EXPECT_FALSE(SameImage(plain.image, observed));
}

TEST_F(LucyRichardsonTMCore, FixedCountReportsNoCount_stays) {
    Core core(kFixed);
    Job job(observed, psf);
    ASSERT_EQ(RunOnce(core, job), 0);
    EXPECT_EQ(job.done, 77u);
}

// ------------------------------------------------------------------------------------- no iterations

TEST_F(LucyRichardsonTMCore, NoIterationsLeaveTheFixedCountImageBitForBit) {
    Core core(kFixed);
    Volume image = observed;
    image.at(3, 2, 1) = -7.0f;
    image.FillPadding(kSentinel);
    Job job(image, psf);
    ProgressLog log;
    log.Attach(job.params);
    job.params.uiIterations = 0;
    ASSERT_EQ(RunOnce(core, job), 0);
    EXPECT_TRUE(SameBytes(job.image, image));
    EXPECT_TRUE(log.Calls().empty());
}

TEST_F(LucyRichardsonTMCore, NoIterationsClipTheAutomaticImageAndKeepItsScale) {
    Core core(kAutomatic);
    Volume image = observed;
    image.at(3, 2, 1) = -7.0f;
    Job job(image, psf);
    job.params.uiIterations = 0;
    ASSERT_EQ(RunOnce(core, job), 0);
    EXPECT_EQ(job.done, 0u);
    ForEachSample(psf, [&](int i, int j, int k) {
        EXPECT_FLOAT_EQ(job.image.at(i, j, k), std::max(0.0f, image.at(i, j, k)));
    });
}

// -------------------------------------------------------------------------------------- callbacks

TEST_F(LucyRichardsonTMCore, EveryIterationBeginsAndEndsOnce) {
    for (const bool automatic : {kFixed, kAutomatic}) {
        Core core(automatic);
        Job job(observed, psf);
        ProgressLog log;
        log.Attach(job.params);
        job.params.uiIterations = 3;
        ASSERT_EQ(RunOnce(core, job), 0);
        const ProgressReport begin = ReportOf(eProgressStepBegin);
        const ProgressReport end = ReportOf(eProgressStepEnd);
        EXPECT_EQ(log.Calls(), (std::vector{begin, end, begin, end, begin, end}));
        EXPECT_EQ(log.Units(), 3u);
        EXPECT_EQ(job.done, automatic ? 3u : 77u);
    }
}

/// A stop leaves what a run of the finished iterations leaves: at a begin those before, at an end that one
/// too.
TEST_F(LucyRichardsonTMCore, StopAtEveryCallCompletesTheRun) {
    for (const bool automatic : {kFixed, kAutomatic}) {
        for (int call = 0; call < 14; ++call) {
            SCOPED_TRACE(testing::Message() << (automatic ? "automatic" : "fixed") << ", call " << call);
            const auto finished = static_cast<unsigned>(call + 1) / 2;
            const TemporaryFolder folder;
            Core core(automatic);
            Probe probe(automatic);
            for (Core* each : {static_cast<Core*>(&probe), &core}) {
                Job job(observed, psf);
                ProgressLog log(call);
                log.Attach(job.params);
                job.params.uiIterations = 7;
                job.params.dStopRatio = 1e9;
                job.params.pfReference = scene.get();
                ASSERT_EQ(RunOnce(*each, job), -8);
                EXPECT_EQ(log.Calls().size(), static_cast<std::size_t>(call) + 1);
                EXPECT_TRUE(SameImage(job.image, Restored(automatic, 1, finished)));
                EXPECT_EQ(job.done, automatic ? finished : 77u);
            }
            // An iteration that was stopped at its end is counted, and not measured.
            const auto measured = static_cast<unsigned>(call) / 2;
            ASSERT_EQ(probe.logged.size(), 1u);
            EXPECT_EQ(probe.logged[0].series.size(), measured);
            EXPECT_EQ(probe.logged[0].count, automatic ? finished : 0u);
            if (measured == 0) {
                EXPECT_FALSE(folder.Diagnostic().has_value());
            } else {
                EXPECT_EQ(folder.Diagnostic(),
                          gnr::ref::QualityText(probe.logged[0].series, probe.logged[0].count));
            }
        }
    }
}

// ------------------------------------------------------------------------------------ regularisation

TEST_F(LucyRichardsonTMCore, FixedStrengthsBelowOneDoNotRegularise_stays) {
    const Volume plain = Restored(kFixed, 0, 4);
    for (const double strength : {0.5, 0.999, -0.5, -0.999}) {
        EXPECT_TRUE(SameImage(Restored(kFixed, strength, 4), plain)) << strength;
    }
    EXPECT_FALSE(SameImage(Restored(kFixed, 1, 4), plain));
    EXPECT_FALSE(SameImage(Restored(kFixed, -1, 4), plain));
}

TEST_F(LucyRichardsonTMCore, FixedStrengthsCountByTheirWholePart_stays) {
    EXPECT_TRUE(SameImage(Restored(kFixed, 10.9, 4), Restored(kFixed, 10, 4)));
    EXPECT_FALSE(SameImage(Restored(kFixed, 11, 4), Restored(kFixed, 10, 4)));
}

/// The doubled whole number is taken modulo 2^32.
TEST_F(LucyRichardsonTMCore, FixedStrengthsWrapAround_stays) {
    EXPECT_TRUE(SameImage(Restored(kFixed, 2147483648.0, 4), Restored(kFixed, 0, 4)));
    EXPECT_TRUE(SameImage(Restored(kFixed, 2147483649.0, 4), Restored(kFixed, 1, 4)));
    EXPECT_TRUE(SameImage(Restored(kFixed, -2147483647.0, 4), Restored(kFixed, 1, 4)));
    EXPECT_TRUE(SameImage(Restored(kFixed, -3, 4), Restored(kFixed, 2147483645.0, 4)));
}

TEST_F(LucyRichardsonTMCore, AStrengthThatIsNoNumberEndsWell) {
    for (const double strength :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(), 1e300}) {
        const Volume restored = Restored(kFixed, strength, 3);
        ForEachSample(
            psf, [&](int i, int j, int k) { ASSERT_TRUE(std::isfinite(restored.at(i, j, k))) << strength; });
    }
}

TEST_F(LucyRichardsonTMCore, AutomaticStrengthCountsInFullAndWithoutItsSign) {
    EXPECT_FALSE(SameImage(Restored(kAutomatic, 0.05, 3), Restored(kAutomatic, 0, 3)));
    EXPECT_TRUE(SameImage(Restored(kAutomatic, -0.3, 3), Restored(kAutomatic, 0.3, 3)));
}

/// Without a field nothing but the image columns enters; with one, automatic runs still look at image columns
/// only.
TEST_F(LucyRichardsonTMCore, HostPaddingDoesNotShow) {
    Volume padded = observed;
    padded.FillPadding(kSentinel);
    Volume spread = psf;
    spread.FillPadding(kSentinel);
    EXPECT_TRUE(SameImage(Restored(kFixed, 0, 3, padded, spread), Restored(kFixed, 0, 3)));
    EXPECT_TRUE(SameImage(Restored(kAutomatic, 2, 3, padded, spread), Restored(kAutomatic, 2, 3)));
}

// ------------------------------------------------------------------------------ scale, sign, PSF sum

/// The PSF's sum 1e-11 is below the guard: no factor, and since the sum cancels in the iteration, the result
/// is that of the PSF of sum 1. A sum of 4 is corrected each time: a quarter of that.
TEST_F(LucyRichardsonTMCore, OnlyPsfSumsFromTheGuardOnAreCorrected) {
    const Volume unit = Restored(kFixed, 0, 3);
    const Volume tiny = Restored(kFixed, 0, 3, observed, AsymmetricPsf(8, 5, 4, 1e-11));
    const Volume large = Restored(kFixed, 0, 3, observed, AsymmetricPsf(8, 5, 4, 4.0));
    const float tolerance = 1e-5f * LargestSample(unit);
    ForEachSample(psf, [&](int i, int j, int k) {
        EXPECT_NEAR(tiny.at(i, j, k), unit.at(i, j, k), tolerance);
        EXPECT_NEAR(large.at(i, j, k), unit.at(i, j, k) / 4, tolerance);
    });
}

TEST_F(LucyRichardsonTMCore, NegativeSamplesSurviveAFixedCountOnly) {
    Volume image = observed;
    image.at(3, 2, 1) = -7.0f;
    EXPECT_LT(Restored(kFixed, 0, 3, image, psf).at(3, 2, 1), 0.0f);
    const Volume clipped = Restored(kAutomatic, 0, 3, image, psf);
    ForEachSample(psf, [&](int i, int j, int k) { EXPECT_GE(clipped.at(i, j, k), 0.0f); });
}

// -------------------------------------------------------------------------------------------- auto stop

/// A threshold below any growth stops as soon as the test may: at the sixth iteration, which is carried out.
TEST_F(LucyRichardsonTMCore, TheStopTestWaitsForTheSixthIteration) {
    for (const unsigned limit : {1u, 2u, 4u, 5u, 6u, 7u, 50u}) {
        Core core(kAutomatic);
        Job job(observed, psf);
        job.params.uiIterations = limit;
        job.params.dStopRatio = -1e300;
        ASSERT_EQ(RunOnce(core, job), 0);
        EXPECT_EQ(job.done, std::min(limit, 6u));
        EXPECT_TRUE(SameImage(job.image, Restored(kAutomatic, 1, std::min(limit, 6u)))) << limit;
    }
}

TEST_F(LucyRichardsonTMCore, AFixedCountNeverStopsByItself) {
    Core core(kFixed);
    Job job(observed, psf);
    ProgressLog log;
    log.Attach(job.params);
    job.params.uiIterations = 9;
    job.params.dStopRatio = -1e300;
    ASSERT_EQ(RunOnce(core, job), 0);
    EXPECT_EQ(log.Units(), 9u);
}

/// The mean over no samples is no number, and compares with nothing.
TEST_F(LucyRichardsonTMCore, AnEmptyBoxNeverStops) {
    Core core(kAutomatic);
    Job job(observed, psf);
    job.params.rcImage = {0, 0, 0, 0, 0, 0};
    job.params.uiIterations = 9;
    job.params.dStopRatio = -1e300;
    ASSERT_EQ(RunOnce(core, job), 0);
    EXPECT_EQ(job.done, 9u);
}

// ---------------------------------------------------------------------------------------------- quality

TEST_F(LucyRichardsonTMCore, MeasuresEachIterationInInputUnits) {
    for (const bool automatic : {kFixed, kAutomatic}) {
        Probe core(automatic);
        Job job(observed, psf);
        job.params.uiIterations = 3;
        job.params.pfReference = scene.get();
        job.params.rcImage = {1, 7, 0, 4, 1, 3};
        ASSERT_EQ(RunOnce(core, job), 0);
        ASSERT_EQ(core.measured.size(), 3u);
        for (unsigned k = 0; k < 3; ++k) {
            EXPECT_EQ(core.measured[k].index, k);
            EXPECT_EQ(std::memcmp(&core.measured[k].box, &job.params.rcImage, sizeof(SRyIRect3D)), 0);
            EXPECT_EQ(core.measured[k].sizes->total, job.params.sizes.total);
            EXPECT_EQ(core.measured[k].image, job.image.get());
            EXPECT_EQ(core.measured[k].reference, scene.get());
            EXPECT_EQ(core.measured[k].scale, automatic ? LargestSample(observed) + 1e-10f : 1.0f);
        }
        ASSERT_EQ(core.logged.size(), 1u);
        EXPECT_EQ(core.logged[0].count, automatic ? 3u : 0u);
    }
}

TEST_F(LucyRichardsonTMCore, AFixedCountEmptiesTheDiagnosticFile_stays) {
    const TemporaryFolder folder;
    folder.WriteDiagnostic("1.000000\n2.000000");
    Core core(kFixed);
    Job job(observed, psf);
    job.params.uiIterations = 3;
    job.params.pfReference = scene.get();
    ASSERT_EQ(RunOnce(core, job), 0);
    EXPECT_EQ(folder.Diagnostic(), "");
}

/// The iteration that the stop made the last carries the index limit - 1, beyond the count, and leaves a line
/// end only.
TEST_F(LucyRichardsonTMCore, TheLastValueOfAnAutomaticStopIsNotWritten_stays) {
    const TemporaryFolder folder;
    Core core(kAutomatic);
    Probe probe(kAutomatic);
    for (Core* each : {static_cast<Core*>(&probe), &core}) {
        Job job(observed, psf);
        job.params.uiIterations = 100;
        job.params.dStopRatio = -1e300;
        job.params.pfReference = scene.get();
        ASSERT_EQ(RunOnce(*each, job), 0);
        EXPECT_EQ(job.done, 6u);
    }
    ASSERT_EQ(probe.measured.size(), 6u);
    EXPECT_EQ(probe.measured[4].index, 4u);
    EXPECT_EQ(probe.measured[5].index, 99u);
    const std::string text = folder.Diagnostic().value_or("no file");
    EXPECT_EQ(text, gnr::ref::QualityText(probe.logged.at(0).series, 6));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 6);
    EXPECT_EQ(text.substr(text.size() - 2), "\n\n");
}

}  // namespace
