// SPDX-License-Identifier: MIT
#pragma once

// The fixed-count Richardson-Lucy iteration with a damping factor, which entries choose.

#include <gnr_deconvolution/kernels_3d.h>

#include "frame/progress.h"

namespace gnr::detail {

/// A damping factor R(x) and its weight.
struct Damping {
    /// Writes the factor of an estimate to every float of `out`.
    using Field = void (*)(const DFT3D& s, float* out, const float* estimate, float lambda);

    Field field;
    float lambda;
    bool applies;
};

/// x := x R(x) (H^T (g / (H x))) / sum of PSF, `iterations` times, from x = g. The code of an entry.
int DampedRichardsonLucy(const DFT3D& s, float* psf, float* x, int iterations, const Damping& R,
                         const Progress& progress);

}  // namespace gnr::detail
