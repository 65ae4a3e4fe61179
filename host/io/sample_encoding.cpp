// SPDX-License-Identifier: MIT
#include "io/sample_encoding.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <stdexcept>

namespace rydecon {
namespace {

template <typename T>
ClippedSamples EncodeIntegers(const std::optional<ValueRange>& rescale, const float* samples,
                              std::size_t count, std::byte* out) {
    constexpr double kLargest = std::numeric_limits<T>::max();
    const double low = rescale ? rescale->low : 0.0;
    const double width = rescale ? static_cast<double>(rescale->high) - rescale->low : kLargest;
    ClippedSamples clipped;
    for (std::size_t i = 0; i < count; ++i) {
        // High minus low over width is 1 exactly, so that both ends of a range are hit.
        const double value =
            rescale ? (width > 0.0 ? (samples[i] - low) / width * kLargest : 0.0) : samples[i];
        clipped.low += value < -0.5;
        clipped.high += value >= kLargest + 0.5;
        clipped.notANumber += std::isnan(value);
        const double kept = value > 0.0 ? std::min(value, kLargest) : 0.0;
        // 2^52 leaves no digits behind the point: the addition rounds to the nearest, of two to the even one.
        constexpr double kNoFraction = 4503599627370496.0;
        const T integer = static_cast<T>((kept + kNoFraction) - kNoFraction);
        std::memcpy(out + i * sizeof(T), &integer, sizeof(T));
    }
    return clipped;
}

}  // namespace

ClippedSamples& ClippedSamples::operator+=(const ClippedSamples& other) {
    low += other.low;
    high += other.high;
    notANumber += other.notANumber;
    return *this;
}

ClippedSamples EncodeSamples(SampleType type, const std::optional<ValueRange>& rescale, const float* samples,
                             std::size_t count, std::byte* out) {
    switch (type) {
        case SampleType::UInt8:
            return EncodeIntegers<std::uint8_t>(rescale, samples, count, out);
        case SampleType::UInt16:
            return EncodeIntegers<std::uint16_t>(rescale, samples, count, out);
        case SampleType::Float32:
            std::memcpy(out, samples, count * sizeof(float));
            return {};
        default:
            throw std::invalid_argument("samples are written as uint8, uint16 or float32");
    }
}

double LargestOf(SampleType type) {
    switch (type) {
        case SampleType::UInt8:
            return std::numeric_limits<std::uint8_t>::max();
        case SampleType::Int8:
            return std::numeric_limits<std::int8_t>::max();
        case SampleType::UInt16:
            return std::numeric_limits<std::uint16_t>::max();
        case SampleType::Int16:
            return std::numeric_limits<std::int16_t>::max();
        case SampleType::UInt32:
            return std::numeric_limits<std::uint32_t>::max();
        case SampleType::Int32:
            return std::numeric_limits<std::int32_t>::max();
        case SampleType::Float32:
        case SampleType::Float64:
            return 1.0;
    }
    throw std::logic_error("unknown sample type");
}

}  // namespace rydecon
