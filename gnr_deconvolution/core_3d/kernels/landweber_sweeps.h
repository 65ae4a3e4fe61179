// SPDX-License-Identifier: MIT
#pragma once

// The sweeps between the transforms and the wavelets of a Landweber step. Each is what the chain of kernels
// gives, sample by sample and rounding by rounding, in one parallel pass.
//
//   x  estimate     y  point at which the gradient is taken     r  gradient, H^T (g - H y)

#include <gnr_deconvolution/kernels_3d.h>

#include "kernels/cyclic_shift.h"
#include "kernels/mean_divergence.h"

namespace gnr::detail {

/// What becomes of a gradient.
struct LandweberStep {
    float length = 1.0f;         ///< of the step along the gradient
    float correction = 1.0f;     ///< factor of the new estimate
    bool extrapolates = false;   ///< the next point lies beyond the estimate
    float extrapolation = 0.0f;  ///< by this share of its last move
};

/// blurred := observed - blurred, whole buffer.
void SubtractFrom(const DFT3D& s, float* blurred, const float* observed);

/// packed := y + length r, shifted cyclically, image columns.
void PackStep(const DFT3D& s, float* packed, const CyclicShift& shift, const float* y, const float* r,
              float length);

/// x' := y + length r, times the correction, negatives cut
/// y  := x', or x' + extrapolation (x' - x)
/// x  := x'
/// Whole buffer; the extrapolation of the padding has no factor. The mean divergence of y from what it is compared
/// with, if anything.
double FinishStep(const DFT3D& s, float* x, float* y, const float* r, const LandweberStep& step,
                  const Comparison* comparison = nullptr);

/// The same, with image columns that come from a packed volume, shifted back, in the place of y + length r.
double FinishStep(const DFT3D& s, float* x, float* y, const float* r, const LandweberStep& step,
                  const float* packed, const CyclicShift& shift, const Comparison* comparison = nullptr);

/// Rows of the image columns side by side, and back. The padding of the volume stays.
void PackColumns(const DFT3D& s, float* packed, const float* volume);
void UnpackColumns(const DFT3D& s, float* volume, const float* packed);

}  // namespace gnr::detail
