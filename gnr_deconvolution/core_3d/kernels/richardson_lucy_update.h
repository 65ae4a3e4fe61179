// SPDX-License-Identifier: MIT
#pragma once

// The sweeps between the transforms of a Richardson-Lucy step. Each is what the chain of kernels gives,
// sample by sample and rounding by rounding, in one parallel pass.

#include <gnr_deconvolution/kernels_3d.h>

#include <cstdint>

#include "kernels/mean_divergence.h"

namespace gnr::detail {

// Pieces for sweeps that go row by row, on the calling thread.

/// SSE_Divide: row := observed / row, +0 where it would divide by 0.
void RatioRow(float* row, const float* observed, std::int64_t n);

/// How the factors of an update go together: what is skipped leaves no rounding.
struct UpdateForm {
    UpdateForm(float factor, bool clip) : c(factor), scales(factor != 1.0f), clips(clip) {}

    float c;
    bool scales;
    bool clips;  ///< below 0 to +0
};

/// row[i] := factors[i] row[i]
void MultiplyRow(float* row, const float* factors, std::int64_t n);

/// row := row times `first`, if any, times `second`, times c.
void UpdateRow(float* row, const float* first, const float* second, const UpdateForm& form, std::int64_t n);

/// The largest step from `previous` along row - previous that leaves every one of n samples at or above 0: the least of
/// -previous / d over samples with d = row - previous below 0 and row above 1e-30; the largest float where there is none.
float StepBoundOfRow(const float* row, const float* previous, std::int64_t n);

/// row := row + (alpha - 1) (row - previous), then below 0 to +0.
void OverRelaxRow(float* row, const float* previous, float alpha, std::int64_t n);

// Whole sweeps on all threads.

/// SSE_Multiply of x by `regularization` (skipped when null) and by `correction`, SSE_MulFloatC3DXX by c
/// (skipped at 1), and ClipSmallerThanZero where `clip`. Whole buffer. The mean divergence of x from what it is
/// compared with, if anything.
double RichardsonLucyUpdate(const DFT3D& s, float* x, const float* regularization, const float* correction,
                            float c, bool clip, const Comparison* comparison = nullptr);

/// KERNEL3D_Divide on all threads: blurred := observed / blurred, whole buffer; a 0 of either sign stays.
void RatioOrKeep(const DFT3D& s, float* blurred, const float* observed);

/// KERNEL3D_Copy on all threads: target := source, whole buffer.
void CopyVolume(const DFT3D& s, float* target, const float* source);

}  // namespace gnr::detail
