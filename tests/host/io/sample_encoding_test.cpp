// SPDX-License-Identifier: MIT

#include "io/sample_encoding.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

namespace rydecon {
namespace {

template <typename T>
std::vector<T> Encoded(SampleType type, const std::vector<float>& samples, ClippedSamples& clipped,
                       const std::optional<ValueRange>& rescale = std::nullopt) {
    std::vector<T> out(samples.size());
    clipped = EncodeSamples(type, rescale, samples.data(), samples.size(),
                            reinterpret_cast<std::byte*>(out.data()));
    return out;
}

TEST(SampleEncoding, IntegersAreTheNearestOfTwoTheEven) {
    ClippedSamples clipped;
    const auto bytes =
        Encoded<std::uint8_t>(SampleType::UInt8, {0.5F, 1.5F, 2.5F, 2.51F, 254.5F, -0.5F}, clipped);
    EXPECT_EQ(bytes, (std::vector<std::uint8_t>{0, 2, 2, 3, 254, 0}));
    EXPECT_EQ(clipped.total(), 0U);
    const auto words = Encoded<std::uint16_t>(SampleType::UInt16, {65534.5F, 65535.25F, 4660.49F}, clipped);
    EXPECT_EQ(words, (std::vector<std::uint16_t>{65534, 65535, 4660}));
    EXPECT_EQ(clipped.total(), 0U);
}

TEST(SampleEncoding, WhatDoesNotFitIsCutAndCounted) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    const std::vector<float> samples{-0.6F, -1e30F,    -kInfinity,    255.5F,
                                     1e30F, kInfinity, std::nanf(""), 7.0F};
    ClippedSamples clipped;
    EXPECT_EQ(Encoded<std::uint8_t>(SampleType::UInt8, samples, clipped),
              (std::vector<std::uint8_t>{0, 0, 0, 255, 255, 255, 0, 7}));
    EXPECT_EQ(clipped.low, 3U);
    EXPECT_EQ(clipped.high, 3U);
    EXPECT_EQ(clipped.notANumber, 1U);
    EXPECT_EQ((clipped += clipped).total(), 14U);
}

TEST(SampleEncoding, BothEndsOfARangeAreHit) {
    for (const ValueRange range :
         {ValueRange{-1.0F, 3.0F}, ValueRange{0.1F, 0.7F}, ValueRange{-3e38F, 3e38F}}) {
        ClippedSamples clipped;
        const auto words =
            Encoded<std::uint16_t>(SampleType::UInt16, {range.low, range.high}, clipped, range);
        EXPECT_EQ(words, (std::vector<std::uint16_t>{0, 65535}));
        EXPECT_EQ(clipped.total(), 0U);
    }
    ClippedSamples clipped;
    EXPECT_EQ(Encoded<std::uint8_t>(SampleType::UInt8, {2.0F, 2.0F}, clipped, ValueRange{2.0F, 2.0F}),
              (std::vector<std::uint8_t>{0, 0}));
    EXPECT_EQ(clipped.total(), 0U);
}

TEST(SampleEncoding, FloatsPassBitByBit) {
    const std::vector<float> samples{-0.0F, std::nanf("7"), -1e30F, std::numeric_limits<float>::denorm_min()};
    ClippedSamples clipped;
    const auto out = Encoded<float>(SampleType::Float32, samples, clipped, ValueRange{0.0F, 1.0F});
    EXPECT_EQ(std::memcmp(out.data(), samples.data(), samples.size() * sizeof(float)), 0);
    EXPECT_EQ(clipped.total(), 0U);
}

TEST(SampleEncoding, OtherTypesAreNotWritten) {
    std::byte out[8];
    const float sample = 1.0F;
    for (const SampleType type :
         {SampleType::Int8, SampleType::Int16, SampleType::UInt32, SampleType::Float64}) {
        EXPECT_THROW(EncodeSamples(type, {}, &sample, 1, out), std::invalid_argument);
    }
}

}  // namespace
}  // namespace rydecon
