// SPDX-License-Identifier: MIT
#pragma once

// Shrinkage of images in wavelet space.

#include "cores/wavelet_pyramid.h"
#include "kernels/cyclic_shift.h"

namespace gnr::detail {

/// v := v - threshold above the threshold, v + threshold below its negative, 0 elsewhere; a NaN becomes 0,
/// and everything does where the threshold is a NaN. n floats, in parallel.
/// Source   Donoho 1995 (docs/bibliography.md)
void SoftThreshold(float* p, std::int64_t n, float threshold);

/// A random shift of a volume that has samples: the next three numbers of rand, for x, y, z in this order.
CyclicShift DrawShift(const PyramidShape& shape);

/// Soft threshold of all bands of all levels of a packed volume, in place. kSuccess, or kNotReady where a
/// transform refused; then the volume is as it was.
int ShrinkByWavelets3D(const PyramidShape& shape, const WaveletFilters& filters, float* packed,
                       float threshold, WaveletBands& bands, WaveletWork& work);

}  // namespace gnr::detail
