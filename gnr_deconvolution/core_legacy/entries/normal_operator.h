// SPDX-License-Identifier: MIT
#pragma once

// The two halves of the normal equation H^T H x = H^T g.

#include <gnr_deconvolution/kernels_3d.h>

namespace gnr::detail {

/// volume := F^-1(F(volume) |H|^2): blur and back-projection between one pair of transforms. |H|^2 is formed
/// as the product H conj(H), with its roundings and its imaginary part.
void ApplyNormalOperator(const DFT3D& s, float* volume, const float* otf);

/// target := H^T g
void BackProjectInto(const DFT3D& s, float* target, const float* g, float* otf);

}  // namespace gnr::detail
