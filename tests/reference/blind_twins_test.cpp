// SPDX-License-Identifier: MIT

// The double-precision twins of the blind forms by themselves: properties that a wrong twin would break, and
// that tolerances stay far below what one sweep changes.

#include <gtest/gtest.h>

#include <cmath>

#include "support/ref/blind_calls.h"

namespace {

using namespace gnr::test;
using gnr::ref::BlindForm;
using gnr::ref::BlindJob;
using gnr::ref::BlindPass;
using gnr::ref::BlindRun;
using gnr::ref::FromVolume;
using gnr::ref::PaddedVolume;

class BlindTwins : public testing::Test {
  protected:
    struct Swept {
        PaddedVolume a;
        unsigned count;
        gnr::ref::BlindTrace trace;
    };
    Swept Sweep(BlindForm form, unsigned sweeps, bool imagePass = true, bool accelerate = true) const {
        PaddedVolume a = imagePass ? observed : guess;
        BlindRun run(a, {}, {});
        const BlindPass pass = {form, sweeps, imagePass, -1, false, accelerate};
        const unsigned count = SweepBlind(run, pass, a, imagePass ? guess : observed, observed);
        return {a, count, run.trace};
    }
    double Likelihood(const PaddedVolume& image) const {
        const PaddedVolume h = Blur(image, Spectrum(guess));
        double sum = 0;
        ForImageColumns(h, [&](int i, int j, int k) {
            sum += observed.at(i, j, k) * std::log(h.at(i, j, k)) - h.at(i, j, k);
        });
        return sum;
    }

    const Volume observedVolume = Observed(Scene(6, 5, 4, 20, 400), AsymmetricPsf(6, 5, 4), 0.02f);
    const Volume guessVolume = AsymmetricPsf(6, 5, 4, 1.0, 1.3);
    const PaddedVolume observed = FromVolume(observedVolume);
    const PaddedVolume guess = FromVolume(guessVolume);
};

/// Plain sweeps of either kind keep the sum of what they improve and climb the likelihood.
TEST_F(BlindTwins, SweepsKeepTheSumOfWhatTheyImprove) {
    double before = Likelihood(observed);
    for (unsigned n = 1; n <= 2; ++n) {
        const PaddedVolume image = Sweep(BlindForm::kParallel, n).a;
        EXPECT_NEAR(SumOfImageColumns(image), SumOfImageColumns(observed),
                    1e-7 * SumOfImageColumns(observed));
        EXPECT_GT(Likelihood(image), before);
        before = Likelihood(image);
        const PaddedVolume psf = Sweep(BlindForm::kParallel, n, false).a;
        EXPECT_NEAR(SumOfImageColumns(psf), 1, 1e-7);
    }
}

/// The sum of the data goes over to the product of both sums in the first sweep, whatever the PSF's was.
TEST_F(BlindTwins, OnePassSettlesTheScale) {
    PaddedVolume threefold = guess;
    Scale(threefold, 3);
    BlindJob job;
    const auto r = gnr::ref::StructuredBlind(observed, threefold, job);
    EXPECT_NEAR(SumOfImageColumns(r.image) * SumOfImageColumns(r.psf), SumOfImageColumns(observed),
                1e-6 * SumOfImageColumns(observed));
}

/// Three sweeps are as plain as three passes of one; the fourth is the first that is extrapolated.
TEST_F(BlindTwins, AccelerationActsFromTheFourthSweepOn) {
    for (const BlindForm form : {BlindForm::kSerial, BlindForm::kParallel, BlindForm::kStructured}) {
        for (const unsigned sweeps : {3u, 4u}) {
            const PaddedVolume plain = Sweep(BlindForm::kStructured, sweeps, true, false).a;
            const double difference = LargestDifference(Sweep(form, sweeps).a, plain);
            if (sweeps == 3) {
                EXPECT_LT(difference, 1e-9);
            } else {
                EXPECT_GT(difference, 1.0);
            }
        }
        const auto exponents = Sweep(form, 5).trace.exponents;
        ASSERT_EQ(exponents.size(), 5u);
        EXPECT_EQ(exponents[0], 0);
        EXPECT_EQ(exponents[1], 0);
        EXPECT_GT(exponents[2], 0.1);
    }
}

TEST_F(BlindTwins, AcceleratedSweepsClimbFaster) {
    for (const unsigned sweeps : {5u, 8u}) {
        const double plain = Likelihood(Sweep(BlindForm::kStructured, sweeps, true, false).a);
        EXPECT_GT(Likelihood(Sweep(BlindForm::kParallel, sweeps).a), plain);
    }
}

TEST_F(BlindTwins, FormsCountDifferently) {
    EXPECT_EQ(Sweep(BlindForm::kParallel, 4).count, 4u);
    EXPECT_EQ(Sweep(BlindForm::kSerial, 4).count, 5u);
    EXPECT_EQ(Sweep(BlindForm::kStructured, 4).count, 5u);
    EXPECT_EQ(Sweep(BlindForm::kSerial, 0).count, 1u);
}

TEST_F(BlindTwins, EnergyOfAVolumeWithItselfIsOne) {
    EXPECT_NEAR(gnr::ref::EnergyRatio(observed, observed), 1, 1e-12);
    PaddedVolume sharper(2, 1, 1);
    PaddedVolume flat(2, 1, 1);
    sharper.at(0, 0, 0) = 2;
    flat.at(0, 0, 0) = flat.at(1, 0, 0) = 1;
    EXPECT_EQ(gnr::ref::EnergyRatio(flat, sharper), 2);
    EXPECT_EQ(gnr::ref::EnergyRatio(sharper, flat), 0.5);
    EXPECT_EQ(gnr::ref::EnergyRatio(PaddedVolume(2, 1, 1), flat), 1);
}

/// The serial entry counts one more a pass than it sweeps, the core counts both kinds of pass.
TEST_F(BlindTwins, UnitsOfTheDrivers) {
    BlindJob job;
    job.iterations = 5;
    const auto entry = gnr::ref::BlindEntry(observed, guess, job);
    EXPECT_EQ(entry.counts, (std::vector<unsigned>{2, 2, 2, 2, 2, 6}));
    const auto core = gnr::ref::BlindCore(observed, guess, job);
    EXPECT_EQ(core.counts, (std::vector<unsigned>{1, 1, 1, 1, 1}));
    job.iterations = 25;
    job.innerSetting = 2;
    const auto twenty = gnr::ref::BlindCore(observed, guess, job);
    EXPECT_EQ(twenty.counts, (std::vector<unsigned>{20, 20}));
    unsigned units = 0;
    for (const auto& call : twenty.calls) units += call.n;
    EXPECT_EQ(units, 60u);
}

/// Data that follow the estimate, and data that do not, part after the first passes.
TEST_F(BlindTwins, FollowingDataMatter) {
    BlindJob job;
    job.iterations = 6;
    const auto guarded = gnr::ref::BlindCore(observed, guess, job);
    job.unguarded = true;
    const auto unguarded = gnr::ref::BlindCore(observed, guess, job);
    EXPECT_GT(LargestDifference(guarded.image, unguarded.image), 1.0);
}

/// Rounding must not be what a comparison measures: one sweep less shows far beyond it.
TEST_F(BlindTwins, TolerancesStayFarBelowWhatASweepChanges) {
    BlindJob job;
    job.iterations = 21;
    job.innerSetting = 1;
    const auto last = ExpectBlind(&gnr::ref::BlindCore, observedVolume, guessVolume, job);
    EXPECT_LT(last.imageTolerance, 0.05);
    EXPECT_LT(last.psfTolerance, 1e-4);
    job.iterations = 10;
    const auto first = gnr::ref::BlindCore(observed, guess, job);
    EXPECT_GT(LargestDifference(last.run.image, first.image), 100 * last.imageTolerance);
    EXPECT_GT(LargestDifference(last.run.psf, first.psf), 100 * last.psfTolerance);
}

}  // namespace
