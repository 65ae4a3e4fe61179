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

/// Direct Wiener filter in float against double, relative to the largest restored sample before the cut:
/// three transforms of a few thousand samples (2e-6 each at the most) and a filter that amplifies by at most
/// 1 / (2 sqrt(K)) = 5 what the first two leave.
inline constexpr double kWienerRelative = 1e-5;

}  // namespace gnr::test
