// SPDX-License-Identifier: MIT
#pragma once

// The damping fields on all threads, for use inside the cores; the results are those of the serial kernels,
// bit for bit. To damp an estimate, multiply it by the finished field: a product formed in place during the
// sweep would change the neighbours that later Laplacians read.

#include <gnr_deconvolution/kernels_3d.h>

namespace gnr::detail {

/// CRy3DDeconvolutionLow::GetRegularization.
void RegularizeParallel(const DFT3D& s, float* out, const float* estimate, float lambda);

/// CRy3DDeconvolutionLow::GetRegularizationIterative. At most two sweeps.
void RegularizeUntilStableParallel(const DFT3D& s, float* out, const float* estimate, float& lambda);

/// CRy3DDeconvolutionLow::GetRegularizationRLTV.
void RegularizeTotalVariationParallel(const DFT3D& s, float* out, const float* estimate, float lambda);

}  // namespace gnr::detail
