// SPDX-License-Identifier: MIT
#pragma once

// A PSF as the cores take it: its peak anywhere, the rest around it, across the borders of its volume.

#include <optional>

#include "volume/padded_volume.h"

namespace rydecon {

/// Reads samples by their distance from the largest one, the first of several.
class WrappedPsf {
  public:
    explicit WrappedPsf(const PaddedVolume& psf);

    Extent size() const { return psf_->logical(); }
    float At(int i, int j, int k) const;
    float peak() const { return At(0, 0, 0); }

  private:
    const PaddedVolume* psf_;
    Extent peak_;
};

/// Full widths at half maximum through the largest sample, in samples; empty where a profile does not fall to
/// its half.
struct PsfWidths {
    std::optional<double> x;
    std::optional<double> y;
    std::optional<double> z;
};

PsfWidths WidthsOfWrapped(const PaddedVolume& psf);

}  // namespace rydecon
