// SPDX-License-Identifier: MIT
#pragma once

// Two halves of one image, as if the camera had exposed half as long, twice: each photon goes to one of them by
// the throw of a coin. Halves of Poisson counts are Poisson counts, independent of each other.

#include <cstdint>
#include <vector>

#include "cleaning/photon_scale.h"
#include "volume/plane_stream.h"

namespace rydecon {

enum class Half { First, Second };

/// Whole photons of a sample: (sample - offset) / gain, rounded, 0 at least.
double PhotonsOf(float sample, const PhotonScale& scale);

/// One half of the image, counted twice, so that it has the scale of the image: offset + 2 gain photons.
class ThinnedPlanes final : public PlaneSource {
  public:
    /// One seed gives one pair of halves, in whatever order planes are read.
    ThinnedPlanes(PlaneSource& from, const PhotonScale& scale, std::uint64_t seed, Half half)
        : from_(from), scale_(scale), seed_(seed), half_(half) {}

    Extent shape() const override { return from_.shape(); }
    void ReadPlane(int k, float* rows, std::ptrdiff_t rowStride) override;

  private:
    PlaneSource& from_;
    PhotonScale scale_;
    std::uint64_t seed_;
    Half half_;
};

}  // namespace rydecon
