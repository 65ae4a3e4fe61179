// SPDX-License-Identifier: MIT

// The kernels of Landweber on pictures: steps of bands, pyramids, couplings, passes between the two frames.

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <random>
#include <vector>

#include "driver/psf_frame.h"
#include "kernels/band_pyramid.h"
#include "kernels/band_steps.h"
#include "kernels/frame_sweeps.h"
#include "kernels/spectral_bound.h"
#include "support/bits.h"
#include "support/pictures.h"
#include "support/ref/picture_landweber.h"
#include "support/threads.h"

namespace {

using namespace gnr::detail;
using namespace gnr::test;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

std::vector<double> RandomSamples(std::size_t n, unsigned seed) {
    std::mt19937 engine(seed);
    std::uniform_real_distribution<double> sample(-10.0, 10.0);
    std::vector<double> values(n);
    for (double& v : values) v = sample(engine);
    return values;
}

// ---- shrinkage -------------------------------------------------------------------------------------------

TEST(SoftThresholdOfDoubles, MovesTowardsZeroAndStopsThere) {
    EXPECT_EQ(SoftThreshold(5.0, 2.0), 3.0);
    EXPECT_EQ(SoftThreshold(-5.0, 2.0), -3.0);
    EXPECT_EQ(SoftThreshold(2.0, 2.0), 0.0);
    EXPECT_EQ(SoftThreshold(-2.0, 2.0), 0.0);
    EXPECT_EQ(SoftThreshold(1.0, 2.0), 0.0);
    EXPECT_EQ(SoftThreshold(-1.0, 2.0), 0.0);
    EXPECT_EQ(SoftThreshold(7.0, kInfinity), 0.0);
}

TEST(SoftThresholdOfDoubles, OfZeroDoesNothing) {
    for (const double v : {5.0, -5.0, 1e-300, 0.0}) EXPECT_EQ(SoftThreshold(v, 0.0), v);
    EXPECT_FALSE(std::signbit(SoftThreshold(-0.0, 0.0)));
}

TEST(SoftThresholdOfDoubles, NegativeOneMovesAway) {
    EXPECT_EQ(SoftThreshold(5.0, -2.0), 7.0);
    EXPECT_EQ(SoftThreshold(-5.0, -2.0), -7.0);
}

TEST(SoftThresholdOfDoubles, ANanStaysOne) {
    EXPECT_TRUE(std::isnan(SoftThreshold(kNan, 2.0)));
    EXPECT_TRUE(std::isnan(SoftThreshold(3.0, kNan)));
}

// ---- steps of the bands ----------------------------------------------------------------------------------

/// A pyramid of random coefficients; level 0 is larger than what a thread takes at once.
class Pyramids : public testing::Test {
  protected:
    static constexpr unsigned kW = 256;
    static constexpr unsigned kH = 168;

    using Copy = std::vector<std::vector<double>>;

    static void Fill(const BandPyramid& p, unsigned seed) {
        ForEachPictureBand([&](unsigned b, unsigned l) {
            const auto values = RandomSamples(Count(p, l), seed + 4 * l + b);
            std::copy(values.begin(), values.end(), p.Band(b, l));
        });
    }
    static std::size_t Count(const BandPyramid& p, unsigned l) {
        return std::size_t{p.Width(l)} * p.Height(l);
    }
    static Copy CopyOf(const BandPyramid& p) {
        Copy copy;
        ForEachPictureBand(
            [&](unsigned b, unsigned l) { copy.emplace_back(p.Band(b, l), p.Band(b, l) + Count(p, l)); });
        return copy;
    }
    static bool IsRebuilt(unsigned b, unsigned l) { return b == 3 && l < 2; }

    /// Compares with step(b, l, value, gradient) sample by sample, bit for bit.
    template <class Step>
    void Compare(const Copy& before, Step step) {
        ForEachPictureBand([&](unsigned b, unsigned l) {
            for (std::size_t n = 0; n < Count(cur, l); ++n) {
                const double v = before[l * 4 + b][n];
                const double expected = IsRebuilt(b, l) ? v : step(b, l, v, gradient.Band(b, l)[n]);
                ASSERT_EQ(cur.Band(b, l)[n], expected) << b << ' ' << l << ' ' << n;
            }
        });
    }

    Pyramids() {
        Fill(cur, 1);
        Fill(gradient, 100);
        for (unsigned b = 0; b < 4; ++b) {
            for (unsigned l = 0; l < 3; ++l) alpha[b][l] = 0.25 + 0.3 * b + 0.07 * l;
        }
    }
    const BandPyramid cur{kW, kH};
    const BandPyramid gradient{kW, kH};
    BandTable alpha{};
};

TEST_F(Pyramids, AdaptiveStepIsTheChainOfItsParts) {
    const Copy before = CopyOf(cur);
    UpdateBandsAdaptive(cur, gradient, alpha, 1.25);
    Compare(before, [&](unsigned b, unsigned l, double v, double g) {
        v = v + (1.0 / alpha[b][l]) * g;
        return SoftThreshold(v, (1.0 / alpha[b][l]) * 1.25);
    });
}

TEST_F(Pyramids, ExtrapolationStartsFromTheValueAtEntry) {
    const Copy before = CopyOf(cur);
    UpdateBandsExtrapolated(cur, gradient, alpha, 1.25, 0.375f);
    Compare(before, [&](unsigned b, unsigned l, double v, double g) {
        const double stepped = SoftThreshold(v + (1.0 / alpha[b][l]) * g, (1.0 / alpha[b][l]) * 1.25);
        return (stepped - v) * 0.375 + stepped;
    });
}

TEST_F(Pyramids, FixedStepIsOnePointSeven) {
    const Copy before = CopyOf(cur);
    UpdateBandsFixed(cur, gradient, 1.25);
    Compare(before, [&](unsigned, unsigned, double v, double g) { return SoftThreshold(v + 1.7 * g, 1.25); });
}

TEST_F(Pyramids, LeastDivisorMakesStepAndThresholdFourfold) {
    for (auto& levels : alpha) levels.fill(0.25);
    const Copy before = CopyOf(cur);
    UpdateBandsAdaptive(cur, gradient, alpha, 0.5);
    Compare(before, [&](unsigned, unsigned, double v, double g) { return SoftThreshold(v + 4.0 * g, 2.0); });
}

TEST_F(Pyramids, StepsDoNotDependOnTheThreadCount) {
    const ThreadCount one(1);
    const Copy start = CopyOf(cur);
    UpdateBandsExtrapolated(cur, gradient, alpha, 1.25, 0.375);
    const Copy serial = CopyOf(cur);
    ForEachPictureBand([&](unsigned b, unsigned l) {
        std::copy(start[l * 4 + b].begin(), start[l * 4 + b].end(), cur.Band(b, l));
    });
    const ThreadCount three(3);
    UpdateBandsExtrapolated(cur, gradient, alpha, 1.25, 0.375);
    EXPECT_EQ(CopyOf(cur), serial);
}

// ---- pyramids --------------------------------------------------------------------------------------------

TEST_F(Pyramids, RoundTripGivesThePictureBack) {
    const auto picture = RandomSamples(std::size_t{kW} * kH, 7);
    auto samples = picture;
    const PictureFilters filters;
    ASSERT_TRUE(cur.Decompose(filters, samples.data()));
    EXPECT_EQ(samples, picture);
    std::fill(samples.begin(), samples.end(), 0.0);
    ASSERT_TRUE(cur.Reconstruct(filters, samples.data()));
    for (std::size_t n = 0; n < samples.size(); ++n) ASSERT_NEAR(samples[n], picture[n], 1e-12);
}

TEST_F(Pyramids, ApproximationsAboveTheDeepestHaveNoEffectOnThePicture) {
    const PictureFilters filters;
    std::vector<double> once(std::size_t{kW} * kH);
    ASSERT_TRUE(cur.Reconstruct(filters, once.data()));
    std::fill_n(cur.Band(3, 0), Count(cur, 0), 1e6);
    std::fill_n(cur.Band(3, 1), Count(cur, 1), -1e6);
    std::vector<double> again(once.size());
    ASSERT_TRUE(cur.Reconstruct(filters, again.data()));
    EXPECT_EQ(again, once);
}

TEST(PyramidOfUnevenSides, IsRefused) {
    std::vector<double> samples(12 * 16, 1.0);
    const BandPyramid bands(12, 16);
    EXPECT_FALSE(bands.Decompose(PictureFilters(), samples.data()));
}

// ---- couplings -------------------------------------------------------------------------------------------

TEST(SpectralBoundOfPairs, IsTheLargestModulusOfTheProductWithoutConjugate) {
    const float a[] = {1, 2, 3, -4, 0, 1};
    const float b[] = {2, 1, 1, 1, 5, 0};
    // (1 + 2i)(2 + i) = 5i, (3 - 4i)(1 + i) = 7 - i, i 5 = 5i
    EXPECT_FLOAT_EQ(static_cast<float>(SpectralBound(a, b, 3)), std::sqrt(50.0f));
    EXPECT_EQ(SpectralBound(a, b, 1), 5.0);
    EXPECT_EQ(SpectralBound(a, b, 0), 0.0);
}

TEST(SpectralBoundOfPairs, NeverTakesANan) {
    const float a[] = {std::numeric_limits<float>::quiet_NaN(), 0, 3, 0};
    const float b[] = {1, 0, 1, 0};
    EXPECT_EQ(SpectralBound(a, b, 2), 3.0);
}

BandTable DivisorsOf(const std::vector<float>& psf, unsigned n, unsigned W, unsigned H) {
    Frame wrapped(std::size_t{W} * H, 0.0f);
    WrapPSFToFrame(wrapped.data(), W, H, psf.data(), n, n);
    std::vector<double> samples(wrapped.begin(), wrapped.end());
    const BandPyramid bands(W, H);
    EXPECT_TRUE(bands.Decompose(PictureFilters(), samples.data()));
    BandTable alpha{};
    EXPECT_TRUE(StepDivisors(bands, alpha));
    return alpha;
}

/// One band frame a pair of bands would be transformed in is told from the next: the table by its definition,
/// pair by pair, has the same numbers. Sides of 24 and 40 leave bands of odd sides at the deepest level.
TEST(StepDivisorsOfPsf, AreThoseOfAllPairs) {
    for (const float scale : {1.0f, 3.5f}) {
        auto psf = LopsidedPsf(9);
        for (float& v : psf) v *= scale;
        for (const auto& [W, H] :
             {std::pair(24, 40), std::pair(40, 8), std::pair(8, 24), std::pair(48, 32)}) {
            const BandTable got = DivisorsOf(psf, 9, static_cast<unsigned>(W), static_cast<unsigned>(H));
            const auto expected = gnr::ref::picture_landweber::Steps(psf, 9, W, H);
            for (std::size_t b = 0; b < 4; ++b) {
                for (std::size_t l = 0; l < 3; ++l) {
                    EXPECT_NEAR(got[b][l], expected[b][l], 2e-6 * expected[b][l])
                        << W << 'x' << H << ", band " << b << ", level " << l;
                }
            }
        }
    }
}

TEST(StepDivisorsOfPsf, AreAtLeastAQuarter) {
    const BandTable alpha = DivisorsOf(std::vector<float>(36, 0.0f), 6, 16, 16);
    for (const auto& levels : alpha) {
        for (const double v : levels) EXPECT_EQ(v, 0.25);
    }
}

TEST(StepDivisorsOfPsf, OfNoNumbersAreAQuarter) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const BandTable alpha = DivisorsOf(std::vector<float>(36, nan), 6, 16, 16);
    for (const auto& levels : alpha) {
        for (const double v : levels) EXPECT_EQ(v, 0.25);
    }
}

// ---- passes between the frames ---------------------------------------------------------------------------

TEST(CornerOfFrame, TakesThePictureAndLeavesTheRest) {
    Frame frame(8 * 6, -7.0f);
    const std::vector<double> picture = RandomSamples(5 * 4, 3);
    PutIntoCorner(frame.data(), 8, picture.data(), 5, 4);
    for (unsigned y = 0; y < 6; ++y) {
        for (unsigned x = 0; x < 8; ++x) {
            const bool inside = x < 5 && y < 4;
            EXPECT_EQ(frame[y * 8 + x], inside ? static_cast<float>(picture[y * 5 + x]) : -7.0f);
        }
    }
    std::vector<double> cropped(5 * 4);
    CropCorner(cropped.data(), 5, 4, frame.data(), 8);
    for (std::size_t n = 0; n < cropped.size(); ++n) {
        EXPECT_EQ(cropped[n], static_cast<double>(static_cast<float>(picture[n])));
    }
}

TEST(CornerOfFrame, TakesFloatsAsTheyAre) {
    Frame frame(3 * 3, -7.0f);
    const Frame picture = {1.5f, 2.5f, 3.5f, 4.5f};
    PutIntoCorner(frame.data(), 3, picture.data(), 2, 2);
    EXPECT_EQ(frame, (Frame{1.5f, 2.5f, -7, 3.5f, 4.5f, -7, -7, -7, -7}));
}

TEST(CornerOfFrame, IsLeftOutOfWhatLiesAround) {
    Frame frame(4 * 3, -7.0f);
    Frame from(4 * 3);
    for (std::size_t n = 0; n < from.size(); ++n) from[n] = static_cast<float>(n);
    CopyAroundCorner(frame.data(), from.data(), 4, 3, 3, 2);
    EXPECT_EQ(frame, (Frame{-7, -7, -7, 3, -7, -7, -7, 7, 8, 9, 10, 11}));
    CopyAroundCorner(frame.data(), Frame(12, 99.0f).data(), 4, 3, 4, 3);
    EXPECT_EQ(frame[3], 3.0f) << "a corner that is all of the frame";
}

TEST(Residual, IsObservedLessModel) {
    Frame model = {1, 2, 3, 4, 5, 6};
    SubtractFrom(model.data(), Frame{10, 10, 10, 20, 20, 20}.data(), 3, 2);
    EXPECT_EQ(model, (Frame{9, 8, 7, 16, 15, 14}));
}

TEST(RangeOfImage, IsLargestLessSmallest) {
    EXPECT_EQ(ImageRange(Frame{3, -2, 5, 1}.data(), 2, 2), 7.0f);
    EXPECT_EQ(ImageRange(Frame{-3, -2, -5, -4}.data(), 4, 1), 3.0f);
    EXPECT_EQ(ImageRange(Frame{6}.data(), 1, 1), 0.0f);
}

TEST(RangeOfImage, StartsFromTheFirstSample) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE(std::isnan(ImageRange(Frame{nan, 2, 5}.data(), 3, 1)));
    EXPECT_EQ(ImageRange(Frame{1, nan, 5}.data(), 3, 1), 4.0f);
}

}  // namespace
