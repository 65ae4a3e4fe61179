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

/// What the samples of a stack span.
struct SampleRange {
    float least = 0.0f;
    float largest = 0.0f;
    double positiveSum = 0.0;  ///< of the samples above 0
    long long negative = 0;    ///< samples below 0
};

/// Reads all planes to the origin of a volume that is at least as large. UserError where a sample is NaN or
/// infinite, with their count; with ExitCode::Stopped after Ctrl-C.
SampleRange LoadStack(StackReader& reader, const std::filesystem::path& path, const PaddedVolume& volume);

/// UserError where single precision cannot restore a stack in `frame`: where no sample lies above 0 but some
/// below, and where the sum of the frame overflows or drowns in the guards against division by 0.
void RefuseUnfitRange(const SampleRange& range, const std::filesystem::path& path, const Extent& frame);

/// Sets the negative samples of the stack at the origin to 0.
void CutNegative(const PaddedVolume& volume, const Extent& shape);

}  // namespace rydecon
