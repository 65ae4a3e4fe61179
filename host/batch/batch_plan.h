// SPDX-License-Identifier: MIT
#pragma once

// What is to be restored into what, checked as a whole before the first restoration begins.

#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "batch/image_list.h"
#include "batch/text_table.h"
#include "restoration/job.h"

namespace rydecon {

/// One image of several.
struct BatchItem {
    std::filesystem::path image;
    std::filesystem::path output;
    std::vector<std::pair<std::string, std::string>> cells;  ///< columns of a manifest with their texts
    std::string place;                                       ///< in the manifest; empty without one
    std::vector<std::string> words;                          ///< of the restoration's own command line
    RestoreJob job;                                          ///< what they come to
};

/// Items for images, their outputs in `folder` under the same names, `suffix` before .tif, .ome.tif and the
/// like. A picture that is no TIFF becomes one.
std::vector<BatchItem> ItemsFor(const std::vector<ListedImage>& images, const std::filesystem::path& folder,
                                const std::string& suffix);

/// Items for the rows of a manifest with the columns image and output and others named in `known`; outputs
/// are relative to `folder`, which may be empty. UserError (usage) for another column, one that stands twice,
/// and an empty cell of the two.
std::vector<BatchItem> ItemsFor(const TextTable& table, const std::filesystem::path& manifest,
                                const std::filesystem::path& folder, const std::vector<std::string>& known);

/// UserError where two items have one output, an output is an input of any item, or a file that is read does
/// not exist.
void RequireDistinct(const std::vector<BatchItem>& items);

/// Makes the folders of the outputs. UserError where that cannot be or one cannot be written to.
void MakeFolders(const std::vector<BatchItem>& items);

}  // namespace rydecon
