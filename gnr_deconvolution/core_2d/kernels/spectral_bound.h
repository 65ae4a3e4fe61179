// SPDX-License-Identifier: MIT
#pragma once

// How strongly a blur couples the bands of a picture's pyramid with one another.

#include <cstddef>

#include "kernels/band_pyramid.h"
#include "kernels/band_steps.h"

namespace gnr::detail {

/// sqrt(max of |a b|^2) over `frequencies` complex numbers in pairs of floats; product and square in float. A
/// NaN is never taken.
double SpectralBound(const float* a, const float* b, std::size_t frequencies);

/// alpha: the couplings of a band with all twelve, summed, plus 0.01, at least 0.25.
///
///   coupling of A and B = the largest |F(A) F(B)|,  both repeated to the larger size
///
/// psf   pyramid of the PSF
/// False without memory; then alpha is as it was.
[[nodiscard]] bool StepDivisors(const BandPyramid& psf, BandTable& alpha);

}  // namespace gnr::detail
