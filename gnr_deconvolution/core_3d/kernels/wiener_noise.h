// SPDX-License-Identifier: MIT
#pragma once

// The noise constants that direct Wiener filters choose from.

namespace gnr::detail {

/// Noise power K, relative to the signal power of an image of sum 1, from the whole part of a strength
/// setting: 0 to 4 give 0.01, 0.03, 0.08, 0.2, 0.5, anything else (NaN too) 0.01.
constexpr double WienerNoise(double strength) {
    constexpr double noise[] = {0.01, 0.03, 0.08, 0.2, 0.5};
    const bool listed = strength >= 0.0 && strength < 5.0;
    return noise[listed ? static_cast<int>(strength) : 0];
}

}  // namespace gnr::detail
