// SPDX-License-Identifier: MIT
#pragma once

// From a stack file to a padded volume.

#include <cstddef>
#include <filesystem>
#include <limits>

#include "io/stack_reader.h"
#include "optics/optics.h"
#include "volume/padded_volume.h"

namespace rydecon {

inline Extent ShapeOf(const StackHeader& header) {
    return {header.width, header.height, header.planes()};
}

/// Planes of one channel at one time.
inline int SlicesOf(const StackHeader& header) {
    return header.slices;
}

/// What the samples of a stack span.
struct SampleRange {
    float least = std::numeric_limits<float>::infinity();
    float largest = -std::numeric_limits<float>::infinity();
    double positiveSum = 0.0;  ///< of the samples above 0
    long long negative = 0;    ///< samples below 0
    long long nonFinite = 0;

    void Add(const float* row, std::size_t count);
};

/// UserError where a sample is NaN or infinite, with their count.
void RefuseNonFinite(const SampleRange& range, const std::filesystem::path& path);

/// Tells that negative samples, if there are any, are set to 0.
void NoteNegative(const SampleRange& range, const std::filesystem::path& path, const Messages& messages);

/// The header with the voxel size that the command line tells, if it does.
StackHeader WithStatedVoxel(StackHeader header, const Optics& optics);

/// Reads all planes to the origin of a volume that is at least as large. UserError where a sample is NaN or
/// infinite, with their count; with ExitCode::Stopped after Ctrl-C.
SampleRange LoadStack(StackReader& reader, const std::filesystem::path& path, const PaddedVolume& volume);

/// UserError where single precision cannot restore a stack in `frame`: where no sample lies above 0 but some
/// below, and where the sum of the frame overflows or drowns in the guards against division by 0.
void RefuseUnfitRange(const SampleRange& range, const std::filesystem::path& path, const Extent& frame);

/// Sets the negative samples of the stack at the origin to 0.
void CutNegative(const PaddedVolume& volume, const Extent& shape);

}  // namespace rydecon
