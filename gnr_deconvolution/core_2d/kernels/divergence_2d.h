// SPDX-License-Identifier: MIT
#pragma once

// The I-divergence between frames, for the stop test of the automatic methods.

struct IppiSize;

namespace gnr::detail {

/// Place of a picture in its frame; the maxima are exclusive.
struct FrameRectangle {
    int minX;
    int minY;
    int maxX;
    int maxY;
};

/// The rectangle of w by h pixels with this margin on its left and above.
inline FrameRectangle PlaceOf(unsigned w, unsigned h, unsigned margin) {
    return {static_cast<int>(margin), static_cast<int>(margin), static_cast<int>(w + margin),
            static_cast<int>(h + margin)};
}

/// Mean of a ln((a + 1e-20) / (b + 1e-20)) - a + b over the rectangle, in double; on all threads, on whose
/// number the last digits may depend.
void MeanIDivergence(const float* a, const float* b, double* result, const FrameRectangle& rectangle,
                     const IppiSize& frame);

}  // namespace gnr::detail
