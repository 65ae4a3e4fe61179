// SPDX-License-Identifier: MIT
#pragma once

// Checks that every command makes of a file before it writes it.

#include <filesystem>
#include <vector>

namespace rydecon {

/// Leaves with a UserError if `output` is one of the inputs, under whatever name, or exists and may not be
/// replaced.
void CheckOutputFile(const std::filesystem::path& output, bool overwrite,
                     const std::vector<std::filesystem::path>& inputs);

/// UserError (usage) where the name of a TIFF ends as that of another kind of picture.
void RequireTiffName(const std::filesystem::path& output);

}  // namespace rydecon
