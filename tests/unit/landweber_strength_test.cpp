// SPDX-License-Identifier: MIT

// Strengths and factors of the Landweber core that no threshold follows from.

#include <gnr_deconvolution/cores.h>
#include <gtest/gtest.h>

#include <limits>

#include "support/ref/landweber_runs.h"

namespace {

using namespace gnr::test;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

float LargestAfter(double strength, double scale, bool automatic) {
    const Volume psf = AsymmetricPsf(8, 4, 16);
    RestorationJob job(Observed(Scene(8, 4, 16, 20, 400), psf), psf);
    job.params.dRegularization = strength;
    job.params.dScale = scale;
    job.params.uiIterations = 3;
    CRy3DLandweberDeconvolutionCore core(automatic);
    EXPECT_EQ(RunOnce(core, job), 0);
    return LargestSample(job.image);
}

/// A negative number has no power 1.4, so the threshold is no number either, and nothing exceeds it.
TEST(LandweberStrength, NegativeOnesAndNaNShrinkTheImageToZero_stays) {
    for (const bool automatic : {false, true}) {
        EXPECT_EQ(LargestAfter(-1, 1, automatic), 0.0f);
        EXPECT_EQ(LargestAfter(kNaN, 1, automatic), 0.0f);
        EXPECT_EQ(LargestAfter(10, kNaN, automatic), 0.0f);
        EXPECT_GT(LargestAfter(10, 1, automatic), 0.0f);
    }
}

TEST(LandweberStrength, AFactorOfZeroThresholdsNothing) {
    for (const bool automatic : {false, true}) {
        const float without = LargestAfter(0, 1, automatic);
        EXPECT_NEAR(LargestAfter(10, 0, automatic), without, 1e-5f * without);
    }
}

}  // namespace
