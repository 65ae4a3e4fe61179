// SPDX-License-Identifier: MIT
#pragma once

// Blur and its adjoint through the spectrum, in place. H is the transform of the PSF.

#include <gnr_deconvolution/kernels_3d.h>

namespace gnr::detail {

/// volume := F^-1(F(volume) H)
inline void BlurWithOtf(const DFT3D& s, float* volume, float* otf) {
    CRy3DDeconvolutionLow::DFT3D_Transform(&s, volume);
    CRy3DDeconvolutionLow::SSE_ComplexMultiply(volume, otf, s.total);
    CRy3DDeconvolutionLow::DFT3D_Inversion(&s, volume);
}

/// volume := F^-1(F(source) H); source keeps its samples.
inline void BlurWithOtf(const DFT3D& s, float* volume, float* source, float* otf) {
    CRy3DDeconvolutionLow::DFT3D_Transform_NonInPlace(&s, volume, source);
    CRy3DDeconvolutionLow::SSE_ComplexMultiply(volume, otf, s.total);
    CRy3DDeconvolutionLow::DFT3D_Inversion(&s, volume);
}

/// volume := F^-1(F(volume) conj(H)): back-projection.
inline void BackProjectWithOtf(const DFT3D& s, float* volume, float* otf) {
    CRy3DDeconvolutionLow::DFT3D_Transform(&s, volume);
    CRy3DDeconvolutionLow::SSE_ComplexMultiplyAdjoint(volume, otf, s.total);
    CRy3DDeconvolutionLow::DFT3D_Inversion(&s, volume);
}

}  // namespace gnr::detail
