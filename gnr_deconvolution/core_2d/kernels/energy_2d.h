// SPDX-License-Identifier: MIT
#pragma once

// Energy of a frame: how concentrated its samples are.

namespace gnr::detail {

/// Sum of the squares over the sum, both in float and in the order of the samples; 1 where the sum is within
/// 1e-10 of 0.
float EnergyOfImage(const float* v, unsigned W, unsigned H);

}  // namespace gnr::detail
