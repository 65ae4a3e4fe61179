// SPDX-License-Identifier: MIT
#pragma once

// A PSF computed by the library from the optics, centred, of sum 1.

#include <gnr_deconvolution/psf_3d.h>

#include <cstdint>

#include "optics/optics.h"
#include "optics/widths.h"
#include "report/messages.h"
#include "volume/padded_volume.h"

namespace rydecon {

/// Sides that hold the pattern, all odd, as the library recommends them.
Extent RecommendedExtent(const Optics& optics);

/// One PSF in one volume of its own; confocal needs a second one while it is computed.
class ComputedPsf {
  public:
    /// Computes it; optics complete and sound. UserError where memory does not suffice, and after Ctrl-C.
    ComputedPsf(const Optics& optics, const Extent& size, const Messages& messages);

    const Extent& size() const { return size_; }

    /// Memory of its volume.
    std::uint64_t bytes() const { return sizeof(float) * static_cast<std::uint64_t>(volume_.sizes.total); }

    /// The focus: side / 2 on each axis.
    Extent centre() const { return {size_.x / 2, size_.y / 2, size_.z / 2}; }
    const float* Row(int j, int k) const { return MutableRow(j, k); }

    /// Full widths at half maximum along x and z through the focus.
    Widths MeasuredWidths(const Optics& optics) const;

  private:
    void Generate(const Optics& optics, const Messages& messages);
    void NormalizeSum();
    float* MutableRow(int j, int k) const;

    Extent size_;
    FloatPSF3D volume_;
};

}  // namespace rydecon
