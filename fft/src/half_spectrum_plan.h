// SPDX-License-Identifier: MIT
#pragma once

// One transform between a strided real volume and its half spectrum.

#include <fftw3.h>

#include "geometry.h"

namespace gnr::fft {

/// Real volume to half spectrum. `real` and `spectrum` are the first samples; the same memory only where the
/// geometry shares rows. Unscaled. False where FFTW has no plan.
bool TransformForward(const Geometry& g, float* real, fftwf_complex* spectrum);

/// Half spectrum to real volume in the same memory, whose geometry shares rows; times scale. The floats of
/// each real row behind its samples become 0. False where FFTW has no plan.
bool TransformBackwardInPlace(const Geometry& g, float* real, float scale);

}  // namespace gnr::fft
