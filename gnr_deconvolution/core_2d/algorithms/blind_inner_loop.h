// SPDX-License-Identifier: MIT
#pragma once

// The accelerated Richardson-Lucy loop in its blind form: on the image with the PSF as partner, or on the PSF
// with the image as partner.

#include "frame/progress.h"
#include "kernels/acceleration.h"

namespace gnr::detail {

/// Iterations on frames.x with the partner h, each preceded by a poll of its own phase; ends early where
/// stopped, and where the energy of the PSF over that of the image passes stopEnergy: below it in the steps on
/// the image, above it in those on the PSF. A stopEnergy of 0 or below, or no number, does not end them.
void RunBlindSteps(const AcceleratedFrames& frames, const float* h, unsigned iterations, bool isImageStep,
                   float stopEnergy, const Progress& progress);

}  // namespace gnr::detail
