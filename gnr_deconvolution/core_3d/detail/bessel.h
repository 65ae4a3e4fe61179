// SPDX-License-Identifier: MIT
#pragma once

// Bessel functions of the first kind, from the C library (POSIX), in double.

#include <math.h>

namespace gnr::detail {

inline double BesselJ0(double x) {
    return ::j0(x);
}
inline double BesselJ1(double x) {
    return ::j1(x);
}
inline double BesselJ2(double x) {
    return ::jn(2, x);
}

}  // namespace gnr::detail
