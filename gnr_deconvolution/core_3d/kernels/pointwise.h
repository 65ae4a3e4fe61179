// SPDX-License-Identifier: MIT
#pragma once

// Sample formulas that several kernels share, and steps of the cores that fuse neighbouring kernels into one
// parallel sweep, each sample's arithmetic and rounding as the kernels give it.

#include <gnr_deconvolution/kernels_3d.h>

namespace gnr::detail {

/// Above 0 as it is; all else, NaN and -0 included, becomes +0.
constexpr float AboveZero(float v) {
    return v > 0.0f ? v : 0.0f;
}

/// SSE_MulFloatC3DXX by factor, then CutByZero.
void ScaleAndCutByZero(const DFT3D& s, float* volume, float factor);

/// ComplexConjugate on all threads.
void ConjugateParallel(const DFT3D& s, float* spectrum);

}  // namespace gnr::detail
