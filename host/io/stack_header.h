// SPDX-License-Identifier: MIT
#pragma once

// What the program knows of a stack besides its samples.

#include <optional>
#include <string>

namespace rydecon {

/// Distances of samples in micrometres; empty where the file does not tell.
struct VoxelSize {
    std::optional<double> x;
    std::optional<double> y;
    std::optional<double> z;
};

/// Shape in samples, sample type as the file has it ("uint16", "float32", ...), voxel size.
struct StackHeader {
    int width = 0;
    int height = 0;
    int planes = 0;
    std::string sampleType = "float32";
    VoxelSize voxel;
};

}  // namespace rydecon
