// SPDX-License-Identifier: MIT
#pragma once

// Tables as text files: a header row with the names of the columns, then one row a line.

#include <filesystem>
#include <string>
#include <vector>

namespace rydecon {

struct TableRow {
    int line = 0;  ///< in the file, from 1
    std::vector<std::string> cells;
};

struct TextTable {
    std::vector<std::string> columns;
    std::vector<TableRow> rows;  ///< each as many cells as there are columns
};

/// Reads FILE.tsv, cells apart by tabs, or FILE.csv, by commas; there a cell may stand in double quotes, a
/// quote in it doubled. Empty lines and those that begin with # are passed over, blanks around cells taken
/// off. UserError that names file and line where a row has not as many cells as the header.
TextTable ReadTable(const std::filesystem::path& path);

/// "'files.tsv', line 3"
std::string PlaceIn(const std::filesystem::path& path, int line);

}  // namespace rydecon
