// SPDX-License-Identifier: MIT
#pragma once

// Bringing the range of an image to 1 for a restoration that ends by itself.

#include <gnr_deconvolution/kernels_3d.h>

namespace gnr::detail {

/// Keeps the scaling of an image without a positive sample finite.
inline constexpr float kMaximumGuard = 1e-10f;

/// Divides the whole buffer by the largest image sample; returns that, guarded: the factor that scales back.
inline float ScaleToUnitMaximum(const DFT3D& s, float* image) {
    const float maximum = CRy3DDeconvolutionLow::GetMaxOfImageXX(&s, image) + kMaximumGuard;
    CRy3DDeconvolutionLow::SSE_MulFloatC3DXX(&s, image, 1.0f / maximum);
    return maximum;
}

}  // namespace gnr::detail
