// SPDX-License-Identifier: MIT
#pragma once

// Shrinkage of images in wavelet space.

#include "cores/wavelet_pyramid.h"
#include "detail/lanes4.h"
#include "kernels/cyclic_shift.h"

namespace gnr::detail {

/// v - threshold above the threshold, v + threshold below its negative, 0 elsewhere; a NaN becomes 0, and
/// everything does where the threshold is a NaN.
/// Source   Donoho 1995 (docs/bibliography.md)
class Shrinkage {
  public:
    explicit Shrinkage(float threshold) : t_(threshold) {}

    Lanes4 operator()(Lanes4 v) const { return Select(v > t_, v - t_, SelectOrZero(v < -t_, v + t_)); }

  private:
    Lanes4 t_;
};

/// f(b, l, floats) for the bands that are shrunk.
///
/// deliberate: the approximation, band 7 of the deepest level, is shrunk like any other band. Above it
/// band 7 is rebuilt from below, so there is nothing to shrink.
template <class F>
void ForEachShrunkBand(const PyramidShape& shape, F f) {
    ForEachBand(shape, [&](unsigned b, unsigned l, std::int64_t floats) {
        if (b != kLowPassBand || l + 1 == shape.levels) f(b, l, floats);
    });
}

/// A random shift of a volume that has samples: the next three numbers of rand, for x, y, z in this order.
CyclicShift DrawShift(const PyramidShape& shape);

/// Soft threshold of all bands of all levels of a packed volume, in place. kSuccess, or kNotReady where a
/// transform refused; then the volume is as it was.
int ShrinkByWavelets3D(const PyramidShape& shape, const WaveletFilters& filters, float* packed,
                       float threshold, WaveletBands& bands, WaveletWork& work);

}  // namespace gnr::detail
