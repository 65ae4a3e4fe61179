// SPDX-License-Identifier: MIT
#pragma once

// The weight lambda of a regularisation term from a strength setting.

#include <cstdint>

namespace gnr::detail {

/// c n^2 in float, n twice the whole strength. c is the method's.
inline float WeightOfDoubledStrength(std::uint32_t doubled, float c) {
    const auto n = static_cast<float>(doubled);
    return n * c * n;
}
/// The c of a clamped Tikhonov-Miller factor.
inline constexpr float kClampedTikhonovMiller = -1e-6f;

/// Weight of a Tikhonov-Miller factor that weakens itself: -0.2 p^2 in double, of the float nearest to -0.2.
inline float WeightOfStrength(double p) {
    return static_cast<float>(p * -0.20000000298023224 * p);
}

}  // namespace gnr::detail
