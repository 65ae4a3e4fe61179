// SPDX-License-Identifier: MIT
#pragma once

// Bessel function of the first kind, from the C library (POSIX), in double.

#include <math.h>

namespace gnr::detail {

inline double BesselJ0(double x) {
    return ::j0(x);
}

}  // namespace gnr::detail
