// SPDX-License-Identifier: MIT
#pragma once

// From float32 to the samples of a file, and what is lost on the way.

#include <cstddef>
#include <optional>

#include "io/sample_conversion.h"

namespace rydecon {

/// Values that become 0 and the largest integer of a sample type.
struct ValueRange {
    float low = 0.0F;
    float high = 0.0F;
};

/// Samples that were cut to the range of an integer type, or were no numbers and became 0.
struct ClippedSamples {
    std::size_t low = 0;   // would have rounded below 0
    std::size_t high = 0;  // would have rounded above the largest integer
    std::size_t notANumber = 0;

    std::size_t total() const { return low + high + notANumber; }
    ClippedSamples& operator+=(const ClippedSamples& other);
};

/// Converts `count` samples to float32, uint16 or uint8 in the byte order of this machine. Integers are the nearest,
/// of two the even one. With `rescale` the values run linearly from low to 0 and from high to the largest integer;
/// without width of the range they are all 0. float32 passes unchanged.
ClippedSamples EncodeSamples(SampleType type, const std::optional<ValueRange>& rescale, const float* samples,
                             std::size_t count, std::byte* out);

/// The largest sample of an integer type; 1 of a float type.
double LargestOf(SampleType type);

}  // namespace rydecon
