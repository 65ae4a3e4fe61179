// SPDX-License-Identifier: MIT
#pragma once

// The plans of the passes along x, y and z. FFTW wants to know how a place is aligned: complex numbers of a volume lie
// at the start of an aligned place or in its middle, and there is a plan for either.

#include <fft/volume_passes.h>
#include <fftw3.h>

#include <array>
#include <cstddef>

#include "depth_block.h"
#include "planner.h"

namespace gnr::fft {

class VolumePlans {
  public:
    /// False where FFTW has no plan. A plane's columns are transformed along y in so many groups.
    bool Make(const VolumeShape& shape, const DepthLayout& depth, std::ptrdiff_t groupsOfPlane, bool forward);

    void ForwardRow(float* samples, fftwf_complex* row) const;
    void InverseRow(fftwf_complex* row, float* samples) const;
    /// One group of a plane, in place.
    void TransformColumns(fftwf_complex* plane, std::ptrdiff_t group) const;
    /// Neighbouring columns of the array, DepthLayout::kTogether of them.
    const Plan& depth() const { return depth_; }

  private:
    static constexpr std::size_t kPlaces = 2;
    using PlacedPlans = std::array<Plan, kPlaces>;

    std::ptrdiff_t columns_ = 0;
    std::ptrdiff_t groups_ = 1;
    PlacedPlans row_;
    /// Groups come in two sizes at the most: the lesser one, and one more.
    std::array<PlacedPlans, 2> group_;
    Plan depth_;
};

}  // namespace gnr::fft
