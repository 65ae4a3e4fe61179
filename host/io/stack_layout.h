// SPDX-License-Identifier: MIT
#pragma once

// Which pages of a TIFF file, or of a set of files, are the planes of its stack, and what its metadata tell.

#include <filesystem>
#include <string_view>
#include <vector>

#include "io/file_error.h"
#include "io/page_list.h"
#include "io/stack_axes.h"
#include "io/stack_header.h"
#include "io/tiff_file.h"
#include "io/tiff_page.h"

namespace rydecon {

struct StackLayout {
    StackHeader header;
    std::vector<TiffPage> planes;              // as PlaneAt counts them; all of one size and type
    std::vector<std::filesystem::path> files;  // those of the set, by TiffPage::file
};

/// Walks through all directories; a UserError if they are no stack, or none that is accepted.
StackLayout ReadStackLayout(TiffFile& file, const FileNotes& notes, Accept accept);

/// Makes planes of pages that follow one another in an order of axes ("CZT": channels fastest). `axes` are those of the
/// stack; a page of several components holds as many neighbouring channels. The pages must be as many as needed.
void ArrangePlanes(const std::vector<TiffPage>& pages, const StackAxes& axes, std::string_view order,
                   StackLayout& layout);

/// Each fills the layout from metadata of one kind; false where the description is none of them, or, with a note,
/// describes another image.
bool LayOutImageJ(const TiffFile& file, const FileNotes& notes, Accept accept, PageList& list,
                  StackLayout& layout);
bool LayOutOme(const TiffFile& file, const FileNotes& notes, Accept accept, PageList& list,
               StackLayout& layout);
bool LayOutShaped(const TiffFile& file, const FileNotes& notes, Accept accept, PageList& list,
                  StackLayout& layout);

}  // namespace rydecon
