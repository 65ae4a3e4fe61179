// SPDX-License-Identifier: MIT
#pragma once

// Wavelet pyramids of pictures, in double.

#include <array>

#include "cores/wavelet_filters.h"
#include "kernels/frame_blocks.h"

namespace gnr::detail {

/// Bands a, b, c, d of a level; bit 0 set where low-pass along x, bit 1 along y.
inline constexpr unsigned kPictureBands = 4;
/// Band d, the input of the next level.
inline constexpr unsigned kApproximation = 3;
inline constexpr unsigned kPictureLevels = 3;

using PictureFilters = WaveletFilterPair<double>;

/// Four bands for each of three levels. Those of level l have a side of the picture's >> (l + 1).
class BandPyramid {
  public:
    /// Bands of unknown content for a picture of W by H samples.
    BandPyramid(unsigned W, unsigned H);

    /// All bands were had.
    explicit operator bool() const;

    unsigned Width(unsigned l) const { return W_ >> (l + 1); }
    unsigned Height(unsigned l) const { return H_ >> (l + 1); }
    double* Band(unsigned b, unsigned l) const { return bands_[l][b].get(); }

    /// Bands := W(picture). False where the transform refused, as without memory or for uneven sides.
    [[nodiscard]] bool Decompose(const PictureFilters& filters, double* picture) const;
    /// picture := W^T(bands). What is rebuilt on the way replaces band d of the levels above the deepest.
    [[nodiscard]] bool Reconstruct(const PictureFilters& filters, double* picture) const;

  private:
    unsigned W_;
    unsigned H_;
    std::array<std::array<FrameBlock<double>, kPictureBands>, kPictureLevels> bands_;
};

/// f(b, l) for all bands, level by level.
template <class F>
void ForEachPictureBand(F f) {
    for (unsigned l = 0; l < kPictureLevels; ++l) {
        for (unsigned b = 0; b < kPictureBands; ++b) f(b, l);
    }
}

}  // namespace gnr::detail
