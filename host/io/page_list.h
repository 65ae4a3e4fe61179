// SPDX-License-Identifier: MIT
#pragma once

// The full-size pages of one TIFF file, and what the first of them says about all.

#include <bit>
#include <cstdint>
#include <string>
#include <vector>

#include "io/file_error.h"
#include "io/imagej_blocks.h"
#include "io/tiff_file.h"
#include "io/tiff_page.h"

namespace rydecon {

struct PageList {
    std::vector<TiffPage> pages;  // in the order of the file, all of one size and type
    std::string description;
    ImageJBlockContents blocks;
    ResolutionTags resolution;
    std::endian byteOrder = std::endian::native;

    const TiffPage& first() const { return pages.front(); }
};

/// Walks through all directories; a UserError where the pages are no planes of one stack.
PageList CollectPages(TiffFile& file, const FileNotes& notes, Accept accept);

/// Makes `planes` pages of the one there is: some writers leave out all directories but the first, the planes stand one
/// behind another. A UserError where the file is too short for them.
void AddPlanesBehindFirst(const TiffFile& file, PageList& list, std::uint64_t planes);

/// "512 x 512 uint16"
std::string ShapeOfPage(const TiffPage& page);

/// UserError unless the page is like the first of its stack.
void RequireAlike(const TiffFile& file, const TiffPage& first, const TiffPage& page);

}  // namespace rydecon
