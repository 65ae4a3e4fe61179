// SPDX-License-Identifier: MIT
#pragma once

// The total-variation step of a restoration: what the chain over ComputeTVDivergence3D gives, sample by
// sample and rounding by rounding, without volumes for gradient and divergence.

#include <gnr_deconvolution/kernels_3d.h>

namespace gnr::detail {

/// blurred := x + ((data - blurred) - lambda T(x)), whole buffer. T is 0 in the padding, and everywhere in a
/// volume without a second row or plane.
void StepDownTotalVariation(const DFT3D& s, float* blurred, const float* data, const float* x, float lambda);

}  // namespace gnr::detail
