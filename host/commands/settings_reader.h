// SPDX-License-Identifier: MIT
#pragma once

// Files of settings, line by line.

#include <string>
#include <vector>

#include "report/user_error.h"

namespace rydecon {

/// One "key = value", or the begin of a section, whose key is empty.
struct Setting {
    int line;             ///< in the file, from 1
    std::string section;  ///< empty before the first one
    std::string key;
    std::vector<std::string> values;  ///< as text; {"true"} for a key alone
};

/// Reads "key = value", "key = [1, 2, 3]" also over several lines, "[section]"; # begins a comment at the
/// begin of a line or behind a blank, ; at the begin. Text in quotes keeps its blanks, commas and #.
/// UserError (usage) that names the line otherwise.
std::vector<Setting> ReadSettings(const std::string& file);

/// "'my.ini', line 3"
std::string PlaceOf(const std::string& file, int line);

/// UserError (usage): "'my.ini', line 3: <what>"
UserError LineError(const std::string& file, int line, const std::string& what);

}  // namespace rydecon
