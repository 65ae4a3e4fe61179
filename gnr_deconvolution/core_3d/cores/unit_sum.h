// SPDX-License-Identifier: MIT
#pragma once

// Bringing an image to sum 1 for a Wiener filter, and back to its own sum.

#include <gnr_deconvolution/kernels_3d.h>

#include "kernels/pointwise.h"

namespace gnr::detail {

/// Keeps these scalings finite where an image sums to 0.
inline constexpr float kSumGuard = 1e-10f;

/// Divides the image by its sum; returns the sum, guarded.
inline float ScaleToUnitSum(const DFT3D& s, float* image) {
    const float sum = CRy3DDeconvolutionLow::GetSumOfImageXX(&s, image) + kSumGuard;
    CRy3DDeconvolutionLow::SSE_MulFloatC3DXX(&s, image, 1.0f / sum);
    return sum;
}

/// Scales the image to the sum that ScaleToUnitSum gave, then cuts it by zero.
inline void RestoreSumAndCut(const DFT3D& s, float* image, float sum) {
    const float now = CRy3DDeconvolutionLow::GetSumOfImageXX(&s, image) + kSumGuard;
    ScaleAndCutByZero(s, image, sum / now);
}

}  // namespace gnr::detail
