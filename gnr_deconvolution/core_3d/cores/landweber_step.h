// SPDX-License-Identifier: MIT
#pragma once

// The gradient of the squared error under a blur: what all Landweber forms share.

#include "cores/blur.h"
#include "kernels/landweber_sweeps.h"

namespace gnr::detail {

/// gradient := H^T (g - H y); g, y and H stay.
inline void LandweberGradient(const DFT3D& s, float* gradient, const float* g, float* y, float* otf) {
    BlurWithOtf(s, gradient, y, otf);
    SubtractFrom(s, gradient, g);
    BackProjectWithOtf(s, gradient, otf);
}

/// Step length of the forms without momentum.
inline constexpr float kOverRelaxation = 1.7f;

}  // namespace gnr::detail
