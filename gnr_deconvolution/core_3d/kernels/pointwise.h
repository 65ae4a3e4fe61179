// SPDX-License-Identifier: MIT
#pragma once

// Steps of the cores that fuse neighbouring kernels into one parallel sweep, each sample's arithmetic and
// rounding as the kernels give it.

#include <gnr_deconvolution/kernels_3d.h>

namespace gnr::detail {

/// SSE_MulFloatC3DXX by factor, then CutByZero.
void ScaleAndCutByZero(const DFT3D& s, float* volume, float factor);

}  // namespace gnr::detail
