// SPDX-License-Identifier: MIT

#include "io/sample_conversion.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

namespace rydecon {
namespace {

template <typename T>
ConversionLoss ConvertAll(SampleType type, const std::vector<T>& samples, std::vector<float>& out) {
    // One byte off, so that no sample is aligned.
    std::vector<std::byte> bytes(samples.size() * sizeof(T) + 1);
    std::memcpy(bytes.data() + 1, samples.data(), samples.size() * sizeof(T));
    out.assign(samples.size(), -7.0F);
    return ConvertSamples(type, false, bytes.data() + 1, samples.size(), out.data());
}

TEST(SampleConversion, IntegersOfUpTo16BitsAreExact) {
    std::vector<float> out;
    EXPECT_EQ(ConvertAll<std::uint8_t>(SampleType::UInt8, {0, 1, 255}, out).inexact, 0U);
    EXPECT_EQ(out, (std::vector<float>{0, 1, 255}));
    EXPECT_EQ(ConvertAll<std::int8_t>(SampleType::Int8, {-128, 0, 127}, out).inexact, 0U);
    EXPECT_EQ(out, (std::vector<float>{-128, 0, 127}));
    EXPECT_EQ(ConvertAll<std::uint16_t>(SampleType::UInt16, {0, 65535}, out).inexact, 0U);
    EXPECT_EQ(out, (std::vector<float>{0, 65535}));
    EXPECT_EQ(ConvertAll<std::int16_t>(SampleType::Int16, {-32768, 32767}, out).inexact, 0U);
    EXPECT_EQ(out, (std::vector<float>{-32768, 32767}));
}

TEST(SampleConversion, LongIntegersTellWhichLoseDigits) {
    std::vector<float> out;
    const auto loss =
        ConvertAll<std::uint32_t>(SampleType::UInt32, {16777216U, 16777217U, 4294967295U, 4294967040U}, out);
    EXPECT_EQ(loss.inexact, 2U);
    EXPECT_EQ(out, (std::vector<float>{16777216.0F, 16777216.0F, 4294967296.0F, 4294967040.0F}));
    EXPECT_EQ(ConvertAll<std::int32_t>(SampleType::Int32, {-16777217, -5, 2147483647}, out).inexact, 2U);
    EXPECT_EQ(out, (std::vector<float>{-16777216.0F, -5.0F, 2147483648.0F}));
}

TEST(SampleConversion, DoublesTellLostDigitsAndOverflow) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    std::vector<float> out;
    const auto loss = ConvertAll<double>(SampleType::Float64,
                                         {0.5, 0.1, 1e300, -1e39, kInfinity, std::nan(""), 1e-60}, out);
    EXPECT_EQ(loss.inexact, 2U);  // 0.1 and 1e-60
    EXPECT_EQ(loss.tooLarge, 2U);
    EXPECT_EQ(out[0], 0.5F);
    EXPECT_EQ(out[1], 0.1F);
    EXPECT_EQ(out[4], std::numeric_limits<float>::infinity());
    EXPECT_TRUE(std::isnan(out[5]));
    EXPECT_EQ(out[6], 0.0F);
}

TEST(SampleConversion, FloatsPassBitForBit) {
    const std::vector<float> samples{0.1F, -0.0F, std::numeric_limits<float>::denorm_min(), 3.4e38F};
    std::vector<float> out;
    EXPECT_EQ(ConvertAll(SampleType::Float32, samples, out).inexact, 0U);
    EXPECT_EQ(std::memcmp(out.data(), samples.data(), sizeof(float) * samples.size()), 0);
}

TEST(SampleConversion, ForeignByteOrderIsTurned) {
    const std::vector<std::byte> two{std::byte{0x12}, std::byte{0x34}};
    std::vector<float> plain(1);
    std::vector<float> swapped(1);
    ConvertSamples(SampleType::UInt16, false, two.data(), 1, plain.data());
    ConvertSamples(SampleType::UInt16, true, two.data(), 1, swapped.data());
    EXPECT_EQ(plain[0] + swapped[0], static_cast<float>(0x1234 + 0x3412));
    EXPECT_NE(plain[0], swapped[0]);

    const double pi = 3.25;
    std::vector<std::byte> reversed(sizeof pi);
    std::memcpy(reversed.data(), &pi, sizeof pi);
    std::reverse(reversed.begin(), reversed.end());
    ConvertSamples(SampleType::Float64, true, reversed.data(), 1, swapped.data());
    EXPECT_EQ(swapped[0], 3.25F);
}

TEST(SampleConversion, NonFiniteSamplesAreCounted) {
    const float infinity = std::numeric_limits<float>::infinity();
    const std::vector<float> row{0.0F, infinity, 3.4e38F, -infinity, std::nanf("")};
    EXPECT_EQ(CountNonFinite(row.data(), row.size()), 3U);
    EXPECT_EQ(CountNonFinite(row.data(), 1), 0U);
    EXPECT_EQ(CountNonFinite(row.data(), 0), 0U);
}

}  // namespace
}  // namespace rydecon
