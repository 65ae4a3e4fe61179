// SPDX-License-Identifier: MIT
#pragma once

// The step of an iteration on wavelet coefficients: along the gradient, shrunk, extrapolated.

#include <array>

#include "kernels/band_pyramid.h"

namespace gnr::detail {

/// v - T for v >= 0 and v + T else; 0 where that comes to 0 or beyond it. A NaN stays one.
/// Source   Donoho 1995 (docs/bibliography.md)
inline double SoftThreshold(double v, double T) {
    const double u = v >= 0.0 ? v - T : v + T;
    const bool reached = v >= 0.0 ? u <= 0.0 : u >= 0.0;
    return reached ? 0.0 : u;
}

/// A number for each band and level.
using BandTable = std::array<std::array<double, kPictureLevels>, kPictureBands>;

/// cur := S(cur + gradient / alpha, tau / alpha), S the soft threshold, for all bands alike. The approximations
/// above the deepest level stay, since reconstruction replaces them.
/// extrapolated   then cur := (cur - before) mu + cur, before the value at entry
void UpdateBandsAdaptive(const BandPyramid& cur, const BandPyramid& gradient, const BandTable& alpha,
                         double tau);
void UpdateBandsExtrapolated(const BandPyramid& cur, const BandPyramid& gradient, const BandTable& alpha,
                             double tau, double mu);

/// cur := S(cur + 1.7 gradient, tau), likewise.
void UpdateBandsFixed(const BandPyramid& cur, const BandPyramid& gradient, double tau);

}  // namespace gnr::detail
