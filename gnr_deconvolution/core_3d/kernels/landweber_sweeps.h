// SPDX-License-Identifier: MIT
#pragma once

// What a Landweber step does to rows between its transforms and its wavelets. Each is what the chain of kernels
// gives, sample by sample and rounding by rounding.
//
//   x  estimate     y  point at which the gradient is taken     r  gradient, H^T (g - H y)

#include <gnr_deconvolution/kernels_3d.h>

#include "kernels/cyclic_shift.h"

namespace gnr::detail {

/// What becomes of a gradient.
struct LandweberStep {
    float length = 1.0f;         ///< of the step along the gradient
    float correction = 1.0f;     ///< factor of the new estimate
    bool extrapolates = false;   ///< the next point lies beyond the estimate
    float extrapolation = 0.0f;  ///< by this share of its last move
    bool followed = false;       ///< by another step
};

/// A packed volume whose image columns are shifted.
struct ShiftedColumns {
    float* packed;
    CyclicShift shift;
};

// Pieces for sweeps that go row by row, on the calling thread.

/// row := observed - row, whole rows.
void SubtractRowFrom(const DFT3D& s, float* row, const float* observed);

/// y := y + length r, whole rows.
void StepRow(const DFT3D& s, float* y, const float* r, float length);

/// Row `row` of the packed volume := y + length r.
void PackStepRow(const DFT3D& s, const ShiftedColumns& to, std::int64_t row, const float* y, const float* r,
                 float length);

/// y := row `row` of the packed volume. The padding of y takes a step along that of a gradient, which is 0.
void UnpackStepRow(const DFT3D& s, const ShiftedColumns& from, std::int64_t row, float* y);

/// x' := y, times the correction, negatives cut
/// y  := x', or x' + extrapolation (x' - x)
/// x  := x'
/// Whole rows; the extrapolation of the padding has no factor. x and y may be one row where nothing is extrapolated.
void FinishRow(const DFT3D& s, float* x, float* y, const LandweberStep& step);

/// y := y times c, negatives cut, whole rows.
void ScaleAndClipRow(const DFT3D& s, float* y, float c);

// Whole sweeps on all threads.

/// Rows of the image columns side by side.
void PackColumns(const DFT3D& s, float* packed, const float* volume);

}  // namespace gnr::detail
