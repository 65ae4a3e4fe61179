// SPDX-License-Identifier: MIT
// The parts of --stop split and of curves: coins, halves, the forward model, where a curve is lowest.

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "cleaning/thinned_planes.h"
#include "random/random_numbers.h"
#include "restoration/convergence.h"
#include "restoration/curve.h"
#include "restoration/forward_model.h"
#include "restoration/unchanged.h"
#include "support/plane_box.h"

namespace rydecon {
namespace {

using test::PlaneBox;

TEST(FairHeads, FollowTheBinomialDistribution) {
    // Both methods, on both sides of where one takes over; chi square against n! / (k! (n - k)! 2^n).
    for (const int throws : {0, 1, 2, 63, 64, 65, 200, 256, 257, 300, 5000}) {
        RandomNumbers random(8, 0);
        const int count = 100000;
        std::vector<double> seen(static_cast<std::size_t>(throws) + 1);
        for (int n = 0; n < count; ++n) {
            const double k = random.FairHeads(throws);
            ASSERT_EQ(k, std::floor(k));
            ASSERT_TRUE(k >= 0.0 && k <= throws) << throws;
            ++seen[static_cast<std::size_t>(k)];
        }
        double chiSquare = 0.0;
        int cells = 0;
        for (int k = 0; k <= throws; ++k) {
            const double expected = count * std::exp(std::lgamma(throws + 1.0) - std::lgamma(k + 1.0) -
                                                     std::lgamma(throws - k + 1.0) - throws * std::log(2.0));
            if (expected < 10.0) continue;
            chiSquare += std::pow(seen[static_cast<std::size_t>(k)] - expected, 2) / expected;
            ++cells;
        }
        EXPECT_LT(chiSquare, cells + 5.0 * std::sqrt(2.0 * cells) + 5.0) << throws;
    }
}

TEST(FairHeads, OfManyThrowsKeepMeanAndVariance) {
    RandomNumbers random(8, 1);
    const double throws = 1.0e9;
    const int count = 50000;
    double sum = 0.0;
    double square = 0.0;
    for (int n = 0; n < count; ++n) {
        const double score = (random.FairHeads(throws) - throws / 2) / std::sqrt(throws / 4);
        sum += score;
        square += score * score;
    }
    EXPECT_NEAR(sum / count, 0.0, 5.0 / std::sqrt(count));
    EXPECT_NEAR(square / count, 1.0, 5.0 * std::sqrt(2.0 / count));
}

std::vector<float> Read(PlaneSource& planes) {
    const Extent size = planes.shape();
    std::vector<float> samples(static_cast<std::size_t>(size.x * size.y * size.z));
    for (int k = size.z - 1; k >= 0; --k) {  // not in their order
        planes.ReadPlane(k, samples.data() + std::ptrdiff_t{k} * size.x * size.y, size.x);
    }
    return samples;
}

TEST(ThinnedPlanes, HalvesAddUpToThePhotons) {
    RandomNumbers random(2, 0);
    PlaneBox box({30, 20, 3}, [&](int i, int, int) { return 100 + 2.5 * random.Poisson(i * i); });
    box.At(0, 0, 0) = 42.0f;  // below the offset: no photon
    const PhotonScale scale{2.5, 100.0};
    ThinnedPlanes first(box, scale, 7, Half::First);
    ThinnedPlanes second(box, scale, 7, Half::Second);
    const std::vector<float> a = Read(first);
    const std::vector<float> b = Read(second);
    for (std::size_t n = 1; n < a.size(); ++n) ASSERT_NEAR((a[n] + b[n]) / 2, box.samples()[n], 0.01) << n;
    EXPECT_EQ(a[0], 100.0f);
    EXPECT_EQ(b[0], 100.0f);
    EXPECT_EQ(Read(first), a);
    ThinnedPlanes other(box, scale, 8, Half::First);
    EXPECT_NE(Read(other), a);
}

TEST(ThinnedPlanes, HalvesOfPoissonCountsAreIndependentPoissonCounts) {
    RandomNumbers random(6, 0);
    const double level = 20.0;
    PlaneBox box({200, 200, 2}, [&](int, int, int) { return random.Poisson(level); });
    ThinnedPlanes first(box, {1.0, 0.0}, 1, Half::First);
    ThinnedPlanes second(box, {1.0, 0.0}, 1, Half::Second);
    const std::vector<float> a = Read(first);
    const std::vector<float> b = Read(second);
    double mean = 0.0;
    double variance = 0.0;
    double covariance = 0.0;
    for (std::size_t n = 0; n < a.size(); ++n) {
        mean += a[n] / 2.0;
        variance += std::pow(a[n] / 2.0 - level / 2, 2);
        covariance += (a[n] / 2.0 - level / 2) * (b[n] / 2.0 - level / 2);
    }
    const auto count = static_cast<double>(a.size());
    const double step = 5.0 / std::sqrt(count);
    EXPECT_NEAR(mean / count, level / 2, step * std::sqrt(level / 2));
    EXPECT_NEAR(variance / count, level / 2, step * std::sqrt(2.0) * level);
    EXPECT_NEAR(covariance / count, 0.0, step * level / 2);
}

TEST(Curve, IsLowestWhereItsSmoothedFormIs) {
    EXPECT_EQ(LowestOf({}), 0U);
    EXPECT_EQ(LowestOf({3.0}), 1U);
    const std::vector<double> wiggly = {9, 7, 5, 1.9, 4, 3, 2, 2, 2, 3, 4, 5, 6};  // 1.9 is a wiggle
    EXPECT_EQ(Smoothed(wiggly)[5], (1.9 + 4 + 3 + 2 + 2) / 5);
    EXPECT_EQ(Smoothed(wiggly)[0], (9.0 + 7 + 5) / 3);
    EXPECT_EQ(LowestOf(wiggly), 8U);
}

TEST(Curve, TurnsOnlyForGood) {
    std::vector<double> values;
    const auto add = [&](double value) {
        values.push_back(value);
        return HasTurned(values);
    };
    for (int n = 0; n < 60; ++n) ASSERT_FALSE(add(100.0 - n)) << n;
    int more = 0;
    while (!add(42.0 + more)) ++more;
    EXPECT_GE(more, 18);  // a third of 60, less the smoothing
    EXPECT_LE(more, 22);
    values = {5.0};
    more = 1;
    while (!add(5.0 + more)) ++more;
    EXPECT_EQ(more, 11);
}

/// A PSF of odd shape around the origin, wrapped.
PaddedVolume WrappedPsf(const Extent& frame) {
    PaddedVolume psf(frame);
    psf.Row(0, 0)[0] = 0.5f;
    psf.Row(0, 0)[1] = 0.2f;
    psf.Row(frame.y - 1, 0)[0] = 0.1f;
    psf.Row(0, 1)[2] = 0.15f;
    psf.Row(1, frame.z - 1)[frame.x - 1] = 0.05f;
    return psf;
}

TEST(ForwardModel, IsTheCircularConvolution) {
    const Extent frame = {6, 5, 4};
    const PaddedVolume psf = WrappedPsf(frame);
    const PaddedVolume object(frame);
    for (int k = 0; k < 4; ++k) {
        for (int j = 0; j < 5; ++j) {
            for (int i = 0; i < 6; ++i)
                object.Row(j, k)[i] = static_cast<float>((i * 7 + j * 5 + k * 3) % 11);
        }
    }
    ForwardModel model(psf);
    const PaddedVolume& blurred = model.Blur(object.data());
    const auto at = [&](int i, int j, int k) {
        return double{object.Row((j + 5) % 5, (k + 4) % 4)[(i + 6) % 6]};
    };
    const auto direct = [&](const auto& of, int i, int j, int k) {
        return 0.5 * of(i, j, k) + 0.2 * of(i - 1, j, k) + 0.1 * of(i, j + 1, k) +
               0.15 * of(i - 2, j, k - 1) + 0.05 * of(i + 1, j - 1, k + 1);
    };
    for (int k = 0; k < 4; ++k) {
        for (int j = 0; j < 5; ++j) {
            for (int i = 0; i < 6; ++i) EXPECT_NEAR(blurred.Row(j, k)[i], direct(at, i, j, k), 1e-5);
        }
    }
}

TEST(ForwardModel, AStepSettlesTheScale) {
    // One Richardson-Lucy step from a constant gives the correlation of the image, whatever the constant.
    const Extent frame = {6, 5, 4};
    const PaddedVolume psf = WrappedPsf(frame);
    const PaddedVolume image(frame);
    const PaddedVolume flat(frame);
    for (int k = 0; k < 4; ++k) {
        for (int j = 0; j < 5; ++j) {
            for (int i = 0; i < 6; ++i) {
                image.Row(j, k)[i] = static_cast<float>(1 + (i * 7 + j * 5 + k * 3) % 11);
                flat.Row(j, k)[i] = 3.0f;
            }
        }
    }
    const auto at = [&](int i, int j, int k) {
        return double{image.Row((j + 5) % 5, (k + 4) % 4)[(i + 6) % 6]};
    };
    const auto correlated = [&](int i, int j, int k) {
        return 0.5 * at(i, j, k) + 0.2 * at(i + 1, j, k) + 0.1 * at(i, j + 4, k) +
               0.15 * at(i + 2, j, k + 1) + 0.05 * at(i + 5, j + 1, k + 3);
    };
    const auto wrapped = [&](int i, int j, int k) {
        return correlated((i + 6) % 6, (j + 5) % 5, (k + 4) % 4);
    };
    ForwardModel model(psf);
    const PaddedVolume& blurred = model.BlurStepped(flat.data(), image);
    for (int k = 0; k < 4; ++k) {
        for (int j = 0; j < 5; ++j) {
            for (int i = 0; i < 6; ++i) {
                const double expected = 0.5 * wrapped(i, j, k) + 0.2 * wrapped(i - 1, j, k) +
                                        0.1 * wrapped(i, j + 1, k) + 0.15 * wrapped(i - 2, j, k - 1) +
                                        0.05 * wrapped(i + 1, j - 1, k + 1);
                EXPECT_NEAR(blurred.Row(j, k)[i], expected, 1e-4);
            }
        }
    }
}

TEST(ConvergenceSink, RecordsTheMeanDivergenceOfTheBox) {
    const Extent frame = {6, 5, 4};
    const Extent shape = {3, 4, 2};
    const PaddedVolume psf(frame);
    psf.Row(0, 0)[0] = 1.0f;  // no blur
    const PaddedVolume image(frame);
    const PaddedVolume iterate(frame);
    double sum = 0.0;
    for (int k = 0; k < 4; ++k) {
        for (int j = 0; j < 5; ++j) {
            for (int i = 0; i < 6; ++i) {
                const bool inside = i < 3 && j < 4 && k < 2;
                const double g = (i + 2 * j + 3 * k) % 5;
                const double mu = 1.0 + (i * j + k) % 4;
                image.Row(j, k)[i] = static_cast<float>(inside ? g : 1e6);
                iterate.Row(j, k)[i] = static_cast<float>((mu + 2.0) / 4.0);
                if (inside) sum += (g + 2) * std::log((g + 2) / (mu + 2)) - (g + 2) + (mu + 2);
            }
        }
    }
    ConvergenceSink sink(image, shape, psf, false, 2.0);
    sink.OnIterate(4.0f, iterate.data());
    ASSERT_EQ(sink.curve().values.size(), 1U);
    EXPECT_NEAR(sink.curve().values[0], sum / (3 * 4 * 2), 1e-5);
    EXPECT_EQ(DivergenceTerm(0.0, 0.7), 0.7);
    EXPECT_EQ(DivergenceTerm(3.0, 3.0), 0.0);
}

TEST(Unchanged, FindsTheOneSampleThatDiffers) {
    PlaneBox box({5, 4, 3}, [](int i, int j, int k) { return i - 2 + j * k; });
    const PaddedVolume volume({6, 4, 4});
    for (int k = 0; k < 3; ++k) box.ReadPlane(k, volume.Plane(k), volume.sizes().rowLength);
    const std::uint32_t before = ChecksumOfStack(volume, box.shape());
    EXPECT_TRUE(EqualsPlanes(volume, box, false));
    EXPECT_FALSE(EqualsPlanes(volume, box, true)) << "negative samples count as 0";
    volume.Row(3, 2)[5] = 9.0f;  // beside the stack
    EXPECT_EQ(ChecksumOfStack(volume, box.shape()), before);
    volume.Row(3, 2)[4] += 1.0f;
    EXPECT_NE(ChecksumOfStack(volume, box.shape()), before);
    EXPECT_FALSE(EqualsPlanes(volume, box, false));
}

}  // namespace
}  // namespace rydecon
