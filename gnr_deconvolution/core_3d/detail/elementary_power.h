// SPDX-License-Identifier: MIT
#pragma once

// Powers with an exponent from 0 to 1, without branches or tables, so that a loop over samples becomes vector
// code.
//
//   v^alpha = e^y,  y = alpha ln(v),  e^y = 2^n e^r,  n = round(y / ln(2)),  r = y - n ln(2)
//
// with the Taylor polynomial of e^r, |r| <= ln(2) / 2, all in double: the exact power rounded to float, but for
// one result in a million or so that lies next to the middle of two floats.

#include <bit>
#include <cstdint>

#include "detail/elementary_log.h"

namespace gnr::detail {

/// e^y for y up to 200, good to 1e-12; below -200 as for -200, which no float can tell from 0.
inline double ExpForFloat(double y) {
    constexpr double perLn2 = 1.4426950408889634;
    constexpr double ln2 = 0.6931471805599453;
    constexpr double toInteger = 0x1.8p52;  // added, the integer part stands in the low bits
    const double limited = y > -200.0 ? (y < 200.0 ? y : 200.0) : -200.0;
    const double shifted = limited * perLn2 + toInteger;
    const double r = limited - (shifted - toInteger) * ln2;
    const double r2 = r * r;
    const double r4 = r2 * r2;
    const double first = (1.0 + r) + r2 * (1.0 / 2 + r * (1.0 / 6));
    const double second = (1.0 / 24 + r * (1.0 / 120)) + r2 * (1.0 / 720 + r * (1.0 / 5040));
    const double third = (1.0 / 40320 + r * (1.0 / 362880)) + r2 * (1.0 / 3628800);
    const double p = first + r4 * (second + r4 * third);
    return std::bit_cast<double>(std::bit_cast<std::uint64_t>(p) +
                                 (std::bit_cast<std::uint64_t>(shifted) << 52));
}

/// v^alpha for v of 0 or above, infinity included, and alpha from 0 to 1; 0^0 is 1.
inline float PowerUpToOne(float v, float alpha) {
    const auto power =
        static_cast<float>(ExpForFloat(static_cast<double>(alpha) * NaturalLog(static_cast<double>(v))));
    return alpha == 0.0f ? 1.0f : power;
}

}  // namespace gnr::detail
