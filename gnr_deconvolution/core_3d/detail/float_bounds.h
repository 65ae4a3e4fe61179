// SPDX-License-Identifier: MIT
#pragma once

// Comparisons of floats with thresholds that are doubles, done in float.

#include <bit>
#include <cstdint>

namespace gnr::detail {

/// The largest float that is not above a positive threshold. For every float v, NaN included,
/// v > FloatNotAbove(t) holds exactly where double(v) > t does.
constexpr float FloatNotAbove(double threshold) {
    const float nearest = static_cast<float>(threshold);
    const bool above = static_cast<double>(nearest) > threshold;
    return above ? std::bit_cast<float>(std::bit_cast<std::uint32_t>(nearest) - 1) : nearest;
}

}  // namespace gnr::detail
