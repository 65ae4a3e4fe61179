// SPDX-License-Identifier: MIT
#pragma once

// The sweeps between the transforms of a blind pass, parallel. Each is what a chain of kernels gives, sample by
// sample and rounding by rounding, but for powers and logarithms: these are the exact values rounded to float,
// to within one unit in the last place, where a C library may err by more.

#include <gnr_deconvolution/kernels_3d.h>

namespace gnr::detail {

/// How a volume is raised to a power.
enum class Power {
    OfColumns,     ///< PowVkAlpha3D
    WithShortcuts  ///< SSE_PowVkAlpha3D
};

/// What a ratio becomes where it would divide by 0.
enum class ZeroDivisor {
    Stays,       ///< KERNEL3D_Divide
    BecomesZero  ///< SSE_Divide
};

/// a := g / a, whole buffer.
void FormRatio(const DFT3D& s, float* a, const float* g, ZeroDivisor zero);

/// v := v^alpha, alpha from 0 to 1, then A := A v, whole buffer.
void Extrapolate(const DFT3D& s, float* A, float* v, float alpha, Power power);

/// v := A / previous by GetPVKM1_3D and previous := A, then as above.
void StepAndExtrapolate(const DFT3D& s, float* A, float* v, float* previous, float alpha, Power power);

/// v := A / previous by GetPVKM1_3D; where `keep`, previous := A.
void Step(const DFT3D& s, const float* A, float* v, float* previous, bool keep);

/// Recompute_dAlphaK3D.
float ExponentOfStep(const DFT3D& s, float* planes, const float* A, const float* previous,
                     const float* gradient1, const float* gradient2);

/// Three volumes := three volumes, which may be the same ones in another order.
void Arrange(const DFT3D& s, float* const (&target)[3], const float* const (&source)[3]);

}  // namespace gnr::detail
