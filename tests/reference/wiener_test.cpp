// SPDX-License-Identifier: MIT

// The whole direct Wiener restoration against its slow double-precision twin.

#include "support/ref/wiener.h"

#include <gtest/gtest.h>

#include <limits>
#include <tuple>
#include <vector>

#include "support/bits.h"
#include "support/dense.h"
#include "support/threads.h"
#include "support/tolerances.h"
#include "support/wiener_job.h"

namespace {

using gnr::test::LopsidedPsf;
using gnr::test::Volume;
using gnr::test::WienerJob;

/// Every image sample within the bound of its twin.
void ExpectNear(const Volume& got, const gnr::ref::RealVolume& expected, double tolerance) {
    for (int k = 0; k < got.z(); ++k) {
        for (int j = 0; j < got.y(); ++j) {
            for (int i = 0; i < got.x(); ++i) {
                ASSERT_NEAR(got.at(i, j, k), expected.at(i, j, k), tolerance) << i << ' ' << j << ' ' << k;
            }
        }
    }
}

/// The restored image against the twin's, and the PSF against what it was.
void ExpectRestored(const Volume& observed, const Volume& psf, double regularization) {
    WienerJob job(observed, psf, regularization);
    ASSERT_EQ(job.Run(), 0);
    const auto image = gnr::test::ToDense(observed);
    const auto spread = gnr::test::ToDense(psf);
    const double largest = gnr::ref::Largest(gnr::ref::WienerUncut(image, spread, regularization));
    ExpectNear(job.image, gnr::ref::Wiener(image, spread, regularization),
               gnr::test::kWienerRelative * largest);
    ExpectNear(job.psf, spread, gnr::test::kWienerRelative * gnr::ref::Largest(spread));
}

using Size = std::tuple<int, int, int>;

/// A few bright points on a background with noise, some of it below zero.
Volume Observed(const Size& size, float lowest) {
    const auto [x, y, z] = size;
    Volume v(x, y, z);
    v.FillRandom(31, lowest, 20.0f).FillPadding(gnr::test::kSentinel);
    v.at(x / 2, y / 2, z / 2) += 300.0f;
    v.at(0, y - 1, 0) += 150.0f;
    return v;
}
Volume Psf(const Size& size, double sum) {
    const auto [x, y, z] = size;
    Volume psf = LopsidedPsf(x, y, z, sum);
    psf.FillPadding(gnr::test::kSentinel);
    return psf;
}

class WienerAgainstReference : public testing::TestWithParam<std::tuple<Size, int>> {
  protected:
    WienerAgainstReference() : threads_(std::get<1>(GetParam())) {}
    const Size& size() const { return std::get<0>(GetParam()); }

  private:
    gnr::test::ThreadCount threads_;
};

TEST_P(WienerAgainstReference, EveryNoiseConstant) {
    for (const double regularization :
         {0.0, 1.0, 2.0, 2.9, 3.0, 4.0, -1.0, -0.5, 5.0, 100.0, std::numeric_limits<double>::quiet_NaN()}) {
        SCOPED_TRACE(regularization);
        ExpectRestored(Observed(size(), 0.0f), Psf(size(), 1.0), regularization);
    }
}

TEST_P(WienerAgainstReference, NegativeSamplesStayInTheSums) {
    ExpectRestored(Observed(size(), -15.0f), Psf(size(), 1.0), 1.0);
}

/// The scale of the PSF counts against K.
TEST_P(WienerAgainstReference, PsfsOfOtherSums) {
    for (const double sum : {0.05, 0.5, 3.0, 40.0}) {
        SCOPED_TRACE(sum);
        ExpectRestored(Observed(size(), 0.0f), Psf(size(), sum), 2.0);
    }
}

TEST_P(WienerAgainstReference, APsfWithItsPeakElsewhere) {
    const auto [x, y, z] = size();
    const Volume psf(x, y, z);
    psf.at(x / 2, y / 3, z - 1) = 0.7f;
    psf.at(x / 2 - 1, y / 3, z - 1) = 0.3f;
    ExpectRestored(Observed(size(), 0.0f), psf, 0.0);
}

TEST_P(WienerAgainstReference, ASecondRunOnNewContents) {
    const Volume observed = Observed(size(), -5.0f);
    const Volume psf = Psf(size(), 1.0);
    WienerJob job(Observed(size(), 0.0f), psf, 3.0);
    ASSERT_EQ(job.Run(), 0);
    job.image = observed;
    ASSERT_EQ(job.Run(), 0);
    const auto expected = gnr::ref::Wiener(gnr::test::ToDense(observed), gnr::test::ToDense(psf), 3.0);
    ExpectNear(job.image, expected, gnr::test::kWienerRelative * gnr::ref::Largest(expected));
}

INSTANTIATE_TEST_SUITE_P(SizesAndThreads, WienerAgainstReference,
                         testing::Combine(testing::Values(Size(8, 6, 5), Size(14, 3, 4), Size(10, 17, 1),
                                                          Size(2, 7, 11), Size(22, 13, 6)),
                                          testing::Values(1, 2, 5)));

// -------------------------------------------------------------------------------------- closed forms

TEST(WienerClosedForm, AnAllZeroImageStaysZero) {
    const Volume zeros(12, 5, 3);
    WienerJob job(zeros, LopsidedPsf(12, 5, 3, 1.0), 0.0);
    job.image.FillPadding(gnr::test::kSentinel);
    ASSERT_EQ(job.Run(), 0);
    for (int k = 0; k < 3; ++k) {
        for (int j = 0; j < 5; ++j) {
            for (int i = 0; i < 12; ++i) ASSERT_EQ(gnr::test::Bits(job.image.at(i, j, k)), 0u);
        }
    }
}

/// With a PSF that spreads nothing the filter is one factor, and the renormalisation undoes it.
TEST(WienerClosedForm, AnImpulsePsfGivesANonNegativeImageBack) {
    Volume observed(12, 5, 3);
    observed.FillRandom(5, 0.0f, 50.0f);
    const Volume impulse(12, 5, 3);
    impulse.at(0, 0, 0) = 1.0f;
    for (const double regularization : {0.0, 4.0}) {
        WienerJob job(observed, impulse, regularization);
        ASSERT_EQ(job.Run(), 0);
        ExpectNear(job.image, gnr::test::ToDense(observed), 50.0 * gnr::test::kWienerRelative);
    }
}

TEST(WienerClosedForm, TheSumExceedsTheInputsByWhatWasCut) {
    Volume observed(12, 5, 3);
    observed.FillRandom(6, -10.0f, 50.0f);
    const Volume impulse(12, 5, 3);
    impulse.at(0, 0, 0) = 1.0f;
    const auto before = gnr::test::ToDense(observed);
    double cut = 0.0;
    for (const double v : before.values) cut += v < 0 ? -v : 0.0;
    WienerJob job(observed, impulse);
    ASSERT_EQ(job.Run(), 0);
    const double sum = gnr::ref::Sum(before);
    ASSERT_GT(cut, 0.01 * sum);
    EXPECT_NEAR(gnr::ref::Sum(gnr::test::ToDense(job.image)), sum + cut, 1e-5 * sum);
}

TEST(WienerClosedForm, PaddingEntersNeitherSum) {
    Volume observed(12, 5, 3);
    observed.FillRandom(7, 0.0f, 50.0f);
    const Volume psf = LopsidedPsf(12, 5, 3, 1.0);
    const gnr::test::ThreadCount oneThread(1);
    WienerJob clean(observed.FillPadding(0.0f), psf);
    WienerJob dirty(observed.FillPadding(1e30f), psf);
    ASSERT_EQ(clean.Run(), 0);
    ASSERT_EQ(dirty.Run(), 0);
    for (int k = 0; k < 3; ++k) {
        for (int j = 0; j < 5; ++j) {
            for (int i = 0; i < 12; ++i) ASSERT_EQ(clean.image.at(i, j, k), dirty.image.at(i, j, k));
        }
    }
}

}  // namespace
