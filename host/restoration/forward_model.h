// SPDX-License-Identifier: MIT
#pragma once

// What the microscope would see of an estimate.

#include "volume/padded_volume.h"

namespace rydecon {

/// Circular convolution with a PSF laid out as the cores take it, its peak at the
/// origin. Memory: two padded volumes.
class ForwardModel {
  public:
    /// UserError where memory does not suffice.
    explicit ForwardModel(const PaddedVolume& psf) : transfer_(psf.logical()), blurred_(psf.logical()) {
        TakePsf(psf);
    }

    /// For a PSF that has changed since.
    void TakePsf(const PaddedVolume& psf);

    /// The blurred estimate, a volume of the same frame, until the next call.
    const PaddedVolume& Blur(const float* estimate);

    /// Likewise of the estimate after one plain Richardson-Lucy step towards `observed`, which is not negative and
    /// whose units it takes. The step settles what is smooth and hardly moves what is fine.
    const PaddedVolume& BlurStepped(const float* estimate, const PaddedVolume& observed);

  private:
    void Convolve();

    PaddedVolume transfer_;
    PaddedVolume blurred_;
};

}  // namespace rydecon
