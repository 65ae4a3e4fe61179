// SPDX-License-Identifier: MIT
#pragma once

// OME-XML in the description of the first page (schema: docs.openmicroscopy.org, OME-TIFF).

#include <optional>
#include <string>
#include <vector>

#include "io/file_error.h"
#include "io/stack_header.h"

namespace rydecon {

/// Planes that stand on consecutive pages, both counted from 0.
struct OmePlaneRun {
    int firstPlane = 0;
    int firstPage = 0;
    int count = 0;
};

struct OmeMetadata {
    int images = 1;  // image elements, each a data set of its own
    int sizeX = 0;
    int sizeY = 0;
    int sizeZ = 1;
    int sizeC = 1;
    int sizeT = 1;
    VoxelSize voxel;
    ImageOptics optics;  // of the first channel and the objective that the image names
    std::vector<OmePlaneRun> runs;
};

/// Empty if the description is not OME-XML or, with a note, cannot be understood.
std::optional<OmeMetadata> ParseOme(const std::string& description, const FileNotes& notes);

/// order[z] is the page that holds plane z, if the runs tell of every plane and page just once; else 0, 1, 2,
/// ...
std::vector<int> PageOrder(const std::vector<OmePlaneRun>& runs, int planes);

}  // namespace rydecon
