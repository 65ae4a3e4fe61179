// SPDX-License-Identifier: MIT
#pragma once

// All tolerances of comparisons that are not bit for bit, each with its reason.

#include <cmath>
#include <limits>

namespace gnr::test {

/// Single-precision transforms against a double-precision one: rounding grows with the number of butterfly
/// stages, so the bound is c eps log2 N relative to the largest value; c = 4 leaves room for prime lengths.
inline double TransformTolerance(double samples, double largest) {
    const double eps = std::numeric_limits<float>::epsilon();
    return 4.0 * eps * (std::log2(samples) + 1.0) * largest;
}

/// Parallel sums in double, rounded to float: one rounding at the end, the order of additions is far below
/// it.
inline constexpr double kParallelSumRelative = 1.2e-7;

/// Means in double of some thousand terms of one magnitude, against extended precision: about one rounding a
/// term, most of which cancel.
inline constexpr double kIDivergenceRelative = 1e-12;

}  // namespace gnr::test
