// SPDX-License-Identifier: MIT
// Intensities and noise against numbers computed here, in long double or from the random numbers themselves.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "statistics/channel_statistics.h"
#include "statistics/noise_estimate.h"

namespace rydecon {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();

StackHeader Shape(int width, int height, int times, SampleType type) {
    StackHeader header;
    header.width = width;
    header.height = height;
    header.times = times;
    header.sampleType = type;
    return header;
}

ChannelStatistics Of(const std::vector<float>& samples, SampleType type) {
    ChannelStatistics statistics(Shape(static_cast<int>(samples.size()), 1, 1, type));
    statistics.AddPlane(0, samples.data(), 0);
    return statistics;
}

TEST(ChannelStatistics, MomentsOverPlanes) {
    std::mt19937 random(1);
    std::uniform_real_distribution<float> uniform(1e6F, 1e6F + 10.0F);  // a small spread far from 0
    constexpr int kWidth = 7, kHeight = 5, kTimes = 3, kStride = 9;
    ChannelStatistics statistics(Shape(kWidth, kHeight, kTimes, SampleType::Float32));
    std::vector<float> all;
    std::vector<double> means;
    for (int t = 0; t < kTimes; ++t) {
        double sum = 0.0;
        for (int z = 0; z < 2; ++z) {
            std::vector<float> plane(kStride * kHeight, std::nanf(""));
            for (int n = 0; n < kWidth * kHeight; ++n) {
                const float sample = uniform(random) - 100.0F * static_cast<float>(t);
                plane[static_cast<std::size_t>(n / kWidth * kStride + n % kWidth)] = sample;
                all.push_back(sample);
                sum += sample;
            }
            statistics.AddPlane(t, plane.data(), kStride);
        }
        means.push_back(sum / (2 * kWidth * kHeight));
    }
    long double mean = 0, squares = 0;
    for (const float sample : all) mean += sample;
    mean /= static_cast<long double>(all.size());
    for (const float sample : all) squares += (sample - mean) * (sample - mean);
    EXPECT_EQ(statistics.samples(), all.size());
    EXPECT_EQ(statistics.nonFinite(), 0U);
    EXPECT_EQ(statistics.Least(), *std::min_element(all.begin(), all.end()));
    EXPECT_EQ(statistics.Largest(), *std::max_element(all.begin(), all.end()));
    EXPECT_NEAR(statistics.Mean().value(), static_cast<double>(mean), 1e-8);
    EXPECT_NEAR(statistics.Deviation().value(),
                static_cast<double>(std::sqrt(squares / static_cast<long double>(all.size()))), 1e-7);
    ASSERT_EQ(statistics.MeansOfTimes().size(), 3U);
    for (std::size_t t = 0; t < 3; ++t) EXPECT_NEAR(statistics.MeansOfTimes()[t], means[t], 1e-8);
    EXPECT_NEAR(statistics.Bleaching().value(), means[2] / means[0], 1e-12);
    EXPECT_EQ(statistics.SaturationLevel(), std::nullopt);
    EXPECT_EQ(statistics.saturated(), 0U);
    EXPECT_FALSE(statistics.Constant());
}

TEST(ChannelStatistics, WhatIsNotFiniteCountsAlone) {
    const ChannelStatistics some =
        Of({std::nanf(""), 3.0F, kInfinity, -kInfinity, 5.0F}, SampleType::Float32);
    EXPECT_EQ(some.nonFinite(), 3U);
    EXPECT_EQ(some.samples(), 5U);
    EXPECT_EQ(some.Mean(), 4.0);
    EXPECT_EQ(some.Largest(), 5.0);
    EXPECT_EQ(some.Quantile(1.0), Of({5.0F}, SampleType::Float32).Quantile(1.0));
    const ChannelStatistics none = Of({std::nanf(""), kInfinity}, SampleType::Float32);
    EXPECT_EQ(none.Mean(), std::nullopt);
    EXPECT_EQ(none.Least(), std::nullopt);
    EXPECT_EQ(none.Deviation(), std::nullopt);
    EXPECT_EQ(none.Quantile(0.5), std::nullopt);
    EXPECT_EQ(none.Bleaching(), std::nullopt);
    EXPECT_FALSE(none.Constant());
}

TEST(ChannelStatistics, ConstantAndZero) {
    EXPECT_TRUE(Of({7.0F, 7.0F}, SampleType::UInt16).Constant());
    EXPECT_EQ(Of({7.0F, 7.0F}, SampleType::UInt16).Deviation(), 0.0);
    EXPECT_TRUE(Of({0.0F, -0.0F}, SampleType::Float32).Constant());
    EXPECT_EQ(Of({0.0F, -0.0F}, SampleType::Float32).Quantile(0.5), 0.0);
}

TEST(ChannelStatistics, SaturationFollowsTypeAndSignificantBits) {
    EXPECT_EQ(Of({254.0F, 255.0F, 255.0F}, SampleType::UInt8).saturated(), 2U);
    EXPECT_EQ(Of({127.0F, -128.0F}, SampleType::Int8).saturated(), 1U);
    EXPECT_EQ(Of({65535.0F, 4095.0F}, SampleType::UInt16).saturated(), 1U);
    StackHeader header = Shape(4, 1, 1, SampleType::UInt16);
    header.significantBits = 12;
    ChannelStatistics camera(header);
    const std::vector<float> samples{4094.0F, 4095.0F, 4096.0F, 0.0F};
    camera.AddPlane(0, samples.data(), 4);
    EXPECT_EQ(camera.SaturationLevel(), 4095.0);
    EXPECT_EQ(camera.saturated(), 2U);
    header.significantBits = 99;
    EXPECT_EQ(ChannelStatistics(header).SaturationLevel(), 65535.0);
}

TEST(ChannelStatistics, BleachingNeedsAMeanAboveZero) {
    ChannelStatistics dark(Shape(2, 1, 2, SampleType::Float32));
    const std::vector<float> samples{-1.0F, 1.0F};
    dark.AddPlane(0, samples.data(), 2);
    dark.AddPlane(1, samples.data(), 2);
    EXPECT_EQ(dark.Bleaching(), std::nullopt);
    EXPECT_EQ(Of({1.0F}, SampleType::Float32).Bleaching(), std::nullopt);
}

TEST(IntensityHistogram, ShortIntegersAreExact) {
    for (const SampleType type : {SampleType::UInt16, SampleType::Int16}) {
        IntensityHistogram histogram(type);
        for (int value = 1; value <= 1000; ++value) histogram.Add(static_cast<float>(value * 30));
        EXPECT_EQ(histogram.total(), 1000U);
        EXPECT_EQ(histogram.Quantile(0.0), 30.0);
        EXPECT_EQ(histogram.Quantile(0.01), 300.0);
        EXPECT_EQ(histogram.Quantile(0.5), 15000.0);
        EXPECT_EQ(histogram.Quantile(0.999), 29970.0);
        EXPECT_EQ(histogram.Quantile(1.0), 30000.0);
    }
    IntensityHistogram bytes(SampleType::Int8);
    for (const float sample : {-128.0F, -1.0F, 127.0F}) bytes.Add(sample);
    EXPECT_EQ(bytes.Quantile(0.3), -128.0);
    EXPECT_EQ(bytes.Quantile(0.5), -1.0);
    EXPECT_EQ(bytes.Quantile(1.0), 127.0);
}

TEST(IntensityHistogram, FloatsAreWithinAQuarterOfAThousandth) {
    for (const float scale : {1e-20F, -1e-3F, 1.0F, -70000.0F, 1e30F}) {
        IntensityHistogram histogram(SampleType::Float32);
        std::vector<double> samples;
        for (int n = 1; n <= 2000; ++n) {
            const float sample = scale * static_cast<float>(n) / 7.0F;
            histogram.Add(sample);
            samples.push_back(sample);
        }
        std::sort(samples.begin(), samples.end());
        for (const double fraction : {0.01, 0.25, 0.5, 0.9, 1.0}) {
            const auto rank = static_cast<std::size_t>(std::ceil(fraction * 2000.0)) - 1;
            const double found = histogram.Quantile(fraction).value();
            EXPECT_NEAR(found / samples[rank], 1.0, 2.5e-4) << scale << ' ' << fraction;
        }
    }
}

/// Planes of a slope, with normal noise.
double NoiseOf(double sigma, int width, int height, int planes, bool edges) {
    std::mt19937 random(5);
    std::normal_distribution<double> noise(0.0, sigma);
    NoiseEstimate estimate;
    for (int k = 0; k < planes; ++k) {
        std::vector<float> plane;
        for (int j = 0; j < height; ++j) {
            for (int i = 0; i < width; ++i) {
                const double object =
                    edges && i % 20 == 0 ? 5000.0 : 100.0 + 3.0 * i - 2.0 * j + 0.01 * i * j;
                plane.push_back(static_cast<float>(object + noise(random)));
            }
        }
        estimate.AddPlane(plane.data(), width, width, height);
    }
    return estimate.Deviation().value();
}

TEST(NoiseEstimate, FindsTheDeviationOfWhiteNoise) {
    for (const double sigma : {0.5, 4.0, 60.0}) {
        EXPECT_NEAR(NoiseOf(sigma, 200, 150, 3, false) / sigma, 1.0, 0.03) << sigma;
    }
}

// The mean of magnitudes would be off by a factor of ten here.
TEST(NoiseEstimate, EdgesHardlyMoveIt) {
    EXPECT_NEAR(NoiseOf(4.0, 200, 150, 3, true) / 4.0, 1.0, 0.35);
}

TEST(NoiseEstimate, SlopesHaveNone) {
    EXPECT_NEAR(NoiseOf(0.0, 50, 40, 1, false), 0.0, 1e-2);
}

TEST(NoiseEstimate, CoarseIntegersAreJudgedByTheirMean) {
    std::mt19937 random(5);
    std::bernoulli_distribution one(0.02);  // more than half of the neighbourhoods are even
    std::vector<float> plane(300 * 300);
    for (float& sample : plane) sample = one(random) ? 1.0F : 0.0F;
    NoiseEstimate estimate;
    estimate.AddPlane(plane.data(), 300, 300, 300);
    EXPECT_GT(estimate.Deviation().value(), 0.02);
    EXPECT_LT(estimate.Deviation().value(), 0.14);
}

TEST(NoiseEstimate, OneSampleCountsInNineNeighbourhoods) {
    std::vector<float> plane(49, 0.0F);
    plane[24] = 1.0F;
    NoiseEstimate estimate;
    estimate.AddPlane(plane.data(), 7, 7, 7);
    // 16 of 25 magnitudes are 0, the nine others sum to 16.
    EXPECT_NEAR(estimate.Deviation().value(), std::sqrt(std::acos(-1.0) / 2.0) * 16.0 / 25.0 / 6.0, 1e-12);
}

TEST(NoiseEstimate, LeavesOutWhatIsNotFiniteAndWhatIsTooNarrow) {
    std::vector<float> plane(9, 1.0F);
    NoiseEstimate estimate;
    estimate.AddPlane(plane.data(), 3, 2, 3);
    estimate.AddPlane(plane.data(), 3, 3, 2);
    EXPECT_EQ(estimate.Deviation(), std::nullopt);
    plane[0] = std::nanf("");
    estimate.AddPlane(plane.data(), 3, 3, 3);
    EXPECT_EQ(estimate.Deviation(), std::nullopt);
    plane[0] = 1.0F;
    estimate.AddPlane(plane.data(), 3, 3, 3);
    EXPECT_EQ(estimate.Deviation(), 0.0);
}

TEST(NoiseEstimate, IsTheMedianOfThePlanes) {
    NoiseEstimate estimate;
    for (const float height : {8.0F, 1.0F, 2.0F}) {
        const std::vector<float> plane{0, 0, 0, 0, height, 0, 0, 0, 0};
        estimate.AddPlane(plane.data(), 3, 3, 3);
    }
    EXPECT_NEAR(estimate.Deviation().value(), 4.0 * 2.0 / (0.67449 * 6.0), 1e-12);
}

}  // namespace
}  // namespace rydecon
