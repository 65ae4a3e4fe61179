// SPDX-License-Identifier: MIT
#pragma once

// OME-XML in the description of the first page (schema: docs.openmicroscopy.org, OME-TIFF).

#include <optional>
#include <string>
#include <vector>

#include "io/file_error.h"
#include "io/stack_axes.h"
#include "io/stack_header.h"

namespace rydecon {

/// Planes that stand on consecutive pages of one file, both counted from 0; planes in the order of the dimensions.
struct OmePlaneRun {
    std::int64_t firstPlane = 0;
    std::int64_t firstPage = 0;
    std::optional<std::int64_t> count;  // empty: as many as there are pages
    std::string file;                   // name of another file of the set; empty: this one
    std::string uuid;                   // of that file
};

struct OmeMetadata {
    int images = 1;  // image elements, each a data set of its own
    std::string uuid;
    int sizeX = 0;
    int sizeY = 0;
    StackAxes axes;             // its channels count the components of colour pages
    std::string order = "CZT";  // of planes, the fastest axis first
    int components = 1;         // channels that share a page
    std::optional<int> significantBits;
    VoxelSize voxel;
    std::optional<TimeStep> timeStep;
    ImageOptics optics;  // of the objective that the image names
    std::vector<ChannelRecord> channel;
    std::vector<OmePlaneRun> runs;
};

/// Empty if the description is not OME-XML or, with a note, cannot be understood.
std::optional<OmeMetadata> ParseOme(const std::string& description, const FileNotes& notes);

/// Metadata that stand in another file of the folder, a companion or one of the set.
struct OmeReference {
    std::string metadataFile;
    std::string uuid;  // of the file that refers
};

/// Empty unless the description is such a reference.
std::optional<OmeReference> ParseOmeReference(const std::string& description);

/// Where a plane stands: page `page` of file `file`, both counted from 0.
struct OmePlace {
    int file = -1;
    int page = -1;

    bool operator==(const OmePlace&) const = default;
};

/// The places of `planes` planes from runs whose files are given by number, if the runs tell of every plane just once
/// and of pages that there are, none twice; empty otherwise.
std::vector<OmePlace> PlacesOf(const std::vector<OmePlaneRun>& runs, const std::vector<int>& fileOfRun,
                               const std::vector<int>& pagesOfFile, int planes);

}  // namespace rydecon
