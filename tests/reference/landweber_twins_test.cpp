// SPDX-License-Identifier: MIT

// The double-precision twins of the Landweber forms by themselves: properties that a wrong twin would break,
// and that the cases which lean on them do reach both sides of their decisions.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>

#include "support/ref/landweber.h"
#include "support/ref/landweber_coefficients.h"
#include "support/ref/landweber_entries.h"
#include "support/ref/landweber_runs.h"

namespace {

using namespace gnr::test;
using gnr::ref::CoefficientJob;
using gnr::ref::FromVolume;
using gnr::ref::LandweberEntryJob;
using gnr::ref::LandweberJob;
using gnr::ref::PaddedVolume;
using gnr::ref::RealVolume;
using gnr::ref::Tap;

RealVolume RandomVolume(int x, int y, int z, unsigned seed) {
    RealVolume v(x, y, z);
    std::mt19937 engine(seed);
    std::uniform_real_distribution<double> sample(-1, 1);
    for (double& value : v.values) value = sample(engine);
    return v;
}

double Energy(const RealVolume& v) {
    return std::inner_product(v.values.begin(), v.values.end(), v.values.begin(), 0.0);
}

double LargestOf(const RealVolume& a, const RealVolume& b) {
    double largest = 0;
    for (std::size_t n = 0; n < a.values.size(); ++n) {
        largest = std::max(largest, std::abs(a.values[n] - b.values[n]));
    }
    return largest;
}

// ------------------------------------------------------------------------------------------------ wavelets

TEST(WaveletTwin, FiltersAreOrthogonalWithFourVanishingMoments) {
    for (const bool a : {false, true}) {
        for (const bool b : {false, true}) {
            for (int shift = 0; shift < 8; shift += 2) {
                double product = 0;
                for (int n = 0; n + shift < 8; ++n) product += Tap(a, n) * Tap(b, n + shift);
                EXPECT_NEAR(product, a == b && shift == 0 ? 1 : 0, 1e-15);
            }
        }
    }
    double sum = 0;
    for (int n = 0; n < 8; ++n) sum += Tap(true, n);
    EXPECT_NEAR(sum, std::sqrt(2.0), 1e-15);
    for (int power = 0; power < 4; ++power) {
        double moment = 0;
        for (int n = 0; n < 8; ++n) moment += std::pow(n, power) * Tap(false, n);
        EXPECT_NEAR(moment, 0, 1e-12) << power;
    }
}

/// Of the four real pairs with these moments, the one whose energy comes first.
TEST(WaveletTwin, FiltersAreOfExtremalPhase) {
    double energy = 0;
    for (int n = 0; n < 3; ++n) energy += Tap(true, n) * Tap(true, n);
    EXPECT_GT(energy, 0.96);
}

TEST(WaveletTwin, PyramidsReconstructExactlyAndKeepTheEnergy) {
    for (const auto& [x, y, z, levels] : {std::tuple(2, 2, 2, 1u), std::tuple(6, 4, 10, 1u),
                                          std::tuple(12, 4, 8, 2u), std::tuple(16, 16, 32, 4u)}) {
        const RealVolume v = RandomVolume(x, y, z, 3);
        const auto pyramid = gnr::ref::Decompose(v, levels);
        EXPECT_LT(LargestOf(gnr::ref::Reconstruct(pyramid), v), 1e-12);
        double energy = 0;
        for (std::size_t l = 0; l < levels; ++l) {
            for (std::size_t b = 0; b < (l + 1 == levels ? 8u : 7u); ++b) energy += Energy(pyramid[l][b]);
        }
        EXPECT_NEAR(energy, Energy(v), 1e-10);
    }
}

TEST(WaveletTwin, BandsBelongToTheirAxes) {
    for (unsigned band = 0; band < 8; ++band) {
        RealVolume v(4, 6, 8);
        for (int k = 0; k < 8; ++k) {
            for (int j = 0; j < 6; ++j) {
                for (int i = 0; i < 4; ++i) {
                    const int odd = (band & 1 ? 0 : i) + (band & 2 ? 0 : j) + (band & 4 ? 0 : k);
                    v.at(i, j, k) = odd % 2 == 0 ? 1 : -1;
                }
            }
        }
        const auto bands = gnr::ref::DecomposeOnce(v);
        for (unsigned b = 0; b < 8; ++b) EXPECT_NEAR(Energy(bands[b]), b == band ? 192 : 0, 1e-10);
    }
}

TEST(WaveletTwin, ShiftsAreUndoneByTheRestOfTheSide) {
    const RealVolume v = RandomVolume(4, 3, 5, 8);
    for (const auto& [a, b, c] : {std::tuple(0, 0, 0), std::tuple(1, 2, 3), std::tuple(3, 0, 4)}) {
        const RealVolume shifted = gnr::ref::CyclicShift(v, a, b, c);
        EXPECT_EQ(shifted.at(a, b, c), v.at(0, 0, 0));
        EXPECT_EQ(gnr::ref::CyclicShift(shifted, 4 - a, 3 - b, 5 - c).values, v.values);
    }
}

TEST(WaveletTwin, SoftThresholdOnBothSides) {
    EXPECT_EQ(gnr::ref::SoftThreshold(3, 1), 2);
    EXPECT_EQ(gnr::ref::SoftThreshold(-3, 1), -2);
    EXPECT_EQ(gnr::ref::SoftThreshold(1, 1), 0);
    EXPECT_EQ(gnr::ref::SoftThreshold(-1, 1), 0);
    EXPECT_EQ(gnr::ref::SoftThreshold(0.5, 0), 0.5);
    EXPECT_EQ(gnr::ref::SoftThreshold(3, std::nan("")), 0);
}

// ----------------------------------------------------------------------------------------------- iteration

class LandweberTwins : public testing::Test {
  protected:
    double Misfit(const PaddedVolume& x) const {
        const PaddedVolume blurred = Blur(x, Spectrum(psf));
        double sum = 0;
        ForImageColumns(
            x, [&](int i, int j, int k) { sum += std::pow(observed.at(i, j, k) - blurred.at(i, j, k), 2); });
        return sum;
    }

    const PaddedVolume psf = FromVolume(AsymmetricPsf(4, 2, 16));
    const PaddedVolume observed =
        FromVolume(Observed(Scene(4, 2, 16, 20, 400), AsymmetricPsf(4, 2, 16), 0.02f));
    const SRyIRect3D box = {0, 4, 0, 2, 0, 16};
};

TEST_F(LandweberTwins, LevelRule) {
    for (const auto& [planes, levels] :
         {std::pair(1, 0u), std::pair(15, 0u), std::pair(16, 1u), std::pair(31, 1u), std::pair(32, 2u),
          std::pair(47, 2u), std::pair(48, 3u), std::pair(63, 3u), std::pair(64, 4u), std::pair(4096, 4u),
          std::pair(65535, 4u), std::pair(65536, 0u), std::pair(65552, 1u)}) {
        EXPECT_EQ(gnr::ref::LevelsOf(planes), levels) << planes;
    }
}

TEST_F(LandweberTwins, IterationsBringTheMisfitDown) {
    double before[3] = {1e300, 1e300, 1e300};
    for (int n = 1; n <= 6; ++n) {
        LandweberJob core;
        core.iterations = static_cast<unsigned>(n);
        core.box = box;
        const double momentum = Misfit(gnr::ref::Landweber(observed, psf, core).image);
        core.automatic = true;
        const double relaxed = Misfit(gnr::ref::Landweber(observed, psf, core).image);
        LandweberEntryJob entry;
        entry.iterations = n;
        entry.box = box;
        const double restarted = Misfit(gnr::ref::LandweberWithRestart(observed, psf, entry).image);
        const double now[3] = {momentum, relaxed, restarted};
        for (std::size_t form = 0; form < 3; ++form) {
            EXPECT_LT(now[form], before[form]) << "form " << form << ", " << n;
            before[form] = now[form];
        }
    }
}

/// Three levels: couplings with all bands of all levels keep the steps short.
TEST_F(LandweberTwins, StepsInBandsBringTheMisfitDown) {
    const PaddedVolume spread = FromVolume(AsymmetricPsf(8, 8, 48));
    const PaddedVolume image = FromVolume(Observed(Scene(8, 8, 48, 20, 400), AsymmetricPsf(8, 8, 48)));
    const auto misfit = [&](int iterations) {
        CoefficientJob job;
        job.iterations = iterations;
        const auto r = gnr::ref::LandweberOfCoefficients(image, spread, job);
        const PaddedVolume blurred = Blur(r.image, Spectrum(spread));
        double sum = 0;
        ForImageColumns(
            image, [&](int i, int j, int k) { sum += std::pow(image.at(i, j, k) - blurred.at(i, j, k), 2); });
        return sum;
    };
    const double start = misfit(0);
    const double one = misfit(1);
    EXPECT_LT(one, start);
    EXPECT_LT(misfit(3), one);
}

TEST_F(LandweberTwins, MomentumSequence) {
    EXPECT_NEAR(gnr::ref::NextMomentum(1), (std::sqrt(5.0) + 1) / 2, 1e-15);
    LandweberJob job;
    job.iterations = 4;
    const auto factors = gnr::ref::Landweber(observed, psf, job).factors;
    ASSERT_EQ(factors.size(), 3u);
    EXPECT_NEAR(factors[0], 0.282, 5e-4);
    CoefficientJob bands;
    bands.iterations = 3;
    const auto inBands = gnr::ref::LandweberOfCoefficients(observed, psf, bands).factors;
    ASSERT_EQ(inBands.size(), 3u);
    EXPECT_EQ(inBands[0], 0);
    EXPECT_EQ(inBands[1], factors[0]);
}

TEST_F(LandweberTwins, WithoutShrinkageCoreAndEntryAgree) {
    LandweberJob core;
    core.iterations = 20;
    LandweberEntryJob entry;
    entry.iterations = 20;
    EXPECT_LT(LargestDifference(gnr::ref::Landweber(observed, psf, core).image,
                                gnr::ref::LandweberWithRestart(observed, psf, entry).image),
              1e-9);
    core.automatic = true;
    core.box = entry.box = box;
    const auto a = gnr::ref::Landweber(observed, psf, core);
    const auto b = gnr::ref::LandweberAutomatic(observed, psf, entry);
    EXPECT_EQ(a.done, b.done);
    EXPECT_LT(LargestDifference(a.image, b.image), 1e-9);
}

TEST_F(LandweberTwins, RestartsEveryThirtyFiveIterations) {
    LandweberEntryJob entry;
    entry.iterations = 106;
    const auto r = gnr::ref::LandweberWithRestart(observed, psf, entry);
    EXPECT_EQ(r.restarts, (std::vector{35, 70, 105}));
    EXPECT_EQ(r.factors.at(35), 0);  // iteration 36: the momentum is 1 again
    EXPECT_EQ(r.factors.at(36), r.factors.at(0));
    EXPECT_GT(r.factors.at(34), 0.9);
}

/// Rounding must not be what a comparison measures: a disturbed run stays close, a shift that is not undone
/// or a band that is spared does not.
TEST_F(LandweberTwins, DisturbancesStayFarBelowWhatAStepChanges) {
    LandweberJob job;
    job.strength = 10;
    job.iterations = 8;
    const auto exact = gnr::ref::Landweber(observed, psf, job).image;
    const double tolerance = RoundingTolerance(exact, [&](const gnr::ref::Disturbance& d) {
        LandweberJob disturbed = job;
        disturbed.disturbance = d;
        return gnr::ref::Landweber(observed, psf, disturbed).image;
    });
    EXPECT_GT(tolerance, 1e-6);
    EXPECT_LT(tolerance, 0.02);
    job.iterations = 7;
    EXPECT_GT(LargestDifference(exact, gnr::ref::Landweber(observed, psf, job).image), 20 * tolerance);
    job.iterations = 8;
    job.scale = 1.01;
    EXPECT_GT(LargestDifference(exact, gnr::ref::Landweber(observed, psf, job).image), 2 * tolerance);
}

// ------------------------------------------------------------------------------------------------ coupling

/// An even width leaves the last nz ny pairs unseen. A ripple whose half spectrum lies there alone takes part
/// in the steps only where all pairs are walked.
TEST_F(LandweberTwins, TheShortenedWalkChangesTheSteps) {
    const PaddedVolume ripple = FromVolume(RipplePsf(8, 4, 16));
    const PaddedVolume image = FromVolume(Scene(8, 4, 16, 20, 400));
    CoefficientJob job;
    const auto walked = gnr::ref::LandweberOfCoefficients(image, ripple, job);
    job.wholeSpectrum = true;
    const auto whole = gnr::ref::LandweberOfCoefficients(image, ripple, job);
    double largest = 0;
    for (std::size_t b = 0; b < 8; ++b) {
        EXPECT_LE(walked.divisors[0][b], whole.divisors[0][b]);
        largest = std::max(largest, whole.divisors[0][b] - walked.divisors[0][b]);
    }
    EXPECT_GT(largest, 0.1);
    EXPECT_FALSE(walked.undefinedCoupling);
    EXPECT_GT(LargestDifference(walked.image, whole.image), 1.0);
}

TEST(CouplingTwin, OfConstantBandsIsTheProductOfTheirSums) {
    RealVolume small(2, 1, 2);
    RealVolume large(4, 2, 4);
    std::fill(small.values.begin(), small.values.end(), 0.5);
    std::fill(large.values.begin(), large.values.end(), 0.25);
    bool undefined = false;
    const auto tiled = gnr::ref::TiledHalfSpectrum(small, 4, 2, 4, false);
    const auto own = gnr::ref::TiledHalfSpectrum(large, 4, 2, 4, false);
    EXPECT_EQ(tiled.pairs.size(), 16u);
    EXPECT_NEAR(gnr::ref::Coupling(tiled, own, undefined), 16.0 * 8.0, 1e-12);
    EXPECT_FALSE(undefined);
}

/// Odd widths put half spectra into rows that are half a pair short, so planes end in pairs without
/// frequency.
TEST(CouplingTwin, OddWidthsLeaveGapsUnlessThereIsOneRow) {
    bool undefined = false;
    const auto gaps = gnr::ref::TiledHalfSpectrum(RandomVolume(3, 2, 2, 1), 3, 2, 2, false);
    gnr::ref::Coupling(gaps, gaps, undefined);
    EXPECT_TRUE(undefined);
    undefined = false;
    const auto none = gnr::ref::TiledHalfSpectrum(RandomVolume(1, 1, 4, 1), 1, 1, 4, false);
    EXPECT_EQ(none.pairs.size(), 4u);
    gnr::ref::Coupling(none, none, undefined);
    EXPECT_FALSE(undefined);
}

}  // namespace
