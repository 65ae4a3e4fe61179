// SPDX-License-Identifier: MIT
#pragma once

// The sweeps that end an iteration of a restoration in stages. Each is what the chain of kernels gives, sample
// by sample and rounding by rounding, over the whole buffer, in one parallel pass.
//
//   x  estimate     A  H^T H x, then the next x, for the next transform     B  H^T g

#include <gnr_deconvolution/kernels_3d.h>

namespace gnr::detail {

/// A := x + (B - A)
void StepDown(const DFT3D& s, float* A, const float* B, const float* x);

/// The volumes of a step along an element-wise conjugate direction.
struct ConjugateVolumes {
    float* x;
    float* A;
    const float* B;
    float* R;  ///< gradient
    float* P;  ///< direction
};

/// R := (A - B) + lambda x
/// P := R, and behind the `first` step the direction before times (R(before)^2 + 1) / (R^2 + 1), or times 0
///      where R^2 is 0, added
/// x := x + length P;  A := x
void StepAlongConjugate(const DFT3D& s, const ConjugateVolumes& volumes, float lambda, float length,
                        bool first);

}  // namespace gnr::detail
