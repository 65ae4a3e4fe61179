// SPDX-License-Identifier: MIT

// What the iterations of the one-call Landweber entries do, where it can be told in closed form: momentum,
// restart, step length and stop test.

#include <gnr_deconvolution/cores.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/ref/landweber_calls.h"

namespace {

using namespace gnr::test;
using Entry = LandweberEntryCall;

/// Both entries: with restarts, and automatic.
class LandweberEntrySteps : public testing::TestWithParam<bool> {
  protected:
    bool Automatic() const { return GetParam(); }
    Entry Make(int iterations) const { return {observed, psf, iterations}; }
    const Volume psf = AsymmetricPsf(6, 5, 4, 1.2);
    const Volume observed = Observed(Scene(6, 5, 4, 20, 400), AsymmetricPsf(6, 5, 4), 0.02f);
};

INSTANTIATE_TEST_SUITE_P(Entries, LandweberEntrySteps, testing::Bool(),
                         [](const auto& entry) { return entry.param ? "Automatic" : "WithRestart"; });

// ------------------------------------------------------------------------------------------------ iteration

TEST_P(LandweberEntrySteps, AnImpulseGivesTheImageBack) {
    Volume image = Scene(6, 5, 4, 20, 400);
    Entry entry(image, ImpulsePsf(6, 5, 4), 1);
    ASSERT_EQ(entry.Call(Automatic()), 1);
    const double tolerance = SampleTolerance(1, LargestSample(image));
    ForEachSample(image, [&](int i, int j, int k) {
        ASSERT_NEAR(entry.image.at(i, j, k), image.at(i, j, k), tolerance);
    });
}

TEST_P(LandweberEntrySteps, APsfOfZerosClipsAndNoMore) {
    Volume image = observed;
    image.at(1, 1, 1) = -5;
    Entry entry(image, Volume(6, 5, 4), 4);
    ASSERT_EQ(entry.Call(Automatic()), 1);
    image.at(1, 1, 1) = 0;
    EXPECT_TRUE(SameImage(entry.image, image));
}

/// A sample under a PSF of one sample of height `a`, after `iterations` with restarts.
double RestartedSample(double g, double a, int iterations) {
    double y = g;
    double x = g;
    double m = 1;
    for (int k = 0; k < iterations; ++k) {
        y += a * (g - a * y);
        const double previous = x;
        x = std::max(0.0, y / a);
        double next = (std::sqrt(4 * m * m + 1) + 1) / 2;
        y = k == 0 ? x : x + (m - 1) / next * (x - previous);
        if (k > 0 && k % 35 == 0) {
            g = x;
            y = x;
            next = 1;
        }
        m = next;
    }
    return x;
}

double RelaxedSample(double g, double a, int iterations) {
    double x = std::max(0.0, g);
    const double observed = x;
    for (int k = 0; k < iterations; ++k) {
        x += 1.7 * a * (observed - a * x);
        x = std::max(0.0, x / a);
    }
    return x;
}

TEST_P(LandweberEntrySteps, EverySampleFollowsTheRecursion) {
    for (const float height : {1.1f, 0.9f}) {
        Volume image = Scene(6, 5, 4, 20, 400);
        image.at(2, 2, 2) = -30;
        for (const int iterations : {1, 2, 3, 10, 34}) {
            SCOPED_TRACE(testing::Message() << height << ", " << iterations);
            Entry entry(image, HighImpulse(6, 5, 4, height), iterations);
            entry.box = kNowhere;
            ASSERT_EQ(entry.Call(Automatic()), 1);
            const auto expected = [&](double g) {
                return Automatic() ? RelaxedSample(g, height, iterations)
                                   : RestartedSample(g, height, iterations);
            };
            const double largest = std::max<double>(LargestSample(image), LargestSample(entry.image));
            ForEachSample(image, [&](int i, int j, int k) {
                ASSERT_NEAR(entry.image.at(i, j, k), expected(image.at(i, j, k)),
                            SampleTolerance(iterations, largest));
            });
        }
    }
}

/// At 35, 70 and 105 the estimate becomes the observed image and the momentum starts over; at 0 nothing does.
TEST(LandweberRestart, EveryThirtyFiveIterationsTheEstimateReplacesTheData_stays) {
    const float height = 1.1f;
    const Volume image = Scene(4, 3, 2, 20, 400);
    for (const int iterations : {35, 36, 37, 38, 45, 70, 71, 73, 105, 107}) {
        Entry entry(image, HighImpulse(4, 3, 2, height), iterations);
        ASSERT_EQ(entry.WithRestart(), 1);
        const double tolerance = SampleTolerance(iterations, LargestSample(image));
        ForEachSample(image, [&](int i, int j, int k) {
            ASSERT_NEAR(entry.image.at(i, j, k), RestartedSample(image.at(i, j, k), height, iterations),
                        tolerance)
                << iterations;
        });
    }
    // Fixed points a g / (a^2 + a - 1) of each stretch: data that are kept would stay at the first.
    const double first = RestartedSample(100, 1.1f, 35);
    EXPECT_GT(std::abs(RestartedSample(100, 1.1f, 60) - first), 5);
}

/// m is 1.618 at iteration 1, and the next 2.194.
TEST(LandweberRestart, FirstFactorIsTwentyEightPercent) {
    const double a = 1.2f;
    const double g = 100;
    const auto after = [&](int iterations) {
        Entry entry(Volume(4, 3, 2).Fill([&](int, int, int) { return g; }), HighImpulse(4, 3, 2, 1.2f),
                    iterations);
        EXPECT_EQ(entry.WithRestart(), 1);
        return static_cast<double>(entry.image.at(1, 1, 1));
    };
    const auto point = [&](double x) { return (a * x - a * g) / (1 - a * a); };
    const double x0 = after(1);
    const double x1 = after(2);
    EXPECT_NEAR(point(x1), x0, 1e-3);
    EXPECT_NEAR((point(after(3)) - x1) / (x1 - x0), 0.2817, 2e-4);
}

/// Where nothing is shrunk and nothing restarts, entry and core do the same.
TEST_P(LandweberEntrySteps, AgreesWithTheCore) {
    Entry entry = Make(8);
    entry.box = kNowhere;
    ASSERT_EQ(entry.Call(Automatic()), 1);
    CRy3DLandweberDeconvolutionCore core(Automatic());
    RestorationJob job(observed, psf);
    job.params.uiIterations = 8;
    job.params.rcImage = kNowhere;
    ASSERT_EQ(RunOnce(core, job), 0);
    const double tolerance = SampleTolerance(8, LargestSample(job.image));
    ForEachSample(job.image, [&](int i, int j, int k) {
        ASSERT_NEAR(entry.image.at(i, j, k), job.image.at(i, j, k), tolerance);
    });
}

// ------------------------------------------------------------------------------------------------ stop test

class LandweberAutomaticStop : public testing::Test {
  protected:
    Entry Make(int iterations, double ratio) const {
        Entry entry(Observed(Scene(8, 6, 5, 20, 400), psf, 0.02f), psf, iterations);
        entry.stopRatio = ratio;
        return entry;
    }
    const Volume psf = AsymmetricPsf(8, 6, 5);
};

TEST_F(LandweberAutomaticStop, AtTheSixthIterationAtTheEarliest) {
    for (const auto& [iterations, done] :
         {std::pair(5, 5u), std::pair(6, 6u), std::pair(7, 6u), std::pair(99, 6u)}) {
        Entry entry = Make(iterations, 0);
        EntryLog log;
        EXPECT_EQ(entry.Automatic(&log), 1);
        EXPECT_EQ(entry.done, done);
        EXPECT_EQ(log.log.Calls(), EntryReports(static_cast<int>(2 * done)));
    }
}

TEST_F(LandweberAutomaticStop, TheLastIterationIsCarriedOutWhole) {
    Entry stopped = Make(50, 0);
    Entry six = Make(6, 1e9);
    ASSERT_EQ(stopped.Automatic(), 1);
    ASSERT_EQ(six.Automatic(), 1);
    EXPECT_TRUE(SameImage(stopped.image, six.image));
}

TEST_F(LandweberAutomaticStop, AnImageOfZerosRunsToTheEnd) {
    Entry entry = Make(10, 0);
    entry.image.Fill([](int, int, int) { return 0; });
    EXPECT_EQ(entry.Automatic(), 1);
    EXPECT_EQ(entry.done, 10u);
    EXPECT_EQ(LargestSample(entry.image), 0.0f);
}

/// Negatives are cleared before the observed image is kept, so that its divergence is a number.
TEST_F(LandweberAutomaticStop, NegativeObservationsStopLikeOthers) {
    Entry entry = Make(12, 0);
    entry.image.at(7, 5, 4) = -50;
    EXPECT_EQ(entry.Automatic(), 1);
    EXPECT_EQ(entry.done, 6u);
}

TEST_F(LandweberAutomaticStop, ABoxWithoutSamplesNeverStops) {
    Entry entry = Make(12, 0);
    entry.box = kNowhere;
    EXPECT_EQ(entry.Automatic(), 1);
    EXPECT_EQ(entry.done, 12u);
}

}  // namespace
