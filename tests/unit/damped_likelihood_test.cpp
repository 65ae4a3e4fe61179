// SPDX-License-Identifier: MIT

// The damped likelihood and the line search on it, at their guards, bounds and ends.

#include <gnr_deconvolution/cores.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <tuple>

#include "kernels/damped_likelihood.h"
#include "support/ref/damped_likelihood.h"
#include "support/restoration_job.h"
#include "support/tolerances.h"

namespace {

using namespace gnr::test;
using gnr::ref::kDampingConstant;
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr double kLowest = std::numeric_limits<double>::lowest();

// ------------------------------------------------------------------------------- damped likelihood

TEST(DampedLikelihood, DeviationIsZeroWhereBothAgreeAndAtMostOne) {
    EXPECT_EQ(gnr::detail::DampedDeviation(3.0f, 3.0f, kDampingConstant), 0.0f);
    EXPECT_EQ(gnr::detail::DampedDeviation(1000.0f, 1.0f, kDampingConstant), 1.0f);
    EXPECT_EQ(gnr::detail::DampedDeviation(1.0f, 1000.0f, kDampingConstant), 1.0f);
    EXPECT_LT(gnr::detail::DampedDeviation(2.0f, 1.0f, -kDampingConstant), 0.0f);
}

TEST(DampedLikelihood, PenaltyOfNegativeDeviationsIsThatOfZero) {
    EXPECT_EQ(gnr::detail::DampedPenalty(-0.5f, 3.0f), gnr::detail::DampedPenalty(0.0f, 3.0f));
    EXPECT_FLOAT_EQ(gnr::detail::DampedPenalty(0.0f, 3.0f), 0.5f);
    EXPECT_EQ(gnr::detail::DampedPenalty(0.0f, 1.0f), 0.0f);
}

TEST(DampedLikelihood, PenaltyFromOneOnIsTheDeviation) {
    EXPECT_EQ(gnr::detail::DampedPenalty(1.0f, 3.0f), 1.0f);
    EXPECT_EQ(gnr::detail::DampedPenalty(7.25f, 3.0f), 7.25f);
}

TEST(DampedLikelihood, UndampedPenaltyIsTheDeviation) {
    for (const float u : {0.0f, 0.125f, 0.5f, 0.75f}) EXPECT_FLOAT_EQ(gnr::detail::DampedPenalty(u, 1.0f), u);
}

/// Ratio of one pair, put at every place of a volume, padding included.
float RatioOf(float g, float h, float N, float c = kDampingConstant) {
    Volume observed(4, 3, 3);
    Volume work(4, 3, 3);
    observed.Fill([&](int, int, int) { return g; }).FillPadding(g);
    work.Fill([&](int, int, int) { return h; }).FillPadding(h);
    gnr::detail::ComputeDampedRatio3D(observed, work, &work.sizes, c, N);
    for (std::int64_t n = 1; n < work.sizes.total; ++n) {
        EXPECT_EQ(std::memcmp(&work.get()[n], work.get(), sizeof(float)), 0) << n;
    }
    return work.get()[0];
}

TEST(DampedLikelihood, UndampedRatioIsThePlainQuotient) {
    EXPECT_FLOAT_EQ(RatioOf(3.0f, 2.0f, 1.0f), 1.5f);
    EXPECT_FLOAT_EQ(RatioOf(0.5f, 2.0f, 1.0f), 0.25f);
    EXPECT_EQ(RatioOf(2.0f, 2.0f, 1.0f), 1.0f);
}

TEST(DampedLikelihood, RatioIsZeroBelowItsGuards) {
    EXPECT_EQ(RatioOf(1.0f, 0.9e-10f, 1.0f), 0.0f);
    EXPECT_EQ(RatioOf(0.9e-10f, 1.0f, 1.0f), 0.0f);
    EXPECT_EQ(RatioOf(1.0f, -1.0f, 1.0f), 0.0f);
    EXPECT_EQ(RatioOf(-1.0f, 1.0f, 1.0f), 0.0f);
    EXPECT_FLOAT_EQ(RatioOf(1.0f, 1e-10f, 1.0f), 1e10f);
    EXPECT_NEAR(RatioOf(1e-10f, 1.0f, 1.0f), 1e-10, 2 * kDampedTerm);
}

TEST(DampedLikelihood, DampingPullsSmallDeviationsToOne) {
    EXPECT_LT(std::abs(RatioOf(1.1f, 1.0f, 3.0f) - 1), 1e-5f);
    EXPECT_NEAR(RatioOf(1000.0f, 1.0f, 3.0f), 1000.0f, 1e-3f);  // deviation 1: undamped
}

TEST(DampedLikelihood, NegativeDeviationsCountAsZeroInTheRatio) {
    EXPECT_EQ(RatioOf(3.0f, 2.0f, 2.0f, -kDampingConstant), 1.0f);
    EXPECT_EQ(RatioOf(0.5f, 2.0f, 3.0f, -kDampingConstant), 1.0f);
}

/// u is 0 there, and 0 to a negative power times a difference of 0 is no number.
TEST(DampedLikelihood, EqualCountsWithAnExponentBelowOneGiveNoNumber_stays) {
    EXPECT_TRUE(std::isnan(RatioOf(2.0f, 2.0f, 0.5f)));
}

// -------------------------------------------------------------------------------------- line search

class OpenCore : public CRy3DAcceleratedLucyRichardsonTMDeconvolutionCore {
  public:
    struct Answer {
        float alpha;
        double likelihood;
    };
    Answer Search(const Volume& g, const Volume& after, const Volume& before, const SRyIRect3D& box,
                  float alpha, float bound, float N = 1.0f) {
        Answer answer{alpha, 0};
        answer.likelihood = OptimizeAlphaByLogLikelihood(answer.alpha, bound, g, after, before, &g.sizes,
                                                         kDampingConstant, N, box);
        return answer;
    }
};

class LineSearch : public testing::Test {
  protected:
    const Volume g = Volume(6, 5, 4).FillRandom(3, 0.5f, 6.0f);
    const Volume before = Volume(6, 5, 4).FillRandom(4, 1.0f, 3.0f);
    const SRyIRect3D whole = WholeBox(g.sizes);
    OpenCore core;

    Volume Towards(double part) const {
        return Volume(6, 5, 4).Fill([&](int i, int j, int k) {
            return before.at(i, j, k) + part * (g.at(i, j, k) - before.at(i, j, k));
        });
    }
};

/// Without a change no alpha gains or loses, so only the bounds end the doubling.
TEST_F(LineSearch, TheBoundItselfMayBeReached) {
    EXPECT_EQ(core.Search(g, before, before, whole, 1, 1.0f).alpha, 1.0f);
    EXPECT_EQ(core.Search(g, before, before, whole, 1, 1.999f).alpha, 1.0f);
    EXPECT_EQ(core.Search(g, before, before, whole, 1, 2.0f).alpha, 2.0f);
    EXPECT_EQ(core.Search(g, before, before, whole, 1, 3.999f).alpha, 2.0f);
    EXPECT_EQ(core.Search(g, before, before, whole, 1, 4.0f).alpha, 4.0f);
}

TEST_F(LineSearch, EndsAtFourThousandAndNinetySix) {
    const float unbounded = std::numeric_limits<float>::max();
    EXPECT_EQ(core.Search(g, before, before, whole, 1, unbounded).alpha, 4096.0f);
    EXPECT_EQ(core.Search(g, before, before, whole, 1, 8192.0f).alpha, 4096.0f);
    EXPECT_EQ(core.Search(g, before, before, whole, 1, 4095.0f).alpha, 2048.0f);
}

/// A sixteenth of the way to g: doublings up to 16 gain; 32 overshoots to where the beginning was, mirrored.
TEST_F(LineSearch, ALossOfGainKeepsTheTrialBefore) {
    const auto answer = core.Search(g, Towards(1.0 / 16), before, whole, 1, 3e38f);
    EXPECT_EQ(answer.alpha, 16.0f);
    const auto direct = core.Search(g, Towards(1.0 / 16), before, whole, 16, 16.0f);
    EXPECT_EQ(answer.likelihood, direct.likelihood);
    EXPECT_EQ(core.Search(g, Towards(0.9), before, whole, 1, 3e38f).alpha, 1.0f);
}

TEST_F(LineSearch, TheSearchBeginsAtTheGivenAlpha) {
    EXPECT_EQ(core.Search(g, before, before, whole, 3, 100.0f).alpha, 96.0f);
    EXPECT_EQ(core.Search(g, before, before, whole, 0.25f, 0.5f).alpha, 1.0f);
}

TEST_F(LineSearch, WithoutATrialTheLikelihoodIsTheLowestNumber) {
    const auto above = core.Search(g, before, before, whole, 1, 0.5f);
    EXPECT_EQ(above.alpha, 1.0f);
    EXPECT_EQ(above.likelihood, kLowest);
    const auto limit = core.Search(g, before, before, whole, 8192, 3e38f);
    EXPECT_EQ(limit.alpha, 4096.0f);
    EXPECT_EQ(limit.likelihood, kLowest);
}

TEST_F(LineSearch, OnlySamplesOfTheBoxCount) {
    const SRyIRect3D box = {1, 5, 2, 4, 1, 3};
    Volume after = Towards(1.0 / 16);
    const auto expected = core.Search(g, after, before, box, 1, 3e38f);
    Volume observed = g;
    Volume old = before;
    for (Volume* each : {&observed, &after, &old}) {
        const Volume inside = *each;
        each->Fill([&](int i, int j, int k) {
            return i >= 1 && i < 5 && j >= 2 && j < 4 && k >= 1 && k < 3 ? inside.at(i, j, k) : kNan;
        });
        each->FillPadding(kNan);
    }
    const auto answer = core.Search(observed, after, old, box, 1, 3e38f);
    EXPECT_EQ(answer.alpha, expected.alpha);
    EXPECT_EQ(answer.likelihood, expected.likelihood);
}

TEST_F(LineSearch, AnEmptyBoxGainsNothingAnywhere) {
    const auto answer = core.Search(g, Towards(0.9), before, {0, 0, 0, 0, 0, 0}, 1, 3e38f);
    EXPECT_EQ(answer.alpha, 4096.0f);
    EXPECT_EQ(answer.likelihood, 0.0);
}

TEST_F(LineSearch, SamplesOfZeroAreGuarded) {
    const Volume zero(6, 5, 4);
    for (const auto& [observed, after, old] :
         {std::tuple(&zero, &before, &before), std::tuple(&g, &zero, &before), std::tuple(&g, &before, &zero),
          std::tuple(&zero, &zero, &zero)}) {
        for (const float N : {1.0f, 3.0f}) {
            EXPECT_TRUE(std::isfinite(core.Search(*observed, *after, *old, whole, 1, 1.0f, N).likelihood));
        }
    }
}

}  // namespace
