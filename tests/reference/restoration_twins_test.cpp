// SPDX-License-Identifier: MIT

// The double-precision twins by themselves: properties that a wrong twin would break, and that the cases
// which lean on them do reach both sides of their decisions.

#include <gtest/gtest.h>

#include <cmath>

#include "support/ref/accelerated.h"
#include "support/ref/lucy_richardson_tm.h"
#include "support/restoration_job.h"

namespace {

using namespace gnr::test;
using gnr::ref::Accelerated;
using gnr::ref::AcceleratedJob;
using gnr::ref::FromVolume;
using gnr::ref::LucyRichardsonTM;
using gnr::ref::LucyRichardsonTMJob;
using gnr::ref::PaddedVolume;

double LargestDifference(const PaddedVolume& a, const PaddedVolume& b) {
    double largest = 0;
    ForImageColumns(a, [&](int i, int j, int k) {
        largest = std::max(largest, std::abs(a.at(i, j, k) - b.at(i, j, k)));
    });
    return largest;
}

class RestorationTwins : public testing::Test {
  protected:
    const PaddedVolume psf = FromVolume(AsymmetricPsf(8, 5, 4));
    const PaddedVolume impulse = FromVolume(ImpulsePsf(8, 5, 4));
    const PaddedVolume scene = FromVolume(Scene(8, 5, 4, 20, 400));
    const PaddedVolume observed =
        FromVolume(Observed(Scene(8, 5, 4, 20, 400), AsymmetricPsf(8, 5, 4), 0.02f));
    const SRyIRect3D box = {0, 8, 0, 5, 0, 4};
};

TEST_F(RestorationTwins, BlurAndItsAdjointAreAdjoint) {
    const auto otf = Spectrum(psf);
    const PaddedVolume blurred = Blur(scene, otf);
    const PaddedVolume back = BlurAdjoint(observed, otf);
    double left = 0;
    double right = 0;
    ForImageColumns(scene, [&](int i, int j, int k) {
        left += blurred.at(i, j, k) * observed.at(i, j, k);
        right += scene.at(i, j, k) * back.at(i, j, k);
    });
    EXPECT_NEAR(left, right, 1e-10 * left);
    EXPECT_GT(LargestDifference(blurred, back), 1.0);
}

TEST_F(RestorationTwins, RichardsonLucyKeepsTheFluxAndClimbsTheLikelihood) {
    LucyRichardsonTMJob job;
    double before = -1e300;
    for (unsigned iterations = 1; iterations <= 6; ++iterations) {
        job.iterations = iterations;
        const auto r = LucyRichardsonTM(observed, psf, job);
        EXPECT_NEAR(SumOfImageColumns(r.image), SumOfImageColumns(observed),
                    1e-7 * SumOfImageColumns(observed));
        const PaddedVolume h = Blur(r.image, Spectrum(psf));
        double likelihood = 0;
        ForImageColumns(h, [&](int i, int j, int k) {
            likelihood += observed.at(i, j, k) * std::log(h.at(i, j, k)) - h.at(i, j, k);
        });
        EXPECT_GT(likelihood, before);
        before = likelihood;
    }
}

TEST_F(RestorationTwins, AnImpulseLeavesTheImage) {
    LucyRichardsonTMJob plain;
    plain.iterations = 3;
    EXPECT_LT(LargestDifference(LucyRichardsonTM(observed, impulse, plain).image, observed), 1e-9);
    plain.automatic = true;
    plain.box = box;
    EXPECT_LT(LargestDifference(LucyRichardsonTM(observed, impulse, plain).image, observed), 1e-7);
    AcceleratedJob accelerated;
    accelerated.box = box;
    EXPECT_LT(LargestDifference(Accelerated(observed, impulse, accelerated).image, observed), 1e-9);
}

TEST_F(RestorationTwins, TheSelfLimitingFieldShrinksItsWeightOnlyWhereItMust) {
    LucyRichardsonTMJob job;
    job.automatic = true;
    job.box = box;
    job.iterations = 2;
    job.strength = 0.1;
    EXPECT_DOUBLE_EQ(LucyRichardsonTM(observed, psf, job).lambda, gnr::ref::AutomaticWeight(0.1));
    job.strength = 2;
    const double shrunk = LucyRichardsonTM(observed, psf, job).lambda;
    EXPECT_LT(std::abs(shrunk), std::abs(gnr::ref::AutomaticWeight(2)));
    EXPECT_LT(shrunk, 0);
}

TEST_F(RestorationTwins, WholeNumberWeights) {
    EXPECT_EQ(gnr::ref::FixedCountWeight(0.99), 0);
    EXPECT_EQ(gnr::ref::FixedCountWeight(-0.99), 0);
    EXPECT_NEAR(gnr::ref::FixedCountWeight(1), -4e-6, 1e-12);
    EXPECT_NEAR(gnr::ref::FixedCountWeight(10.9), -4e-4, 1e-10);
    EXPECT_EQ(gnr::ref::FixedCountWeight(2147483648.0), 0);
    EXPECT_EQ(gnr::ref::FixedCountWeight(std::nan("")), 0);
    EXPECT_NEAR(gnr::ref::FixedCountWeight(-3), -1.8446744e13, 1e7);
}

/// A plain step lengthened to the line search's choice never does worse than the plain step.
TEST_F(RestorationTwins, TheLineSearchNeverLosesLikelihood) {
    AcceleratedJob job;
    job.box = box;
    job.iterations = 6;
    const auto r = Accelerated(observed, psf, job);
    double before = -1e300;
    for (const auto& it : r.iterations) {
        EXPECT_GT(it.search.likelihood, before);
        EXPECT_GE(it.search.likelihood, it.search.trials.front().likelihood);
        EXPECT_FALSE(it.undone);
        before = it.search.likelihood;
    }
    EXPECT_GT(r.iterations.back().search.alpha, 1);
}

/// A sample that stays positive keeps at least -previous of its step, so the bound is never below 1.
TEST_F(RestorationTwins, TheStepBoundIsNeverBelowOne) {
    PaddedVolume previous(2, 1, 1);
    PaddedVolume x(2, 1, 1);
    for (const double from : {1e-29, 1e-3, 1.0, 3e38}) {
        for (const double factor : {1e-45, 1e-9, 0.1, 0.5, 0.999999}) {
            previous.at(0, 0, 0) = from;
            x.at(0, 0, 0) = from * factor;
            EXPECT_GE(gnr::ref::StepBound(x, previous), 1);
        }
    }
    previous.at(0, 0, 0) = 2;
    x.at(0, 0, 0) = 1.5;
    EXPECT_EQ(gnr::ref::StepBound(x, previous), 4);
    x.at(0, 0, 0) = 0;
    EXPECT_GT(gnr::ref::StepBound(x, previous), 3e38);
}

TEST_F(RestorationTwins, UndampedRatioIsThePlainQuotient) {
    for (const double g : {0.2, 1.0, 30.0}) {
        for (const double h : {0.1, 1.0, 7.0}) {
            EXPECT_NEAR(gnr::ref::DampedRatio(g, h, gnr::ref::kDampingConstant, 1), g / h, 1e-12 * g / h);
        }
    }
    EXPECT_EQ(gnr::ref::DampedRatio(1e-11, 1, gnr::ref::kDampingConstant, 1), 0);
    EXPECT_EQ(gnr::ref::DampedRatio(1, 1e-11, gnr::ref::kDampingConstant, 1), 0);
}

TEST_F(RestorationTwins, PedestalOnBothSides) {
    PaddedVolume v(2, 1, 1);
    const auto pedestal = [&](double a, double b, double padding) {
        v.values = {a, b, padding, padding};
        return gnr::ref::Pedestal(v);
    };
    EXPECT_EQ(pedestal(7, 7, 7), 0);
    EXPECT_EQ(pedestal(-7, -7, -7), 7);
    EXPECT_EQ(pedestal(100, 500, 300), 0);
    EXPECT_EQ(pedestal(0, 2000, 0), 20);
    EXPECT_EQ(pedestal(0, 400, 0), 10);
    EXPECT_EQ(pedestal(100, 500, 0), 12.5);
}

TEST(QualityTextReference, LinesByIndex) {
    EXPECT_EQ(gnr::ref::QualityText({{0, 1.5}, {2, 0.25}}, 5), "1.500000\n\n0.250000");
    EXPECT_EQ(gnr::ref::QualityText({{3, 1.5}}, 2), "\n\n");
    EXPECT_EQ(gnr::ref::QualityText({{0, 1.5}}, 0), "");
}

}  // namespace
