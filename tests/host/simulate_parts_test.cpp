// SPDX-License-Identifier: MIT
// The parts of a simulation: random numbers, point spread, blur, phantom.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

#include "random/random_numbers.h"
#include "simulation/blur.h"
#include "simulation/camera.h"
#include "simulation/phantom.h"
#include "simulation/point_spread.h"

namespace rydecon {
namespace {

double Sum(const SampleBox& box) {
    return std::accumulate(box.samples().begin(), box.samples().end(), 0.0);
}

SampleBox RandomBox(const Extent& size, std::uint64_t seed) {
    SampleBox box(size);
    RandomNumbers random(seed, 0);
    for (float& sample : box.samples()) sample = static_cast<float>(random.Uniform());
    return box;
}

TEST(RandomNumbers, EngineIsThatOfTheStandard) {
    // The standard fixes the 10000th number of the default seed; the stream is a seed of the same engine.
    std::mt19937_64 engine;
    engine.discard(9999);
    EXPECT_EQ(engine(), 9981545732273789042ULL);
    RandomNumbers one(1, 0);
    RandomNumbers same(1, 0);
    RandomNumbers otherSeed(2, 0);
    RandomNumbers otherStream(1, 1);
    const double first = one.Uniform();
    EXPECT_EQ(first, same.Uniform());
    EXPECT_NE(first, otherSeed.Uniform());
    EXPECT_NE(first, otherStream.Uniform());
}

TEST(RandomNumbers, UniformAndNormalHaveTheirMoments) {
    RandomNumbers random(11, 0);
    const int count = 400000;
    double uniform = 0.0, normal = 0.0, square = 0.0, fourth = 0.0;
    for (int n = 0; n < count; ++n) {
        const double u = random.Uniform();
        ASSERT_TRUE(u >= 0.0 && u < 1.0);
        const double z = random.Normal();
        uniform += u;
        normal += z;
        square += z * z;
        fourth += z * z * z * z;
    }
    // Five standard deviations of each mean.
    const double step = 5.0 / std::sqrt(count);
    EXPECT_NEAR(uniform / count, 0.5, step * std::sqrt(1.0 / 12.0));
    EXPECT_NEAR(normal / count, 0.0, step);
    EXPECT_NEAR(square / count, 1.0, step * std::sqrt(2.0));
    EXPECT_NEAR(fourth / count, 3.0, step * std::sqrt(96.0));
}

TEST(RandomNumbers, PoissonFollowsItsDistribution) {
    // Both methods, on both sides of where one takes over; chi square of each against n e^-m m^k / k!.
    for (const double mean : {0.0, 0.3, 4.0, 9.99, 10.0, 10.5, 37.0, 400.0}) {
        RandomNumbers random(3, 0);
        const int count = 200000;
        const auto last = static_cast<std::size_t>(mean + 12.0 * std::sqrt(mean) + 20.0);
        std::vector<double> seen(last + 1);
        for (int n = 0; n < count; ++n) {
            const double k = random.Poisson(mean);
            ASSERT_EQ(k, std::floor(k));
            ASSERT_TRUE(k >= 0.0 && k <= static_cast<double>(last)) << mean;
            ++seen[static_cast<std::size_t>(k)];
        }
        double chiSquare = 0.0;
        int cells = 0;
        for (std::size_t k = 0; k <= last; ++k) {
            const auto number = static_cast<double>(k);
            const double logShare =
                (k == 0 ? 0.0 : number * std::log(mean)) - mean - std::lgamma(number + 1.0);
            const double expected = count * std::exp(logShare);
            if (expected < 10.0) continue;
            chiSquare += (seen[k] - expected) * (seen[k] - expected) / expected;
            ++cells;
        }
        EXPECT_LT(chiSquare, cells + 5.0 * std::sqrt(2.0 * cells) + 5.0) << mean;
    }
}

TEST(RandomNumbers, PoissonOfManyPhotonsKeepsMeanAndVariance) {
    RandomNumbers random(4, 0);
    const double mean = 1.0e9;
    const int count = 100000;
    double sum = 0.0, square = 0.0;
    for (int n = 0; n < count; ++n) {
        const double score = (random.Poisson(mean) - mean) / std::sqrt(mean);
        sum += score;
        square += score * score;
    }
    EXPECT_NEAR(sum / count, 0.0, 5.0 / std::sqrt(count));
    EXPECT_NEAR(square / count, 1.0, 5.0 * std::sqrt(2.0 / count));
}

TEST(Camera, PlanesHaveTheirOwnNoise) {
    const Camera camera = {100.0, 2.0, false};
    std::vector<float> first(64), second(64);
    Expose(camera, 1, 0, first.data(), first.size());
    Expose(camera, 1, 1, second.data(), second.size());
    EXPECT_NE(first, second);
}

TEST(Blur, AgreesWithTheDirectSumAndLosesWhatLeaves) {
    // Point spreads narrower and wider than the stack, along each axis.
    for (const Extent& reach : {Extent{1, 2, 1}, Extent{0, 0, 0}, Extent{9, 1, 2}, Extent{2, 11, 12}}) {
        const Extent size = {9, 8, 11};
        const SampleBox object = RandomBox(size, 21);
        SampleBox spread = RandomBox({2 * reach.x + 1, 2 * reach.y + 1, 2 * reach.z + 1}, 22);
        NormalizeSum(spread);
        SampleBox image = object;
        Blur(image, spread);
        for (int k = 0; k < size.z; ++k) {
            for (int j = 0; j < size.y; ++j) {
                for (int i = 0; i < size.x; ++i) {
                    double expected = 0.0;
                    for (int c = std::max(0, k - reach.z); c <= std::min(size.z - 1, k + reach.z); ++c) {
                        for (int b = std::max(0, j - reach.y); b <= std::min(size.y - 1, j + reach.y); ++b) {
                            for (int a = std::max(0, i - reach.x); a <= std::min(size.x - 1, i + reach.x);
                                 ++a) {
                                expected += static_cast<double>(object.At(a, b, c)) *
                                            spread.At(i - a + reach.x, j - b + reach.y, k - c + reach.z);
                            }
                        }
                    }
                    // Samples are of the order of 1, rounding of single precision a few 1e-7 of that.
                    ASSERT_NEAR(image.At(i, j, k), expected, 3e-6)
                        << reach.x << ' ' << reach.y << ' ' << reach.z;
                }
            }
        }
    }
}

TEST(Blur, ConservesFluxInside) {
    SampleBox object({32, 30, 28});
    object.At(16, 15, 14) = 1000.0f;
    object.At(12, 17, 13) = 10.0f;
    Blur(object, GaussianPointSpread({0.2, 0.2, 0.4}, {0.1, 0.1, 0.2}));
    EXPECT_NEAR(Sum(object), 1010.0, 1e-2);
}

TEST(PointSpread, SumIsOne) {
    const SampleBox spread = GaussianPointSpread({0.25, 0.2, 0.7}, {0.1, 0.1, 0.3});
    EXPECT_NEAR(Sum(spread), 1.0, 1e-6);
    EXPECT_EQ(spread.size(), (Extent{21, 17, 21}));
}

TEST(Phantom, DependsOnTheSeedOnlyAndKeepsClearOfTheFaces) {
    const Extent size = {64, 48, 32};
    const Pitch pitch = {0.1, 0.1, 0.3};
    EXPECT_EQ(MakePhantom(size, pitch, 1).samples(), MakePhantom(size, pitch, 1).samples());
    EXPECT_NE(MakePhantom(size, pitch, 1).samples(), MakePhantom(size, pitch, 2).samples());
    for (std::uint64_t seed = 0; seed < 20; ++seed) {
        const SampleBox box = MakePhantom(size, pitch, seed);
        float largest = 0.0f;
        for (int k = 0; k < size.z; ++k) {
            for (int j = 0; j < size.y; ++j) {
                for (int i = 0; i < size.x; ++i) {
                    const float sample = box.At(i, j, k);
                    ASSERT_TRUE(std::isfinite(sample) && sample >= 0.0f);
                    largest = std::max(largest, sample);
                    const bool face =
                        i == 0 || j == 0 || k == 0 || i == size.x - 1 || j == size.y - 1 || k == size.z - 1;
                    if (face) {
                        ASSERT_EQ(sample, 0.0f);
                    }
                }
            }
        }
        EXPECT_EQ(largest, PhantomPoints(size)[0].brightness) << seed;
    }
}

TEST(Phantom, SmallestAndFlattestStacksWork) {
    for (const Extent& size : {Extent{8, 8, 8}, Extent{8, 200, 8}, Extent{200, 8, 8}}) {
        for (const Pitch& pitch : {Pitch{0.1, 0.1, 0.3}, Pitch{0.1, 0.1, 100.0}, Pitch{50.0, 0.1, 0.1}}) {
            const SampleBox box = MakePhantom(size, pitch, 1);
            for (const auto& point : PhantomPoints(size)) {
                EXPECT_EQ(box.At(point.x, point.y, point.z), point.brightness);
            }
            EXPECT_GT(Sum(box), 30.0);
        }
    }
}

}  // namespace
}  // namespace rydecon
