// SPDX-License-Identifier: MIT

// What one Landweber iteration of the core does, where it can be told in closed form: momentum, step length,
// shrinkage of constant images, correction of the PSF sum, clamp and stop test.

#include <gnr_deconvolution/cores.h>
#include <gtest/gtest.h>

#include <cmath>
#include <optional>

#include "support/ref/landweber_runs.h"

namespace {

using namespace gnr::test;
using Core = CRy3DLandweberDeconvolutionCore;

/// A box without samples has no mean divergence, and no number stops nothing.
constexpr SRyIRect3D kNowhere = {0, 0, 0, 0, 0, 0};

/// Image after a run of the core.
struct Outcome {
    Volume image;
    unsigned done;
};

struct Settings {
    bool automatic = false;
    double strength = 0;
    unsigned iterations = 1;
    double scale = 1;
    double stopRatio = 1e9;
    std::optional<SRyIRect3D> box = {};  ///< none: the whole volume
};

Outcome Restore(const Volume& observed, const Volume& psf, const Settings& settings) {
    Core core(settings.automatic);
    RestorationJob job(observed, psf);
    unsigned done = 77;
    job.params.dRegularization = settings.strength;
    job.params.uiIterations = settings.iterations;
    job.params.dScale = settings.scale;
    job.params.dStopRatio = settings.stopRatio;
    if (settings.box) job.params.rcImage = *settings.box;
    job.params.puiIterationsDone = &done;
    EXPECT_EQ(RunOnce(core, job), 0);
    return {job.image, done};
}

Volume ConstantImage(int x, int y, int z, float value) {
    return Volume(x, y, z).Fill([&](int, int, int) { return value; });
}

void ExpectConstant(const Volume& image, double value, double tolerance) {
    ForEachSample(image, [&](int i, int j, int k) { ASSERT_NEAR(image.at(i, j, k), value, tolerance); });
}

double Threshold(double strength) {
    return std::pow(2 * strength, 1.4) * 0.04;
}

/// In both modes: with momentum, and automatic.
class LandweberSteps : public testing::TestWithParam<bool> {
  protected:
    bool Automatic() const { return GetParam(); }
    const Volume psf = AsymmetricPsf(8, 4, 16);
    const Volume observed = Observed(Scene(8, 4, 16, 20, 400), psf, 0.02f);
};

INSTANTIATE_TEST_SUITE_P(Modes, LandweberSteps, testing::Bool(),
                         [](const auto& mode) { return mode.param ? "Automatic" : "Momentum"; });

// ----------------------------------------------------------------------------------------------- iterations

TEST_P(LandweberSteps, NoIterationsLeaveEveryByte) {
    Volume image = observed;
    image.FillPadding(-kSentinel);
    image.at(1, 1, 1) = -5;
    const Outcome out = Restore(image, psf, {.automatic = Automatic(), .strength = 10, .iterations = 0});
    EXPECT_TRUE(SameBytes(out.image, image));
    EXPECT_EQ(out.done, Automatic() ? 0u : 77u);
}

/// The count is compared as a signed number.
TEST_P(LandweberSteps, CountsAboveTheSignedRangeAreNone_stays) {
    for (const unsigned count : {0x80000000u, 0xFFFFFFFFu}) {
        const Outcome out =
            Restore(observed, psf, {.automatic = Automatic(), .strength = 10, .iterations = count});
        EXPECT_TRUE(SameBytes(out.image, observed));
        EXPECT_EQ(out.done, Automatic() ? 0u : 77u);
    }
}

/// A PSF of one high sample: each sample goes its own way, told by a scalar recursion.
TEST_P(LandweberSteps, EverySampleFollowsTheRecursion) {
    for (const float height : {1.1f, 0.8f, 1.0f}) {
        Volume image = Scene(6, 4, 5, 20, 400);
        image.at(2, 2, 2) = -30;
        for (const unsigned iterations : {1u, 2u, 3u, 10u, 25u}) {
            const Outcome out =
                Restore(image, HighImpulse(6, 4, 5, height),
                        {.automatic = Automatic(), .iterations = iterations, .box = kNowhere});
            const auto expected = [&](double g) {
                double y = g;
                double x = g;
                double t = 1;
                for (unsigned k = 0; k < iterations; ++k) {
                    y += (Automatic() ? 1.7 : 1.0) * height * (g - height * y);
                    const double previous = x;
                    x = std::max(0.0, y / height);
                    y = x;
                    if (Automatic()) continue;
                    const double next = (1 + std::sqrt(1 + 4 * t * t)) / 2;
                    if (k > 0) y += (t - 1) / next * (x - previous);
                    t = next;
                }
                return x;
            };
            double largest = 0;
            ForEachSample(image, [&](int i, int j, int k) {
                largest = std::max(largest, expected(image.at(i, j, k)));
            });
            const double tolerance =
                SampleTolerance(iterations, std::max<double>(largest, LargestSample(image)));
            ForEachSample(image, [&](int i, int j, int k) {
                ASSERT_NEAR(out.image.at(i, j, k), expected(image.at(i, j, k)), tolerance)
                    << height << ", " << iterations;
            });
        }
    }
}

/// t goes 1, 1.618, 2.194: no extrapolation behind iteration 0, and (1.618 - 1) / 2.194 behind iteration 1.
TEST(LandweberMomentum, FirstFactorIsTwentyEightPercent) {
    const double a = 1.2f;
    const double g = 100;
    const auto after = [&](unsigned iterations) {
        const Volume image = ConstantImage(4, 3, 5, static_cast<float>(g));
        return static_cast<double>(
            Restore(image, HighImpulse(4, 3, 5, 1.2f), {.iterations = iterations}).image.at(1, 1, 1));
    };
    // x = ((1 - a^2) y + a g) / a, solved for the point y at which the step was taken.
    const auto point = [&](double x) { return (a * x - a * g) / (1 - a * a); };
    const double x0 = after(1);
    const double x1 = after(2);
    EXPECT_NEAR(point(x1), x0, 1e-3);
    EXPECT_NEAR((point(after(3)) - x1) / (x1 - x0), 0.2817, 2e-4);
}

TEST_P(LandweberSteps, ResultsAreNeverNegative) {
    Volume image = observed;
    image.Fill([&](int i, int j, int k) { return observed.at(i, j, k) - 60; });
    for (const unsigned iterations : {1u, 4u}) {
        const Outcome out =
            Restore(image, psf, {.automatic = Automatic(), .strength = 10, .iterations = iterations});
        ForEachSample(out.image, [&](int i, int j, int k) { ASSERT_GE(out.image.at(i, j, k), 0.0f); });
    }
}

/// Nothing is blurred and nothing corrected: the image comes back with its negatives cleared.
TEST_P(LandweberSteps, APsfOfZerosClipsAndNoMore) {
    Volume image = observed;
    image.at(1, 1, 1) = -5;
    const Outcome out = Restore(image, Volume(8, 4, 16), {.automatic = Automatic(), .iterations = 4});
    image.at(1, 1, 1) = 0;
    EXPECT_TRUE(SameImage(out.image, image));
}

// ------------------------------------------------------------------------------------------------ shrinkage

TEST_P(LandweberSteps, StrengthZeroNeverShrinks) {
    const Outcome plain = Restore(observed, psf, {.automatic = Automatic(), .iterations = 3});
    const Outcome scaled = Restore(observed, psf, {.automatic = Automatic(), .iterations = 3, .scale = 1e6});
    EXPECT_TRUE(SameImage(plain.image, scaled.image));
}

TEST_P(LandweberSteps, FifteenPlanesNeverShrink) {
    const Volume spread = AsymmetricPsf(6, 5, 15);
    const Volume image = Observed(Scene(6, 5, 15, 20, 400), spread);
    const Outcome plain = Restore(image, spread, {.automatic = Automatic(), .iterations = 3});
    const Outcome strong =
        Restore(image, spread, {.automatic = Automatic(), .strength = 100, .iterations = 3});
    EXPECT_TRUE(SameImage(plain.image, strong.image));
}

/// A constant image lives in the deepest low-pass band alone, 2^(3/2) higher with each level, and that band
/// is shrunk like any other.
TEST_P(LandweberSteps, TheApproximationIsShrunkToo_stays) {
    const struct {
        int x, y, z, levels;
    } sizes[] = {{4, 2, 16, 1}, {6, 4, 30, 1},   {8, 4, 32, 2},
                 {8, 8, 48, 3}, {16, 16, 64, 4}, {16, 16, 80, 4}};
    for (const auto& [x, y, z, levels] : sizes) {
        for (const double scale : {1.0, 0.25}) {
            SCOPED_TRACE(testing::Message() << levels << " levels, scale " << scale);
            const Outcome out = Restore(ConstantImage(x, y, z, 100), ImpulsePsf(x, y, z),
                                        {.automatic = Automatic(), .strength = 100, .scale = scale});
            ExpectConstant(out.image, 100 - scale * Threshold(100) / std::pow(2.0, 1.5 * levels), 1e-3);
        }
    }
}

TEST_P(LandweberSteps, AHighThresholdClearsTheImage) {
    const Outcome out = Restore(observed, psf, {.automatic = Automatic(), .strength = 1e5, .iterations = 1});
    ExpectConstant(out.image, 0, 0);
}

/// The power of a negative number is no number, which no coefficient lies beyond: all become 0.
TEST_P(LandweberSteps, NegativeStrengthClearsTheImage_stays) {
    const Outcome out = Restore(observed, psf, {.automatic = Automatic(), .strength = -1, .iterations = 1});
    ExpectConstant(out.image, 0, 0);
}

/// Corrected first, the image would lose an undivided threshold.
TEST_P(LandweberSteps, TheSumIsCorrectedBehindTheShrinkage_stays) {
    const double a = 0.5;
    const double step = Automatic() ? 1.7 : 1.0;
    const Outcome out = Restore(ConstantImage(4, 2, 16, 100), HighImpulse(4, 2, 16, 0.5f),
                                {.automatic = Automatic(), .strength = 100});
    const double y = 100 + step * a * (100 - a * 100);
    ExpectConstant(out.image, (y - Threshold(100) / std::pow(2.0, 1.5)) / a, 2e-3);
}

// ------------------------------------------------------------------------------------------------ stop test

constexpr double kAlways = 0;  ///< a ratio that the first visit with a vote exceeds

TEST(LandweberStopTest, StopsAtTheSixthIterationAtTheEarliest) {
    const Volume psf = AsymmetricPsf(8, 6, 5);
    const Volume image = Observed(Scene(8, 6, 5, 20, 400), psf, 0.02f);
    const auto done = [&](unsigned iterations) {
        return Restore(image, psf, {.automatic = true, .iterations = iterations, .stopRatio = kAlways}).done;
    };
    EXPECT_EQ(done(5), 5u);
    EXPECT_EQ(done(6), 6u);
    EXPECT_EQ(done(7), 6u);
    EXPECT_EQ(done(1000), 6u);
}

TEST(LandweberStopTest, TheLastIterationIsCarriedOutWhole) {
    const Volume psf = AsymmetricPsf(8, 6, 5);
    const Volume image = Observed(Scene(8, 6, 5, 20, 400), psf, 0.02f);
    const Outcome stopped = Restore(image, psf, {.automatic = true, .iterations = 50, .stopRatio = kAlways});
    const Outcome six = Restore(image, psf, {.automatic = true, .iterations = 6});
    EXPECT_TRUE(SameImage(stopped.image, six.image));
}

TEST(LandweberStopTest, MomentumNeverStopsByItself) {
    const Volume psf = AsymmetricPsf(8, 6, 5);
    const Volume image = Observed(Scene(8, 6, 5, 20, 400), psf, 0.02f);
    const Outcome watched = Restore(image, psf, {.iterations = 9, .stopRatio = kAlways});
    const Outcome unwatched = Restore(image, psf, {.iterations = 9});
    EXPECT_TRUE(SameImage(watched.image, unwatched.image));
}

/// Divergences of 0 have no ratio, and what is no number stops nothing.
TEST(LandweberStopTest, AnImageOfZerosRunsToTheEnd) {
    const Outcome out = Restore(Volume(8, 4, 16), AsymmetricPsf(8, 4, 16),
                                {.automatic = true, .strength = 10, .iterations = 10, .stopRatio = kAlways});
    EXPECT_EQ(out.done, 10u);
    EXPECT_EQ(LargestSample(out.image), 0.0f);
}

TEST(LandweberStopTest, ABoxWithoutSamplesNeverStops) {
    const Volume psf = AsymmetricPsf(8, 6, 5);
    const Volume image = Observed(Scene(8, 6, 5, 20, 400), psf, 0.02f);
    Settings settings{.automatic = true, .iterations = 12, .stopRatio = kAlways};
    settings.box = kNowhere;
    EXPECT_EQ(Restore(image, psf, settings).done, 12u);
}

/// The observed image keeps its negatives, whose logarithm is no number; outside the box they do no harm.
TEST(LandweberStopTest, NegativeObservationsInTheBoxNeverStop_stays) {
    const Volume psf = AsymmetricPsf(8, 6, 5);
    Volume image = Observed(Scene(8, 6, 5, 20, 400), psf, 0.02f);
    image.at(7, 5, 4) = -50;
    Settings settings{.automatic = true, .iterations = 12, .stopRatio = kAlways};
    EXPECT_EQ(Restore(image, psf, settings).done, 12u);
    settings.box = SRyIRect3D{0, 7, 0, 6, 0, 5};
    EXPECT_EQ(Restore(image, psf, settings).done, 6u);
}

}  // namespace
