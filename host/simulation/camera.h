// SPDX-License-Identifier: MIT
#pragma once

// The noise of a camera that counts photons.

#include <cstddef>
#include <cstdint>

namespace rydecon {

struct Camera {
    double background = 0.0;  // photons a sample, everywhere
    double readNoise = 0.0;   // standard deviation in photons
    bool noiseFree = false;   // samples are the expected photons themselves
};

/// Replaces expected photons by what the camera reads: Poisson(sample + background) + Normal(0, readNoise).
/// `plane` numbers the call: each plane of a seed has its own random numbers.
void Expose(const Camera& camera, std::uint64_t seed, int plane, float* samples, std::size_t count);

}  // namespace rydecon
