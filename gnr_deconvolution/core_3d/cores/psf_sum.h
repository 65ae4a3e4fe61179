// SPDX-License-Identifier: MIT
#pragma once

// The correction for a PSF that does not sum to 1: applied to the estimate instead of normalising the PSF.

#include <gnr_deconvolution/kernels_3d.h>

namespace gnr::detail {

/// A PSF whose sum is below this is taken as it is.
inline constexpr float kLeastPsfSum = 1e-10f;

/// c = 1 / sum of the PSF for the cores; a sum that is no number gives none.
inline float PsfSumCorrection(const DFT3D& s, float* psf) {
    const float sum = CRy3DDeconvolutionLow::GetSumOfImageXX(&s, psf);
    return sum < kLeastPsfSum ? 1.0f : 1.0f / sum;
}

/// The same for the one-call entries, in which a sum that is no number gives 1.
inline float PsfSumCorrectionOfEntry(const DFT3D& s, float* psf) {
    const float sum = CRy3DDeconvolutionLow::GetSumOfImageXX(&s, psf);
    return sum >= kLeastPsfSum ? 1.0f / sum : 1.0f;
}

}  // namespace gnr::detail
