// SPDX-License-Identifier: MIT
// Histograms whose bins widen as the samples come, against counts made when all are known.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <random>
#include <vector>

#include "report/html/value_histogram.h"

namespace rydecon {
namespace {

std::map<double, std::uint64_t> CountedPlainly(const std::vector<float>& samples, double width) {
    std::map<double, std::uint64_t> counts;
    for (const float sample : samples) {
        if (std::isfinite(sample)) ++counts[std::floor(double{sample} / width)];
    }
    return counts;
}

/// Adds the samples in rows of seven and compares all bins of `pair.before` with the plain counts.
void ExpectExact(const std::vector<float>& samples, int mostBins) {
    ValueHistogram histogram;
    for (std::size_t n = 0; n < samples.size(); n += 7) {
        histogram.AddRow(samples.data() + n, std::min<std::size_t>(7, samples.size() - n));
    }
    const HistogramPair pair = OnSameBins(histogram, histogram, mostBins);
    ASSERT_FALSE(pair.before.empty());
    EXPECT_LE(static_cast<int>(pair.before.size()), mostBins);
    auto plain = CountedPlainly(samples, pair.width);
    for (std::size_t n = 0; n < pair.before.size(); ++n) {
        EXPECT_EQ(pair.before[n], plain[pair.start / pair.width + static_cast<double>(n)]) << n;
    }
    EXPECT_GT(pair.before.front(), 0u);
    EXPECT_GT(pair.before.back(), 0u);
    EXPECT_EQ(pair.before, pair.after);
}

std::vector<float> Noise(std::size_t count, float offset, float spread) {
    std::mt19937 engine(5);
    std::vector<float> samples(count);
    for (float& sample : samples) {
        sample = offset + spread * (static_cast<float>(engine() % 20001) / 10000.0f - 1.0f);
    }
    return samples;
}

TEST(ValueHistogram, CountsAreThoseOfAllSamplesAtOnce) {
    ExpectExact(Noise(5000, 0.0f, 100.0f), 256);
    ExpectExact(Noise(5000, 3000.0f, 1.0f), 256);
    ExpectExact(Noise(5000, -1.0f, 1e-3f), 100);
    ExpectExact(Noise(5000, 1e30f, 1e29f), 64);
}

TEST(ValueHistogram, RangeMayGrowAcrossAllThatAFloatHolds) {
    constexpr float least = std::numeric_limits<float>::denorm_min();
    constexpr float largest = std::numeric_limits<float>::max();
    ExpectExact({0.0f, least, -least, 1.0f, -1e-20f, 1e20f, largest, -largest, 5.0f}, 256);
    ExpectExact({largest, 1.0f, least}, 1);
    ExpectExact({-1e-20f, -0.0f, 500.0f, 499.99997f}, 256);  // close below the edge of a bin
}

TEST(ValueHistogram, WidthIsTheFinestThatFits) {
    ValueHistogram histogram;
    std::vector<float> samples(256);
    for (std::size_t n = 0; n < samples.size(); ++n) samples[n] = static_cast<float>(n);
    histogram.AddRow(samples.data(), samples.size());
    EXPECT_EQ(OnSameBins(histogram, histogram, 256).width, 1.0);
    EXPECT_EQ(OnSameBins(histogram, histogram, 255).width, 2.0);
}

TEST(ValueHistogram, OneValueIsOneBin) {
    for (const float value : {0.0f, 7.5f, -1e-30f}) ExpectExact({value, value, value}, 256);
}

TEST(ValueHistogram, WhatIsNotFiniteIsLeftOut) {
    constexpr float inf = std::numeric_limits<float>::infinity();
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    ExpectExact({nan, 1.0f, inf, -inf, 2.0f, nan, 3.0f, nan, nan}, 256);
    ValueHistogram empty;
    const float samples[] = {nan, inf, -inf};
    empty.AddRow(samples, 3);
    EXPECT_TRUE(empty.empty());
    EXPECT_TRUE(OnSameBins(empty, empty, 256).before.empty());
}

TEST(ValueHistogram, PairSharesBinsThatHoldBoth) {
    ValueHistogram before;
    ValueHistogram after;
    const std::vector<float> low = Noise(700, 10.0f, 10.0f);
    const std::vector<float> high = Noise(900, 1000.0f, 1000.0f);
    before.AddRow(low.data(), low.size());
    after.AddRow(high.data(), high.size());
    const HistogramPair pair = OnSameBins(before, after, 256);
    const auto sum = [](const std::vector<std::uint64_t>& counts) {
        std::uint64_t total = 0;
        for (const auto count : counts) total += count;
        return total;
    };
    EXPECT_EQ(pair.before.size(), pair.after.size());
    EXPECT_EQ(sum(pair.before), 700u);
    EXPECT_EQ(sum(pair.after), 900u);
    EXPECT_EQ(pair.width, 8.0);
    auto plain = CountedPlainly(low, 8.0);
    EXPECT_EQ(pair.before[0], plain[0]);
    EXPECT_EQ(pair.before[2], plain[2]);

    const HistogramPair half = OnSameBins(before, ValueHistogram(), 256);
    EXPECT_EQ(sum(half.before), 700u);
    EXPECT_EQ(sum(half.after), 0u);
}

}  // namespace
}  // namespace rydecon
