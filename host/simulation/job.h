// SPDX-License-Identifier: MIT
#pragma once

// One simulation from its settings to its files.

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>

#include "report/messages.h"
#include "simulation/camera.h"

namespace rydecon {

struct SimulationJob {
    std::filesystem::path folder;
    std::array<unsigned, 3> size = {128, 128, 64};  // samples along x, y, z
    std::optional<std::array<double, 3>> pixel;     // micrometres; empty: the PSF file's, or the default
    std::array<double, 3> sigma = {0.2, 0.2, 0.6};  // of the Gaussian, micrometres
    std::filesystem::path psf;                      // empty: the Gaussian
    std::uint64_t seed = 1;
    double photons = 500.0;  // expected in the brightest sample of the blurred stack
    Camera camera;
    bool overwrite = false;
};

/// Writes truth.tif, psf.tif and blurred.tif, all of them or none. UserError where that cannot be.
void RunSimulationJob(const SimulationJob& job, const Messages& messages);

}  // namespace rydecon
