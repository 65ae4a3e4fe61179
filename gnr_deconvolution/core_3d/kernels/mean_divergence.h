// SPDX-License-Identifier: MIT
#pragma once

// The I-divergence of CalculateIDIV for use inside the cores, where it runs once an iteration.

#include <gnr_deconvolution/kernels_3d.h>
#include <gnr_deconvolution/object_frame.h>

namespace gnr::detail {

/// Keeps the logarithm of an I-divergence finite where both volumes are 0.
inline constexpr double kDivergenceOffset = 1e-20;

/// Mean of a ln((a + 1e-20) / (b + 1e-20)) - a + b over the box, as CalculateIDIV: in double, the terms of a
/// row joining its sum one by one in that order. The logarithm is within 1 unit in the last place. A box of
/// no size gives NaN.
double MeanDivergence(const DFT3D& s, const float* a, const float* b, const SRyIRect3D& box);

}  // namespace gnr::detail
