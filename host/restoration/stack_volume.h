// SPDX-License-Identifier: MIT
#pragma once

// From a stack file to a padded volume.

#include <filesystem>

#include "io/stack_reader.h"
#include "volume/padded_volume.h"

namespace rydecon {

inline Extent ShapeOf(const StackHeader& header) {
    return {header.width, header.height, header.planes};
}

/// Reads all planes to the origin of a volume that is at least as large. UserError where a sample is NaN or
/// infinite, with their count.
void LoadStack(StackReader& reader, const std::filesystem::path& path, const PaddedVolume& volume);

}  // namespace rydecon
