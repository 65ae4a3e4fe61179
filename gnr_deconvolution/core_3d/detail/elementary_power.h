// SPDX-License-Identifier: MIT
#pragma once

// Powers with an exponent from 0 to 1, without branches or tables, so that a loop over samples becomes vector
// code.
//
//   v^alpha = exp(alpha ln(v))
//
// in double: the exact power rounded to float, but for one result in a million or so that lies next to the
// middle of two floats.

#include "detail/elementary_exp.h"
#include "detail/elementary_log.h"

namespace gnr::detail {

/// v^alpha for v of 0 or above, infinity included, and alpha from 0 to 1; 0^0 is 1.
inline float PowerUpToOne(float v, float alpha) {
    const auto power = static_cast<float>(
        ExponentialForFloat(static_cast<double>(alpha) * NaturalLogOfNormal(static_cast<double>(v))));
    return alpha == 0.0f ? 1.0f : power;
}

}  // namespace gnr::detail
