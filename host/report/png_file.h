// SPDX-License-Identifier: MIT
#pragma once

// Pictures as PNG files.

#include <filesystem>

#include "report/grey_picture.h"

namespace rydecon {

/// Writes an 8-bit grey PNG; the file appears whole or not at all. UserError where that cannot be.
void WritePng(const GreyPicture& picture, const std::filesystem::path& target, bool overwrite);

}  // namespace rydecon
