// SPDX-License-Identifier: MIT

// Landweber on pictures with momentum: what the smoothing, the range and the steps of the bands do.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "cores/momentum.h"
#include "support/bits.h"
#include "support/picture_landweber_calls.h"
#include "support/ref/picture_landweber.h"
#include "support/tolerances.h"

namespace {

using namespace gnr::test;
using Call = LandweberPictureCall;

std::vector<float> Restored(Call call, FloatPicture& source) {
    FloatPicture destination(source.record().uiWidth, source.record().uiHeight);
    EXPECT_EQ(call.Accelerated(&destination, &source), 0);
    return destination.Samples();
}

class PictureMomentum : public testing::Test {
  protected:
    PictureMomentum() { source.Fill(Scene); }
    FloatPicture source{19, 17};
};

TEST_F(PictureMomentum, NoIterationDeliversThePictureOverTheSumOfThePsf) {
    Call call;
    call.iterations = 0;
    call.smoothing = 50;
    call.psfSide = 4;
    call.psf = SinglePoint(0.5f);
    const auto got = Restored(call, source);
    for (std::size_t n = 0; n < got.size(); ++n) ASSERT_NEAR(got[n], 2.0f * source.Samples()[n], 1e-3);
}

TEST_F(PictureMomentum, APointWithoutSmoothingGivesThePictureBack) {
    Call call;
    call.iterations = 6;
    call.smoothing = 0;
    call.psfSide = 4;
    call.psf = SinglePoint(1.0f);
    const auto got = Restored(call, source);
    for (std::size_t n = 0; n < got.size(); ++n) ASSERT_NEAR(got[n], source.Samples()[n], 1e-3);
}

/// Where all steps are 4, every sample follows x += 4 a (g - a x) with momentum, but for the last iteration.
TEST_F(PictureMomentum, AllButTheLastIterationExtrapolate) {
    const double a = 0.05f;
    Call call;
    call.smoothing = 0;
    call.psfSide = 4;
    call.psf = SinglePoint(0.05f);
    for (const unsigned iterations : {1u, 2u, 3u, 7u}) {
        call.iterations = iterations;
        const auto got = Restored(call, source);
        for (std::size_t n = 0; n < got.size(); ++n) {
            const double g = source.Samples()[n];
            double x = g;
            double t = 1;
            for (unsigned i = 0; i < iterations; ++i) {
                const double before = x;
                x += 4 * a * (g - a * x);
                const double next = (1 + std::sqrt(1 + 4 * t * t)) / 2;
                if (i + 1 < iterations) x += (t - 1) / next * (x - before);
                t = next;
            }
            ASSERT_NEAR(got[n], x / a, RestorationTolerance(128.0 * 128.0, iterations, x / a)) << iterations;
        }
    }
}

/// Exact factors of the first four iterations, of which all but the first have no float.
TEST(MomentumFactors, AreRoundedToFloatWhileTheirSourceIsNot) {
    gnr::detail::Momentum momentum;
    double t = 1;
    for (int i = 0; i < 4; ++i) {
        const double next = (std::sqrt(4 * t * t + 1) + 1) / 2;
        EXPECT_EQ(momentum.NextFactor(), static_cast<float>((t - 1) / next)) << i;
        t = next;
    }
    momentum.Restart();
    EXPECT_EQ(momentum.NextFactor(), 0.0);
}

/// Without a PSF nothing but the shrinkage is left, at a threshold of four times tau.
TEST_F(PictureMomentum, APsfOfZerosShrinksByFourTau) {
    gnr::ref::picture_landweber::Job job{{19, 17, 1}, std::vector<float>(16, 0.0f), 4, 3};
    for (std::size_t n = 0; n < source.Samples().size(); ++n) job.picture.values[n] = source.Samples()[n];
    Call call;
    call.psfSide = 4;
    call.psf = job.psf;
    call.smoothing = 5;
    const auto got = Restored(call, source);
    const auto expected = gnr::ref::picture_landweber::Accelerated(job, 5, 24, 16);
    for (std::size_t n = 0; n < got.size(); ++n) {
        ASSERT_NEAR(got[n], std::max(expected.values[n], 0.0), 1e-3);
        ASSERT_NE(got[n], source.Samples()[n]);
    }
}

TEST_F(PictureMomentum, ANegativeSmoothingIsThePositiveOne) {
    Call call;
    call.smoothing = 7;
    const auto expected = Restored(call, source);
    call.smoothing = -7;
    EXPECT_TRUE(SameBits(Restored(call, source), expected));
    call.smoothing = 6;
    EXPECT_FALSE(SameBits(Restored(call, source), expected));
}

/// 3 times the smoothing is an integer of 32 bits: 3 (2^30 + 1) wraps to 3 - 2^30.
TEST_F(PictureMomentum, ThreeTimesALargeSmoothingWraps_stays) {
    Call call;
    call.iterations = 1;
    call.smoothing = (1 << 30) + 1;
    const auto wrapped = Restored(call, source);
    // The threshold is negative, so that coefficients grow beyond all measure; without the wrap all would be 0.
    float largest = 0.0f;
    for (const float v : wrapped) largest = std::max(largest, v);
    EXPECT_GT(largest, 1e9f);
    call.smoothing = 1 << 29;
    for (const float v : Restored(call, source)) ASSERT_NEAR(v, 0.0f, 1e-3);
}

/// 96 pixels are the frame itself; 97 leave zeros beside it, from which the range is counted.
TEST_F(PictureMomentum, TheZerosBesideOneGreyValueMakeTheRange) {
    Call call;
    call.smoothing = 30;
    call.psfSide = 4;
    call.psf = SinglePoint(1.0f);
    FloatPicture exact(16, 16);
    exact.Fill([](unsigned, unsigned) { return 200.0; });
    for (const float v : Restored(call, exact)) ASSERT_NEAR(v, 200.0f, 1e-3);
    FloatPicture beside(17, 16);
    beside.Fill([](unsigned, unsigned) { return 200.0; });
    for (const float v : Restored(call, beside)) ASSERT_LT(v, 199.5f);
}

TEST_F(PictureMomentum, ABoundFrameThatDoesNotHalveThreeTimesIsMinus9) {
    for (const auto& [W, H] : {std::pair(0u, 16u), std::pair(16u, 0u), std::pair(12u, 16u),
                               std::pair(16u, 20u), std::pair(1u, 8u), std::pair(8u, 6u)}) {
        FloatPicture destination(19, 17);
        const auto untouched = destination.Samples();
        ProgressLog log;
        Call call;
        call.boundWidth = W;
        call.boundHeight = H;
        call.log = &log;
        EXPECT_EQ(call.Accelerated(&destination, &source), -9) << W << 'x' << H;
        EXPECT_TRUE(log.Calls().empty());
        EXPECT_TRUE(SameBits(destination.Samples(), untouched));
    }
}

TEST_F(PictureMomentum, AllTilesStartWithoutMomentum) {
    FloatPicture large(130, 50);
    large.Fill(Scene);
    FloatPicture tiled(130, 50);
    Call call;
    call.iterations = 5;
    ASSERT_EQ(call.Accelerated(&tiled, &large, 2, 1), 0);
    // The second tile, 15 to 130, by itself.
    FloatPicture part(115, 50);
    part.Fill([](unsigned x, unsigned y) { return Scene(x + 15, y); });
    const auto alone = Restored(call, part);
    for (unsigned y = 0; y < 50; ++y) {
        for (unsigned x = 65; x < 130; ++x) ASSERT_EQ(tiled.Get(x, y), alone[y * 115 + x - 15]);
    }
}

/// Integer and float pictures go through the same steps; the former are truncated.
TEST_F(PictureMomentum, BothFormsDoTheSame) {
    IntegerPicture integers(19, 17);
    integers.Fill(Scene);
    IntegerPicture result(19, 17);
    Call call;
    ASSERT_EQ(call.Accelerated(&result, &integers), 0);
    const auto floats = Restored(call, source);
    for (unsigned y = 0; y < 17; ++y) {
        for (unsigned x = 0; x < 19; ++x) {
            ASSERT_EQ(result.Get(x, y), static_cast<unsigned>(std::min(floats[y * 19 + x], 255.0f)));
        }
    }
}

}  // namespace
