// SPDX-License-Identifier: MIT

// What the iterations of the one-call Richardson-Lucy entries do, where it can be told in closed form: sums,
// zero guards, regularisation, range and stop test.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "cores/regularization_weight.h"
#include "support/richardson_lucy_calls.h"
#include "support/tolerances.h"

namespace {

using namespace gnr::test;
using Call = RichardsonLucyCall;

class RichardsonLucySteps : public testing::TestWithParam<RichardsonLucy> {};

INSTANTIATE_TEST_SUITE_P(Entries, RichardsonLucySteps, testing::ValuesIn(kRichardsonLucyEntries),
                         [](const auto& entry) { return NameOf(entry.param); });

void ExpectNear(const Volume& got, const Volume& expected, double tolerance) {
    ForEachSample(expected, [&](int i, int j, int k) {
        ASSERT_NEAR(got.at(i, j, k), expected.at(i, j, k), tolerance) << i << ' ' << j << ' ' << k;
    });
}

TEST_P(RichardsonLucySteps, AnImpulseGivesTheImageBack) {
    const Volume image = Scene(6, 5, 4, 20, 400);
    Call call(GetParam(), image, ImpulsePsf(6, 5, 4), 3);
    call.strength = 0;
    call.automaticStrength = 0;
    ASSERT_EQ(call.Run(), 1);
    ExpectNear(call.image, image, RestorationTolerance(120, 3, LargestSample(image)));
}

/// A blur that is exactly 0 gives the ratio 0, and no infinity.
TEST_P(RichardsonLucySteps, AnImageOfZerosStaysZero) {
    Call call(GetParam(), Volume(6, 5, 4), AsymmetricPsf(6, 5, 4), 3);
    ASSERT_EQ(call.Run(), 1);
    EXPECT_TRUE(AllSamplesAre(call.image, 0.0f));
}

TEST_P(RichardsonLucySteps, APsfOfZerosGivesZeros) {
    Call call(GetParam(), Scene(6, 5, 4, 20, 400), Volume(6, 5, 4), 1);
    ASSERT_EQ(call.Run(), 1);
    EXPECT_TRUE(AllSamplesAre(call.image, 0.0f));
}

// ------------------------------------------------------------------------------------------- sum of the PSF

/// Twice the PSF doubles nothing where its sum is corrected: half the ratio, projected back twice, halved.
TEST_P(RichardsonLucySteps, ThePsfsSumIsCorrectedOrNot) {
    const Volume psf = AsymmetricPsf(6, 5, 4);
    const Volume doubled = AsymmetricPsf(6, 5, 4, 2.0);
    const Volume image = Scene(6, 5, 4, 20, 400);
    Call one(GetParam(), image, psf, 1);
    Call two(GetParam(), image, doubled, 1);
    ASSERT_EQ(one.Run(), 1);
    ASSERT_EQ(two.Run(), 1);
    const float factor = GetParam() == RichardsonLucy::kPlain ? 1.0f : 0.5f;
    Volume expected = one.image;
    expected.Fill([&](int i, int j, int k) { return factor * expected.at(i, j, k); });
    ExpectNear(two.image, expected, RestorationTolerance(120, 1, LargestSample(expected)));
}

class RichardsonLucySums : public testing::TestWithParam<RichardsonLucy> {};

INSTANTIATE_TEST_SUITE_P(Entries, RichardsonLucySums,
                         testing::Values(RichardsonLucy::kManual, RichardsonLucy::kAutomatic,
                                         RichardsonLucy::kRealTV),
                         [](const auto& entry) { return NameOf(entry.param); });

/// A sum of exactly 0 and one below 1e-10 are not divided by.
TEST_P(RichardsonLucySums, BelowTheLeastTheyCountAsOne) {
    const Volume image = Scene(6, 5, 4, 20, 400);
    Volume psf = ImpulsePsf(6, 5, 4);
    const auto run = [&] {
        Call call(GetParam(), image, psf, 1);
        call.strength = 0;
        call.automaticStrength = 0;
        EXPECT_EQ(call.Run(), 1);
        return call.image;
    };
    psf.at(0, 0, 0) = 9e-11f;
    ExpectNear(run(), image, RestorationTolerance(120, 1, LargestSample(image)));

    // A difference of neighbours: H x and H^T by hand. The smallest |H x| keeps the quotients tame.
    psf.at(0, 0, 0) = 1.0f;
    psf.at(1, 0, 0) = -1.0f;
    Volume ratio(6, 5, 4);
    ratio.Fill([&](int i, int j, int k) {
        return image.at(i, j, k) / (1.0 * image.at(i, j, k) - image.at((i + 5) % 6, j, k));
    });
    Volume expected(6, 5, 4);
    expected.Fill([&](int i, int j, int k) {
        const double value = image.at(i, j, k) * (1.0 * ratio.at(i, j, k) - ratio.at((i + 1) % 6, j, k));
        return GetParam() == RichardsonLucy::kAutomatic ? std::max(0.0, value) : value;
    });
    ExpectNear(run(), expected, 1e-3 * LargestSample(expected));
}

// ------------------------------------------------------------------------------------------- regularisation

TEST(RegularizationWeight, OfWholeStrengths) {
    using gnr::detail::kClampedTikhonovMiller;
    using gnr::detail::WeightOfDoubledStrength;
    EXPECT_FLOAT_EQ(WeightOfDoubledStrength(2000, kClampedTikhonovMiller), -4.0f);
    EXPECT_FLOAT_EQ(WeightOfDoubledStrength(20, 0.0001f), 0.04f);
    EXPECT_FLOAT_EQ(gnr::detail::WeightOfStrength(2.0), -0.8f);
}

/// Weight -4: nearly every interior sample is damped by 1.1 or raised by 1 / 0.9.
TEST(LucyRichardsonTM, StrengthThousandClampsTheFactor) {
    const Volume image = Scene(8, 6, 5, 20, 400);
    Call call(RichardsonLucy::kManual, image, ImpulsePsf(8, 6, 5), 1);
    call.strength = 1000;
    ASSERT_EQ(call.Run(), 1);
    Volume R(8, 6, 5);
    CRy3DDeconvolutionLow::GetRegularization(&image.sizes, R, image, -4.0f);
    ASSERT_NEAR(R.at(3, 3, 2), R.at(3, 3, 2) > 1 ? 1 / 0.9f : 1 / 1.1f, 1e-6);
    Volume expected = image;
    expected.Fill([&](int i, int j, int k) { return image.at(i, j, k) * R.at(i, j, k); });
    ExpectNear(call.image, expected, RestorationTolerance(240, 1, LargestSample(expected)));
}

/// 2^31 doubles to 0 modulo 2^32.
TEST(LucyRichardsonTM, StrengthsAreDoubledModulo32Bits_stays) {
    for (const RichardsonLucy entry : {RichardsonLucy::kManual, RichardsonLucy::kRealTV}) {
        const Volume image = Scene(8, 6, 5, 20, 400);
        const Volume psf = AsymmetricPsf(8, 6, 5, 1.2);
        const auto run = [&](unsigned strength) {
            Call call(entry, image, psf, 2);
            call.strength = strength;
            EXPECT_EQ(call.Run(), 1);
            return call.image;
        };
        EXPECT_TRUE(SameImage(run(0x80000000u), run(0)));
        EXPECT_TRUE(SameImage(run(0x80000003u), run(3)));
        EXPECT_FALSE(SameImage(run(3), run(0)));
    }
}

/// No factor is formed at strength 0: it would be NaN beside an infinite Laplacian, and 1.1 with the clamp.
TEST(LucyRichardsonTM, StrengthZeroFormsNoFactor) {
    Volume image = Scene(8, 6, 5, 20, 400);
    const Volume psf = ImpulsePsf(8, 6, 5);
    for (const RichardsonLucy entry : {RichardsonLucy::kManual, RichardsonLucy::kRealTV}) {
        Call call(entry, image, psf, 2);
        call.strength = 0;
        ASSERT_EQ(call.Run(), 1);
        ExpectNear(call.image, image, RestorationTolerance(240, 2, LargestSample(image)));
    }
}

/// The factor of the total variation goes on the estimate with that estimate's own gradient.
TEST(LucyRichardsonRealTV, TheFactorIsThatOfTheEstimateBeforeTheRatio) {
    const Volume image = Scene(8, 6, 5, 20, 400);
    Call call(RichardsonLucy::kRealTV, image, ImpulsePsf(8, 6, 5), 1);
    call.strength = 20;
    ASSERT_EQ(call.Run(), 1);
    DFT3D s = image.sizes;
    Volume R(8, 6, 5);
    CRy3DDeconvolutionLow::GetRegularizationRLTV(&s, R, image, 0.16f);
    Volume expected = image;
    expected.Fill([&](int i, int j, int k) { return image.at(i, j, k) * R.at(i, j, k); });
    ExpectNear(call.image, expected, RestorationTolerance(240, 1, LargestSample(expected)));
}

/// The spectrum itself projects back: for a PSF that is not symmetric, not what its transpose would give.
TEST(LucyRichardson, ProjectsBackWithTheSpectrumItself_stays) {
    const Volume psf = AsymmetricPsf(8, 6, 5);
    const Volume image = Observed(Scene(8, 6, 5, 20, 400), psf, 0.02f);
    Call plain(RichardsonLucy::kPlain, image, psf, 3);
    Call adjoint(RichardsonLucy::kRealTV, image, psf, 3);
    adjoint.strength = 0;
    ASSERT_EQ(plain.Run(), 1);
    ASSERT_EQ(adjoint.Run(), 1);
    double largest = 0;
    ForEachSample(image, [&](int i, int j, int k) {
        largest = std::max(largest, std::abs(1.0 * plain.image.at(i, j, k) - adjoint.image.at(i, j, k)));
    });
    EXPECT_GT(largest, 0.01 * LargestSample(image));
}

TEST(LucyRichardson, AgreesWithTheAdjointFormForAnEvenKernel) {
    const Volume lopsided = AsymmetricPsf(8, 6, 5);
    const Volume even = Volume(8, 6, 5).Fill([&](int i, int j, int k) {
        return (lopsided.at(i, j, k) + lopsided.at((8 - i) % 8, (6 - j) % 6, (5 - k) % 5)) / 2;
    });
    const Volume image = Observed(Scene(8, 6, 5, 20, 400), even, 0.02f);
    Call plain(RichardsonLucy::kPlain, image, even, 3);
    Call adjoint(RichardsonLucy::kRealTV, image, even, 3);
    adjoint.strength = 0;
    ASSERT_EQ(plain.Run(), 1);
    ASSERT_EQ(adjoint.Run(), 1);
    ExpectNear(plain.image, adjoint.image, RestorationTolerance(240, 3, LargestSample(adjoint.image)));
}

// ------------------------------------------------------------------------------------------ negative samples

TEST(LucyRichardsonTM, NegativeSamplesAreNotCut_stays) {
    Volume image = Scene(8, 6, 5, 20, 400);
    image.at(3, 2, 1) = -30;
    for (const RichardsonLucy entry :
         {RichardsonLucy::kManual, RichardsonLucy::kPlain, RichardsonLucy::kRealTV}) {
        Call call(entry, image, ImpulsePsf(8, 6, 5), 2);
        call.strength = 0;
        ASSERT_EQ(call.Run(), 1);
        EXPECT_NEAR(call.image.at(3, 2, 1), -30, 0.01);
    }
}

/// What does not differ from the core does the same: five iterations, no stop test yet.
TEST(RichardsonLucyEntry, AgreesWithTheCore) {
    const Volume psf = AsymmetricPsf(8, 6, 5, 1.2);
    const Volume observed = Observed(Scene(8, 6, 5, 20, 400), AsymmetricPsf(8, 6, 5), 0.02f);
    for (const bool automatic : {false, true}) {
        Call call(automatic ? RichardsonLucy::kAutomatic : RichardsonLucy::kManual, observed, psf, 5);
        ASSERT_EQ(call.Run(), 1);
        CRy3DLucyRichardsonTMDeconvolutionCore core(automatic);
        RestorationJob job(observed, psf);
        job.params.uiIterations = 5;
        job.params.dRegularization = automatic ? call.automaticStrength : call.strength;
        ASSERT_EQ(RunOnce(core, job), 0);
        ExpectNear(call.image, job.image, RestorationTolerance(240, 5, LargestSample(job.image)));
    }
}

}  // namespace
