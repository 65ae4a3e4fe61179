// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "algorithms/total_variation.h"
#include "support/bits.h"
#include "support/picture_jobs.h"
#include "support/richardson_lucy_pictures.h"

namespace {

using namespace gnr::test;

using gnr::detail::Clipping;
using gnr::detail::ClippingOf;
using gnr::detail::TotalVariationTerm;
using gnr::detail::WeightOf;

TEST(TotalVariation2D, WeightsOfStrengths) {
    EXPECT_EQ(WeightOf(TotalVariationTerm::kLaplacian, 10), 30.0f * -2e-05f * 30.0f);
    EXPECT_FLOAT_EQ(WeightOf(TotalVariationTerm::kLaplacian, 10), -0.018f);
    EXPECT_EQ(WeightOf(TotalVariationTerm::kDirection, 10), 30.0f * 0.0001f * 30.0f);
    EXPECT_FLOAT_EQ(WeightOf(TotalVariationTerm::kDirection, 10), 0.09f);
    EXPECT_FLOAT_EQ(WeightOf(TotalVariationTerm::kDirection, -7),
                    -5.0f * WeightOf(TotalVariationTerm::kLaplacian, 7));
}

/// From 29 on the denominator of the direction form can be 0.
TEST(TotalVariation2D, DirectionWeightsPassTheirPoleAt29) {
    const auto pole = static_cast<float>(1 / std::sqrt(2.0));
    EXPECT_LT(WeightOf(TotalVariationTerm::kDirection, 28), pole);
    EXPECT_GT(WeightOf(TotalVariationTerm::kDirection, 29), pole);
}

TEST(TotalVariation2D, ThriceAStrengthIsTakenModulo32Bits_stays) {
    const float s = 536870912.0f;  // 3 * 0x60000000 - 2^32
    EXPECT_EQ(WeightOf(TotalVariationTerm::kDirection, 0x60000000), s * 0.0001f * s);
}

TEST(TotalVariation2D, OnlyTheDirectionFormOnIntegersClipsBeforeItAsks_stays) {
    EXPECT_EQ(ClippingOf<SRyPicBuf>(TotalVariationTerm::kDirection), Clipping::kBeforePoll);
    EXPECT_EQ(ClippingOf<SRyFloatPicBuf>(TotalVariationTerm::kDirection), Clipping::kAfterPoll);
    EXPECT_EQ(ClippingOf<SRyPicBuf>(TotalVariationTerm::kLaplacian), Clipping::kAfterPoll);
    EXPECT_EQ(ClippingOf<SRyFloatPicBuf>(TotalVariationTerm::kLaplacian), Clipping::kAfterPoll);
}

/// What the callback could see of the order, and that a run that goes on doesn't depend on it.
TEST(TotalVariation2D, ClippingStandsWhereItIsTold) {
    FloatPicture source(40, 33);
    source.Fill([](unsigned x, unsigned y) { return Scene(x, y) - (x < 4 ? 300.0 : 0.0); });
    const std::vector<float> psf = LopsidedPsf(6);
    const auto estimateAfter = [&](Clipping clipping, int stopAt) {
        const gnr::detail::RichardsonLucyFrames frames(source.record(), {psf.data(), 6});
        frames.Observe();
        ProgressLog log(stopAt);
        const bool done = gnr::detail::IterateTotalVariation(
            frames, {TotalVariationTerm::kDirection, 4, 2},
            {gnr::detail::kPictureDeconvolution, &ProgressLog::Record, &log}, clipping);
        EXPECT_EQ(done, stopAt < 0);
        return Frame(frames.x(), frames.x() + std::size_t{frames.W()} * frames.H());
    };
    const auto least = [](const Frame& x) { return *std::min_element(x.begin(), x.end()); };
    EXPECT_EQ(least(estimateAfter(Clipping::kBeforePoll, 0)), 0.0f);
    EXPECT_LT(least(estimateAfter(Clipping::kAfterPoll, 0)), -10.0f);
    EXPECT_TRUE(SameBits(estimateAfter(Clipping::kBeforePoll, -1), estimateAfter(Clipping::kAfterPoll, -1)));
}

}  // namespace
