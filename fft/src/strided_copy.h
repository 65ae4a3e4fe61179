// SPDX-License-Identifier: MIT
#pragma once

// Moves samples and frequencies between a caller's strides and a dense volume whose rows are shared.

#include <fftw3.h>

#include "geometry.h"

namespace gnr::fft {

/// The same lengths in dense rows of 2 (x / 2 + 1) floats, no offsets.
Geometry DenseGeometry(const Geometry& g);

/// Floats that a dense volume of these lengths takes.
std::ptrdiff_t DenseFloats(const Geometry& g);

/// Sets the floats behind the samples of each real row to 0, as far as the row stride reaches.
void ClearRowGaps(const Geometry& g, float* real);

void CopyReal(const Geometry& from, const float* source, const Geometry& to, float* target);
void CopySpectrum(const Geometry& from, const fftwf_complex* source, const Geometry& to,
                  fftwf_complex* target);

}  // namespace gnr::fft
