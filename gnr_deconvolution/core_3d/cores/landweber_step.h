// SPDX-License-Identifier: MIT
#pragma once

// The step along the gradient of the squared error under a blur: what all Landweber forms share. Its work on rows
// goes into the passes of its transforms.
//
//   x  estimate     y  point at which the gradient is taken     g  observed image
//   r  volume of products with the transfer function H

#include "cores/transfer.h"
#include "kernels/landweber_sweeps.h"
#include "kernels/mean_divergence.h"

namespace gnr::detail {

/// From r = y on its way to its transform to the gradient, r = H^T (g - H y), but for what the next sweep does.
void LandweberGradient(const Transfer& H, const DFT3D& s, float* r, const float* g);

/// packed := y + length r, shifted; takes the rows of r.
void PackStep(const Transfer& H, const DFT3D& s, const ShiftedColumns& packed, const float* y, float* r,
              float length);

/// x and y := what FinishRow makes of y + length r; r := y on its way to the next transform, where the step is
/// followed. The mean divergence of y from what it is compared with, if anything. Takes the rows of r.
double FinishStep(const Transfer& H, const DFT3D& s, float* x, float* y, float* r, const LandweberStep& step,
                  const Comparison* comparison = nullptr);

/// The same of what PackStep took along and the wavelets left.
double FinishStep(const Transfer& H, const DFT3D& s, float* x, float* y, float* r, const LandweberStep& step,
                  const ShiftedColumns& packed, const Comparison* comparison = nullptr);

/// Step length of the forms without momentum.
inline constexpr float kOverRelaxation = 1.7f;

}  // namespace gnr::detail
