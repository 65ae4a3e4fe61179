// SPDX-License-Identifier: MIT
#pragma once

// Thresholds of the acceleration, which its kernels and the sweeps of the blind pass share.

#include <cmath>

#include "detail/float_bounds.h"

namespace gnr::detail {

/// Estimates not above this give no ratio of successive estimates.
inline constexpr float kLeastDivisorOfStep = FloatNotAbove(1e-20);
/// Ratios not above this have no logarithm worth using.
inline constexpr float kLeastRatio = FloatNotAbove(1e-10);
/// Exponents this close to 0 or 1 need no power.
inline constexpr double kExponentStep = 1e-10;
/// Sums of squared steps not above this give no exponent.
inline constexpr double kLeastSquaredStep = 1e-10;

inline bool IsPowerOfZero(float alpha) {
    return static_cast<double>(std::fabs(alpha)) < kExponentStep;
}
inline bool IsPowerOfOne(float alpha) {
    return static_cast<double>(std::fabs(alpha - 1.0f)) < kExponentStep;
}

/// numerator / denominator, cut to 0 to 1.
inline float ExponentOfSums(double numerator, double denominator) {
    if (!(denominator > kLeastSquaredStep)) return 0.0f;
    const double alpha = numerator / denominator;
    if (!(alpha > 0.0)) return 0.0f;
    if (!(alpha < 1.0)) return 1.0f;
    return static_cast<float>(alpha);
}

}  // namespace gnr::detail
