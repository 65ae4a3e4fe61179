// SPDX-License-Identifier: MIT
#pragma once

// The sweeps between the transforms of a blind pass, whole buffer and parallel. Each is what the chain of
// kernels gives, sample by sample and rounding by rounding.

#include <gnr_deconvolution/kernels_3d.h>

namespace gnr::detail {

/// PowVkAlpha3D of v by alpha, KERNEL3D_Multiply of A by it.
void ExtrapolateByPower(const DFT3D& s, float* A, float* v, float alpha);
/// The same by SSE_PowVkAlpha3D with its shortcuts.
void ExtrapolateByShortcuts(const DFT3D& s, float* A, float* v, float alpha);

/// KERNEL3D_Divide and SSE_Divide: a := g / a; where a is 0 it stays, or becomes +0.
void RatioOrKeep(const DFT3D& s, float* a, const float* g);
void RatioOrZero(const DFT3D& s, float* a, const float* g);

}  // namespace gnr::detail
