// SPDX-License-Identifier: MIT
#pragma once

// From the samples of a file to the float32 that the program works on, and what is lost on the way.

#include <cstddef>
#include <string_view>

namespace rydecon {

enum class SampleType { UInt8, Int8, UInt16, Int16, UInt32, Int32, Float32, Float64 };

/// "uint16", "float32", ...
std::string_view NameOf(SampleType type);

std::size_t BytesOf(SampleType type);

struct ConversionLoss {
    std::size_t inexact = 0;   // samples whose value changed in the last digits
    std::size_t tooLarge = 0;  // finite samples beyond the range of float32

    ConversionLoss& operator+=(const ConversionLoss& other);
};

/// Converts `count` samples, which need no alignment, to float32, rounding to nearest.
/// `swapBytes`: the samples are not in the byte order of this machine. Not-a-number and infinity pass
/// unchanged.
ConversionLoss ConvertSamples(SampleType type, bool swapBytes, const std::byte* samples, std::size_t count,
                              float* out);

/// Samples of a row that are infinite or not a number.
std::size_t CountNonFinite(const float* row, std::size_t count);

}  // namespace rydecon
