// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "kernels/acceleration.h"
#include "kernels/energy_2d.h"
#include "kernels/frame_arithmetic.h"
#include "support/bits.h"
#include "support/frames.h"
#include "support/ref/frame_convolution.h"
#include "support/refused_alloc.h"
#include "support/threads.h"

namespace {

using namespace gnr::detail;
using namespace gnr::test;

constexpr float kNoNumber = std::numeric_limits<float>::quiet_NaN();

/// The greatest float not above 1e-20, and the next one.
const float kBelow = std::nextafter(1e-20f, 0.0f) > 1e-20
                         ? 0.0f
                         : (1e-20f > 1e-20 ? std::nextafter(1e-20f, 0.0f) : 1e-20f);
const float kAbove = std::nextafter(kBelow, 1.0f);

TEST(FrameKernels, ClipMakesNegativesAndMinusZeroZero) {
    Frame v = {-1.0f, -0.0f, 0.0f, 2.0f, -1e-38f, 1e-38f, kNoNumber, 5.0f};
    ClipSmallerThanZero2D(v.data(), 7, 1);
    EXPECT_TRUE(SameBits({v.data(), 6}, std::vector<float>{0.0f, 0.0f, 0.0f, 2.0f, 0.0f, 1e-38f}));
    EXPECT_TRUE(std::isnan(v[6]));
    v = {3.0f, -1.0f};
    ClipSmallerThanZero2D(v.data(), 1, 1);
    EXPECT_EQ(v[1], -1.0f) << "beyond the frame";
}

TEST(FrameKernels, SetOnesFillsTheFrameAlone) {
    Frame v(13, -1.0f);
    SetOnes2D(v.data(), 4, 3);
    EXPECT_EQ(std::count(v.begin(), v.end(), 1.0f), 12);
    EXPECT_EQ(v[12], -1.0f);
}

TEST(FrameKernels, RatioOrZeroGuardsByTheAbsoluteValue) {
    ASSERT_LE(static_cast<double>(kBelow), 1e-20);
    ASSERT_GT(static_cast<double>(kAbove), 1e-20);
    const Frame a = {6.0f, 6.0f, 6.0f, 1.0f, 1.0f, 1.0f, 1.0f, kNoNumber};
    const Frame b = {2.0f, -4.0f, 0.0f, kBelow, -kBelow, kAbove, -kAbove, 0.0f};
    Frame dst(8);
    RatioOrZero(dst.data(), a.data(), b.data(), 4, 2);
    const Frame expected = {3.0f, -1.5f, 0.0f, 0.0f, 0.0f, 1.0f / kAbove, 1.0f / -kAbove, 0.0f};
    EXPECT_TRUE(SameBits(dst, expected));
    Frame inPlace = b;
    RatioOrZero(inPlace.data(), a.data(), inPlace.data(), 4, 2);
    EXPECT_TRUE(SameBits(inPlace, expected));
    const Frame none = {kNoNumber};
    RatioOrZero(dst.data(), a.data(), none.data(), 1, 1);
    EXPECT_TRUE(std::isnan(dst[0])) << "a divisor that is no number is not small";
}

TEST(FrameKernels, RatioOrOneTakesNegativeDivisorsForNone_stays) {
    const Frame a = {6.0f, 6.0f, 6.0f, 1.0f, 1.0f, 0.0f};
    const Frame b = {2.0f, -4.0f, 0.0f, kBelow, kAbove, 5.0f};
    Frame dst(6);
    RatioOrOne(dst.data(), a.data(), b.data(), 3, 2);
    EXPECT_TRUE(SameBits(dst, Frame{3.0f, 1.0f, 1.0f, 1.0f, 1.0f / kAbove, 0.0f}));
    const Frame none = {kNoNumber};
    RatioOrOne(dst.data(), a.data(), none.data(), 1, 1);
    EXPECT_TRUE(std::isnan(dst[0]));
}

TEST(FrameKernels, PowersAreThoseOfTheLibrary) {
    Frame base = {0.0f,
                  -0.0f,
                  1.0f,
                  2.5f,
                  1e-30f,
                  7e20f,
                  -2.0f,
                  kNoNumber,
                  1e-45f,
                  std::numeric_limits<float>::max(),
                  std::numeric_limits<float>::infinity(),
                  0.99999994f};
    const Frame random = RandomFrame(500, 0.0f, 3.0f);
    base.insert(base.end(), random.begin(), random.end());
    for (const float alpha : {0.0f, 1.0f, 0.5f, 0.123f, 0.99999994f, 1e-20f, kNoNumber}) {
        Frame v = base;
        PowVkAlpha2D(v.data(), static_cast<unsigned>(v.size()), 1, alpha);
        for (std::size_t n = 0; n < v.size(); ++n) {
            const float expected = std::pow(base[n], alpha);
            if (std::isnan(expected)) {
                EXPECT_TRUE(std::isnan(v[n])) << base[n] << ' ' << alpha;
            } else {
                // Both round, the library's once more than ours.
                EXPECT_TRUE(v[n] == expected || v[n] == std::nextafter(expected, 0.0f) ||
                            v[n] == std::nextafter(expected, 1e38f))
                    << base[n] << ' ' << alpha << ": " << v[n];
            }
        }
    }
}

TEST(FrameKernels, SumsAreInDouble) {
    Frame v(1000, 0.1f);
    v[0] = 1e9f;
    EXPECT_NEAR(SumOfFrame(v.data(), 40, 25), 1e9 + 999 * static_cast<double>(0.1f), 1e-5);
}

TEST(FrameKernels, MaximumBeginsAtTheLowestFloat) {
    Frame v = {-3.0f, -2.5f, kNoNumber, -7.0f};
    EXPECT_EQ(MaximumOfFrame(v.data(), 2, 2), -2.5f);
    std::fill(v.begin(), v.end(), kNoNumber);
    EXPECT_EQ(MaximumOfFrame(v.data(), 2, 2), std::numeric_limits<float>::lowest());
}

TEST(FrameKernels, InverseOfSmallSumsIs1) {
    EXPECT_EQ(InverseOfSum(4.0), 0.25f);
    EXPECT_EQ(InverseOfSum(1e-5), static_cast<float>(1.0 / 1e-5));
    EXPECT_EQ(InverseOfSum(std::nextafter(1e-5, 0.0)), 1.0f);
    EXPECT_EQ(InverseOfSum(-2.0), 1.0f);
    EXPECT_EQ(InverseOfSum(std::numeric_limits<double>::quiet_NaN()), 1.0f);
    EXPECT_EQ(InverseOfSum(1e-6, 1e-15), static_cast<float>(1e6));
}

TEST(FrameKernels, EnergyIsSquaresOverSum) {
    const Frame v = {1.0f, 2.0f, 3.0f, 0.0f};
    EXPECT_EQ(EnergyOfImage(v.data(), 2, 2), 14.0f / 6.0f);
    const Frame none(4);
    EXPECT_EQ(EnergyOfImage(none.data(), 2, 2), 1.0f);
}

// ---- exponent --------------------------------------------------------------------------------------------

TEST(Exponent, IsTheQuotientOfBothSums) {
    const Frame x = {3.0f, 1.0f};
    const Frame c = {2.0f, 4.0f};
    const Frame e = {1.5f, 1.2f};
    const Frame f = {2.0f, 1.7f};
    float num = 0.0f;
    float den = 0.0f;
    for (std::size_t n = 0; n < 2; ++n) {
        const float p = std::log10(f[n]) * c[n];
        den = den + p * p;
        num = num + std::log10(e[n]) * x[n] * p;
    }
    ASSERT_GT(num / den, 0.0f);
    ASSERT_LT(num / den, 1.0f);
    EXPECT_FLOAT_EQ(Recompute_dAlphaK2D(x.data(), c.data(), e.data(), f.data(), 2, 1), num / den);
}

TEST(Exponent, LiesBetween0And1) {
    const Frame one = {1.0f};
    const Frame two = {2.0f};
    const Frame half = {0.5f};
    const Frame ten = {10.0f};
    EXPECT_EQ(Recompute_dAlphaK2D(one.data(), one.data(), half.data(), two.data(), 1, 1), 0.0f) << "opposed";
    EXPECT_EQ(Recompute_dAlphaK2D(one.data(), one.data(), ten.data(), two.data(), 1, 1), 1.0f) << "growing";
    EXPECT_EQ(Recompute_dAlphaK2D(one.data(), one.data(), two.data(), one.data(), 1, 1), 0.0f) << "no step";
}

TEST(Exponent, LeavesOutCorrectionsOfNoSize) {
    const Frame x = {1.0f, 1.0f, 1.0f};
    const Frame e = {2.0f, 1e-11f, 3.0f};
    const Frame f = {4.0f, 3.0f, -1.0f};
    const float alone = Recompute_dAlphaK2D(x.data(), x.data(), e.data(), f.data(), 1, 1);
    EXPECT_EQ(Recompute_dAlphaK2D(x.data(), x.data(), e.data(), f.data(), 3, 1), alone);
    EXPECT_GT(alone, 0.0f);
}

// ---- through the spectrum --------------------------------------------------------------------------------

class FrameTransforms : public testing::TestWithParam<std::tuple<unsigned, unsigned>> {
  protected:
    FrameSize size = FrameOfOrders(std::get<0>(GetParam()), std::get<1>(GetParam()));
    unsigned W = size.width;
    unsigned H = size.height;
    std::size_t count = std::size_t{W} * H;
    PicturePlan plan{size, TransformScaling::kInverse};
    Frame x = RandomFrame(count, -1.0f, 5.0f);
    Frame h = RandomFrame(count, -0.1f, 0.4f, 9);
};

TEST_P(FrameTransforms, ConvolveAndLeaveTheSource) {
    ASSERT_TRUE(plan);
    Frame otf = h;
    plan.Forward(otf.data());
    const Frame before = x;
    Frame dst(count, kNoNumber);
    plan.Convolve(dst.data(), x.data(), otf.data());
    EXPECT_TRUE(Near(dst, gnr::ref::Convolve(AsReference(x, W, H), AsReference(h, W, H)), 1e-5));
    EXPECT_TRUE(SameBits(x, before));
}

TEST_P(FrameTransforms, CorrelateAndLeaveTheSourcesSpectrum) {
    Frame otf = h;
    plan.Forward(otf.data());
    Frame spectrum = x;
    plan.Forward(spectrum.data());
    Frame dst(count, kNoNumber);
    const gnr::ref::Picture expected = gnr::ref::Correlate(AsReference(x, W, H), AsReference(h, W, H));
    plan.Correlate(dst.data(), x.data(), otf.data());
    EXPECT_TRUE(Near(dst, expected, 1e-5));
    EXPECT_TRUE(SameBits(x, spectrum));
}

TEST_P(FrameTransforms, WithoutScaleEveryInverseGainsTheSamplesCount) {
    const PicturePlan unscaled(size, TransformScaling::kNone);
    Frame otf = h;
    unscaled.Forward(otf.data());
    Frame dst(count);
    unscaled.Convolve(dst.data(), x.data(), otf.data());
    gnr::ref::Picture expected = gnr::ref::Convolve(AsReference(x, W, H), AsReference(h, W, H));
    for (double& v : expected.values) v *= static_cast<double>(count);
    EXPECT_TRUE(Near(dst, expected, 1e-5));
}

INSTANTIATE_TEST_SUITE_P(Orders, FrameTransforms,
                         testing::Values(std::tuple{4u, 3u}, std::tuple{3u, 5u}, std::tuple{5u, 5u},
                                         std::tuple{1u, 2u}));

TEST(FramePlan, NeedsItsBuffer) {
    const FrameSize size = FrameOfOrders(5, 5);
    EXPECT_TRUE((PicturePlan(size, TransformScaling::kInverse)));
    const int before = RefusedAlloc::live;
    {
        const RefusedAlloc refusal(0);
        EXPECT_FALSE((PicturePlan(size, TransformScaling::kInverse)));
    }
    EXPECT_EQ(RefusedAlloc::live, before);
    EXPECT_FALSE((PicturePlan(FrameSize{0, 0, 40, 5}, TransformScaling::kInverse))) << "no such order";
}

}  // namespace
