// SPDX-License-Identifier: MIT
#pragma once

// What a Richardson-Lucy iteration projects back.

#include "cores/blur.h"
#include "kernels/richardson_lucy_update.h"

namespace gnr::detail {

/// t := g / (H x). Where the blur is 0, of either sign, t keeps that 0; the cores make it +0.
///
/// A transform gives the last digits by the alignment of its buffer; t alone is transformed, so that the one of
/// the host's image does not matter.
inline void ObservedRatio(const DFT3D& s, float* t, const float* x, const float* g, float* otf) {
    CopyVolume(s, t, x);
    BlurWithOtf(s, t, otf);
    RatioOrKeep(s, t, g);
}

}  // namespace gnr::detail
