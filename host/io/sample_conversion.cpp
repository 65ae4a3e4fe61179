// SPDX-License-Identifier: MIT

#include "io/sample_conversion.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <type_traits>

namespace rydecon {
namespace {

// Floats hold every integer of up to 24 bits.
template <typename T>
constexpr bool kAlwaysExact = std::is_same_v<T, float> || (std::is_integral_v<T> && sizeof(T) <= 2);

template <typename T, bool kSwap>
T LoadSample(const std::byte* bytes) {
    std::array<std::byte, sizeof(T)> ordered;
    std::memcpy(ordered.data(), bytes, sizeof(T));
    if constexpr (kSwap) std::reverse(ordered.begin(), ordered.end());
    return std::bit_cast<T>(ordered);
}

template <typename T, bool kSwap>
ConversionLoss ConvertRun(const std::byte* samples, std::size_t count, float* out) {
    ConversionLoss loss;
    for (std::size_t i = 0; i < count; ++i) {
        const T sample = LoadSample<T, kSwap>(samples + i * sizeof(T));
        const float value = static_cast<float>(sample);
        out[i] = value;
        if constexpr (!kAlwaysExact<T>) {
            const double exact = static_cast<double>(sample);
            if (std::isnan(exact)) continue;
            const bool overflow = std::isinf(value) && !std::isinf(exact);
            loss.tooLarge += overflow;
            loss.inexact += !overflow && static_cast<double>(value) != exact;
        }
    }
    return loss;
}

template <typename T>
ConversionLoss Convert(bool swapBytes, const std::byte* samples, std::size_t count, float* out) {
    return swapBytes ? ConvertRun<T, true>(samples, count, out) : ConvertRun<T, false>(samples, count, out);
}

}  // namespace

std::string_view NameOf(SampleType type) {
    switch (type) {
        case SampleType::UInt8:
            return "uint8";
        case SampleType::Int8:
            return "int8";
        case SampleType::UInt16:
            return "uint16";
        case SampleType::Int16:
            return "int16";
        case SampleType::UInt32:
            return "uint32";
        case SampleType::Int32:
            return "int32";
        case SampleType::Float32:
            return "float32";
        case SampleType::Float64:
            return "float64";
    }
    throw std::logic_error("unknown sample type");
}

std::size_t BytesOf(SampleType type) {
    switch (type) {
        case SampleType::UInt8:
        case SampleType::Int8:
            return 1;
        case SampleType::UInt16:
        case SampleType::Int16:
            return 2;
        case SampleType::UInt32:
        case SampleType::Int32:
        case SampleType::Float32:
            return 4;
        case SampleType::Float64:
            return 8;
    }
    throw std::logic_error("unknown sample type");
}

ConversionLoss& ConversionLoss::operator+=(const ConversionLoss& other) {
    inexact += other.inexact;
    tooLarge += other.tooLarge;
    return *this;
}

ConversionLoss ConvertSamples(SampleType type, bool swapBytes, const std::byte* samples, std::size_t count,
                              float* out) {
    static_assert(std::numeric_limits<float>::is_iec559 && std::numeric_limits<double>::is_iec559);
    switch (type) {
        case SampleType::UInt8:
            return Convert<std::uint8_t>(swapBytes, samples, count, out);
        case SampleType::Int8:
            return Convert<std::int8_t>(swapBytes, samples, count, out);
        case SampleType::UInt16:
            return Convert<std::uint16_t>(swapBytes, samples, count, out);
        case SampleType::Int16:
            return Convert<std::int16_t>(swapBytes, samples, count, out);
        case SampleType::UInt32:
            return Convert<std::uint32_t>(swapBytes, samples, count, out);
        case SampleType::Int32:
            return Convert<std::int32_t>(swapBytes, samples, count, out);
        case SampleType::Float32:
            return Convert<float>(swapBytes, samples, count, out);
        case SampleType::Float64:
            return Convert<double>(swapBytes, samples, count, out);
    }
    throw std::logic_error("unknown sample type");
}

std::size_t CountNonFinite(const float* row, std::size_t count) {
    return static_cast<std::size_t>(
        std::count_if(row, row + count, [](float value) { return !std::isfinite(value); }));
}

}  // namespace rydecon
