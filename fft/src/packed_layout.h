// SPDX-License-Identifier: MIT
#pragma once

// Moves a half spectrum of dense complex rows into the packed format and back. Sides are powers of two.

#include <fftw3.h>

#include <cstddef>

namespace gnr::fft {

/// A packed spectrum and the half spectrum beside it.
struct PackedPlaces {
    std::ptrdiff_t width;     ///< real samples a row, W
    std::ptrdiff_t height;    ///< rows
    float* packed;            ///< first sample
    int step;                 ///< bytes from one packed row to the next
    fftwf_complex* spectrum;  ///< rows of W / 2 + 1
};

/// Half spectrum to packed format, times scale.
void Pack(const PackedPlaces& p, float scale);

/// Packed format to half spectrum, times scale; frequencies that are their own conjugates get imaginary part
/// 0, and those of the first and last column their conjugates.
void Unpack(const PackedPlaces& p, float scale);

}  // namespace gnr::fft
