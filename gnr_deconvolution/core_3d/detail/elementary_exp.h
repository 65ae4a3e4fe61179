// SPDX-License-Identifier: MIT
#pragma once

// Exponential function without branches or tables, so that a loop over samples becomes vector code.
//
//   x = k ln 2 + r,  |r| <= ln 2 / 2,  exp(x) = 2^k exp(r)
//
// with the Taylor polynomial of degree 10 for exp(r), whose remainder is below 3e-13: enough for results that
// are rounded to float. Arguments beyond +-700 count as +-700, which no float holds; a NaN stays one.

#include <bit>
#include <cstdint>
#include <initializer_list>

namespace gnr::detail {

/// exp(x) within a relative error of 1e-12.
inline double ExponentialForFloat(double x) {
    constexpr double log2e = 1.44269504088896338700e+00;
    constexpr double ln2High = 6.93147180369123816490e-01;
    constexpr double ln2Low = 1.90821492927058770002e-10;
    constexpr double limit = 700.0;
    // Adding this rounds to a whole number, which then stands in the low bits.
    constexpr double rounder = 0x1.8p52;

    const double below = x > limit ? limit : x;
    const double t = below < -limit ? -limit : below;
    const double shifted = t * log2e + rounder;
    const double k = shifted - rounder;
    const double r = (t - k * ln2High) - k * ln2Low;

    double sum = 1.0 / 3628800;
    for (const double factor : {1.0 / 362880, 1.0 / 40320, 1.0 / 5040, 1.0 / 720, 1.0 / 120, 1.0 / 24,
                                1.0 / 6, 1.0 / 2, 1.0, 1.0}) {
        sum = sum * r + factor;
    }
    const std::uint64_t exponent = (std::bit_cast<std::uint64_t>(shifted) + 1023) << 52;
    return sum * std::bit_cast<double>(exponent);
}

}  // namespace gnr::detail
