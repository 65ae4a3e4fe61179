// SPDX-License-Identifier: MIT
#pragma once

// The images that names, patterns and folders on a command line stand for.

#include <filesystem>
#include <string>
#include <vector>

#include "report/messages.h"

namespace rydecon {

struct ListedImage {
    std::filesystem::path path;
    std::filesystem::path relative;  ///< below the folder that it was found in; else its plain name
};

/// True for one name that is no folder and no pattern: a single image, whether it exists or not.
bool IsSingleImage(const std::vector<std::string>& names);

/// Each image once, in the order of the names; those of a pattern or a folder sorted. A folder stands for its
/// files of a readable suffix but hidden ones and results that have their record beside them; with
/// `recursive` also for those of the folders in it, but `except` and what lies in it. A name that exists is
/// itself, whatever characters it has. UserError for a name without a file, a pattern without a match and a
/// folder without an image.
std::vector<ListedImage> ListImages(const std::vector<std::string>& names, bool recursive,
                                    const std::filesystem::path& except, const Messages& messages);

}  // namespace rydecon
