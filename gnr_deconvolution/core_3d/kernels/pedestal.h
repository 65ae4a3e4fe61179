// SPDX-License-Identifier: MIT
#pragma once

// Lifting an image off zero and setting it down again, over the whole buffer, padding included.

#include <gnr_deconvolution/kernels_3d.h>

namespace gnr::detail {

/// What brings the darkest float of the buffer up to a fortieth of the range, 20 counts at most; 0 where it
/// is there already.
float PedestalOfBuffer(const DFT3D& s, const float* volume);

/// v := v + pedestal
void Lift(const DFT3D& s, float* volume, float pedestal);

/// v := max(0, v * factor - pedestal); a NaN becomes 0.
void ScaleAndLower(const DFT3D& s, float* volume, float factor, float pedestal);

}  // namespace gnr::detail
