// SPDX-License-Identifier: MIT

// The Landweber entry that iterates on wavelet coefficients against its double-precision twin: whole runs at
// every number of levels, with and without thresholds, a stop at every progress call, threads 1, 2 and 5.

#include <gnr_deconvolution/legacy.h>
#include <gtest/gtest.h>

#include <ostream>

#include "support/ref/landweber_coefficients.h"
#include "support/ref/landweber_runs.h"

namespace {

using namespace gnr::test;
using gnr::ref::CoefficientJob;
using gnr::ref::CoefficientResult;
using gnr::ref::Disturbance;
using gnr::ref::FromVolume;

struct Case {
    const char* name;
    int x, y, z;
    int iterations;
    unsigned regularization = 0;
    double strength = 1.0;
    double psfSum = 1.0;
    float lift = 0.0f;  ///< added to every observed sample; below 0 for negative samples
    bool ripple = false;

    friend std::ostream& operator<<(std::ostream& out, const Case& c) { return out << c.name; }
};

/// Twin of one call, exact, and how far a single-precision run may be from it.
struct Expectation {
    CoefficientResult run;
    double tolerance;
};

Expectation Expect(const Volume& observed, const Volume& psf, CoefficientJob job) {
    const auto image = FromVolume(observed);
    const auto spread = FromVolume(psf);
    CoefficientResult run = gnr::ref::LandweberOfCoefficients(image, spread, job);
    EXPECT_FALSE(run.undefinedCoupling);
    EXPECT_GT(LargestDifference(run.image, gnr::ref::PaddedVolume(image.nx, image.ny, image.nz)), 1.0);
    job.divisors = run.divisors;
    const double tolerance = RoundingTolerance(run.image, [&](const Disturbance& disturbance) {
        job.disturbance = disturbance;
        return gnr::ref::LandweberOfCoefficients(image, spread, job).image;
    });
    return {std::move(run), tolerance};
}

int Call(Volume& image, Volume& psf, const CoefficientJob& job, EntryLog& log) {
    DFT3D s = image.sizes;
    SRyIRect3D box = {};
    float result = 7;
    const int code = CRyLegacy3DDeconvolutionFamily::LandweberFW(&s, psf, image, job.iterations, &result,
                                                                 log.callback(), log.pointer(), 0, 0,
                                                                 job.regularization, box, job.strength);
    EXPECT_EQ(result, 0.0f);
    return code;
}

class LandweberOfCoefficients : public testing::TestWithParam<Case> {};

TEST_P(LandweberOfCoefficients, WholeRun) {
    const Case& c = GetParam();
    const Volume psf = c.ripple ? RipplePsf(c.x, c.y, c.z) : AsymmetricPsf(c.x, c.y, c.z, c.psfSum);
    Volume observed = Observed(Scene(c.x, c.y, c.z, 20, 400), AsymmetricPsf(c.x, c.y, c.z), 0.02f);
    observed.Fill([&](int i, int j, int k) { return observed.at(i, j, k) + c.lift; });
    CoefficientJob twin;
    twin.iterations = c.iterations;
    twin.regularization = c.regularization;
    twin.strength = c.strength;
    const auto [expected, tolerance] = Expect(observed, psf, twin);

    for (const int threads : {1, 2, 5}) {
        SCOPED_TRACE(threads);
        const ThreadCount scope(threads);
        Volume image = observed;
        Volume spread = psf;
        EntryLog log;
        ASSERT_EQ(Call(image, spread, twin, log), 1);
        ExpectImageNear(image, expected.image, tolerance);
        EXPECT_EQ(log.log.Calls(), ReportsOf(expected.phases));
    }
}

constexpr double kWeak = 0.3;  ///< with one level a PSF of sum 1 makes steps that are too long to settle

INSTANTIATE_TEST_SUITE_P(
    Cases, LandweberOfCoefficients,
    testing::Values(Case{"none", 8, 4, 16, 0, 5}, Case{"one", 8, 4, 16, 1, 5},
                    Case{"two", 8, 4, 16, 2, 5, 1.0, kWeak},
                    Case{"eight, thresholds", 8, 4, 16, 8, 5, 1.0, kWeak},
                    Case{"eight, no thresholds", 8, 4, 16, 8, 0, 1.0, kWeak},
                    Case{"eight, half the thresholds", 8, 4, 16, 8, 5, 0.5, kWeak},
                    Case{"cube", 16, 16, 16, 3, 10, 1.0, kWeak},
                    Case{"30 planes, one level", 4, 6, 30, 4, 10, 1.0, kWeak},
                    Case{"two levels", 16, 8, 32, 4, 10, 1.0, 0.6}, Case{"three levels", 16, 8, 48, 3, 10},
                    Case{"four levels", 16, 16, 64, 1, 10}, Case{"PSF sum 1, too long steps", 8, 4, 16, 2, 5},
                    Case{"PSF sum 3", 16, 8, 48, 3, 5, 1.0, 3.0},
                    Case{"PSF sum 0.05: steps of 4", 8, 4, 16, 4, 5, 1.0, 0.05},
                    Case{"PSF sum 1e-11 is not corrected", 8, 4, 16, 4, 5, 1.0, 1e-11},
                    Case{"negative samples", 8, 4, 16, 4, 5, 1.0, kWeak, -60.0f},
                    Case{"energy where the walk does not come", 8, 4, 16, 2, 0, 1.0, 1.0, 0.0f, true}));

/// The image that a stop leaves, at every progress call. It is rebuilt from the coefficients after a stop
/// too.
TEST(LandweberOfCoefficientsReference, StopAtEveryCall) {
    const Volume psf = AsymmetricPsf(8, 4, 16, kWeak);
    const Volume observed = Observed(Scene(8, 4, 16, 20, 400), AsymmetricPsf(8, 4, 16));
    for (int call = 0; call < 6; ++call) {
        SCOPED_TRACE(call);
        CoefficientJob job;
        job.iterations = 4;
        job.regularization = 5;
        job.stopAtCall = call;
        const auto [expected, tolerance] = Expect(observed, psf, job);
        ASSERT_EQ(expected.code, -8);
        Volume image = observed;
        Volume spread = psf;
        EntryLog log(call);
        ASSERT_EQ(Call(image, spread, job, log), -8);
        ExpectImageNear(image, expected.image, tolerance);
        EXPECT_EQ(log.log.Calls(), ReportsOf(expected.phases));
    }
}

}  // namespace
