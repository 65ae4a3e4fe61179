// SPDX-License-Identifier: MIT
#pragma once

// ImageJ's notes on a stack: lines "key=value" in the description of the first page.

#include <optional>
#include <string>

#include "io/file_error.h"
#include "io/stack_header.h"
#include "io/tiff_page.h"

namespace rydecon {

struct ImageJMetadata {
    int images = 1;
    int channels = 1;
    int slices = 1;
    int frames = 1;
    std::string unit;  // of x and y; of z too where zUnit is empty
    std::string zUnit;
    std::optional<double> spacing;  // of planes; not a number where the text spells none
    std::optional<double> frameInterval;
    std::string timeUnit;  // of frameInterval; seconds where it is empty
};

/// Empty if the description is not ImageJ's.
std::optional<ImageJMetadata> ParseImageJ(const std::string& description);

/// Voxel size; ImageJ gives x and y as samples per unit in the resolution tags.
VoxelSize VoxelFromImageJ(const ImageJMetadata& metadata, const ResolutionTags& tags, const FileNotes& notes);

/// Empty where no positive interval is told.
std::optional<TimeStep> TimeStepOf(const ImageJMetadata& metadata);

/// The description that makes ImageJ and its readers see the header's slices, channels and times, with the voxel size
/// in micrometres.
std::string WriteImageJ(const StackHeader& header);

}  // namespace rydecon
