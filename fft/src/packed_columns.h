// SPDX-License-Identifier: MIT
#pragma once

// Blocks of spectral columns between their three places: the packed frame, the half spectrum by rows, and the
// small array in which they are transformed, one column after the other.
//
// The columns u = 0 and u = W / 2 are transforms of real columns. They travel as one complex column, real and
// imaginary part, in the place of u = 0:  Z = F(0, v) + i F(W / 2, v).

#include <fftw3.h>

#include <cstddef>

namespace gnr::fft {

/// Sides, and how the half spectrum lies.
struct PackedSides {
    std::ptrdiff_t width;   ///< real samples a row, W; a power of two
    std::ptrdiff_t height;  ///< rows, H; a power of two

    /// Complex columns once the two real ones are joined.
    std::ptrdiff_t Columns() const { return width > 1 ? width / 2 : 1; }
    /// Complex numbers from one spectral row to the next: whole cache lines, an odd number of them in frames
    /// whose rows would otherwise meet in the same places of the cache.
    std::ptrdiff_t SpectrumStride() const { return width / 2 + 8; }
    /// Complex numbers from one column of a block to the next, likewise.
    std::ptrdiff_t BlockStride() const { return height + 8; }
    std::ptrdiff_t Samples() const { return width * height; }
};

/// A packed frame.
struct PackedFrame {
    float* first;
    int step;  ///< bytes from row to row
};

/// A block of columns: which they are, and where they are transformed.
struct ColumnBlock {
    std::ptrdiff_t first;
    std::ptrdiff_t count;
    fftwf_complex* values;
};

/// Half spectrum to block and back.
void TakeFromSpectrum(const PackedSides& s, const fftwf_complex* spectrum, const ColumnBlock& block);
void PutToSpectrum(const PackedSides& s, const ColumnBlock& block, fftwf_complex* spectrum);

/// Block to packed frame and back, times scale.
void PutToFrame(const PackedSides& s, const ColumnBlock& block, const PackedFrame& frame, float scale);
void TakeFromFrame(const PackedSides& s, const PackedFrame& frame, const ColumnBlock& block, float scale);

/// Values that a transfer frame holds of a block: its columns one after the other, without gaps; of the joined column
/// F(0, v) at v and F(W / 2, v) at H - v. To be had where a frame has at least two columns.
void PutToTransfer(const PackedSides& s, const ColumnBlock& block, float* transfer, float scale);

/// Block := block times transfer, or its conjugate, as PutToFrame with `forwardScale`, a product of packed frames and
/// TakeFromFrame with `inverseScale` give it.
struct TransferProduct {
    const float* transfer;
    bool conjugate;
    float forwardScale;
    float inverseScale;
};
void MultiplyBlock(const PackedSides& s, const ColumnBlock& block, const TransferProduct& product);

}  // namespace gnr::fft
