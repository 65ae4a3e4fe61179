// SPDX-License-Identifier: MIT
#pragma once

// Which pages of a TIFF file are the planes of its stack, and what its metadata tell of the voxels.

#include <vector>

#include "io/file_error.h"
#include "io/stack_header.h"
#include "io/tiff_file.h"
#include "io/tiff_page.h"

namespace rydecon {

struct StackLayout {
    StackHeader header;
    std::vector<TiffPage> planes;  // in the order of z, or of colours; all of one size and type
};

/// Walks through all directories; a UserError if they are no stack of one channel and one time point, nor, where
/// colour is split, one page of it.
StackLayout ReadStackLayout(TiffFile& file, const FileNotes& notes, Accept accept);

}  // namespace rydecon
