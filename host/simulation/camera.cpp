// SPDX-License-Identifier: MIT

#include "simulation/camera.h"

#include "random/random_numbers.h"

namespace rydecon {

void Expose(const Camera& camera, std::uint64_t seed, int plane, float* samples, std::size_t count) {
    constexpr std::uint64_t kFirstNoiseStream = 1;  // 0 is the geometry's
    RandomNumbers random(seed, kFirstNoiseStream + static_cast<std::uint64_t>(plane));
    for (std::size_t n = 0; n < count; ++n) {
        double photons = samples[n] + camera.background;
        if (!camera.noiseFree) {
            photons = random.Poisson(photons);
            if (camera.readNoise > 0.0) photons += camera.readNoise * random.Normal();
        }
        samples[n] = static_cast<float>(photons);
    }
}

}  // namespace rydecon
