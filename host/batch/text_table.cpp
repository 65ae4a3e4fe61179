// SPDX-License-Identifier: MIT
#include "batch/text_table.h"

#include <cerrno>
#include <fstream>

#include "io/file_error.h"
#include "io/length_unit.h"
#include "report/counted.h"

namespace rydecon {

namespace {

constexpr const char* kByteOrderMark = "\xEF\xBB\xBF";  // as spreadsheets put it

char SeparatorOf(const std::filesystem::path& path) {
    const std::string suffix = path.extension().string();
    if (suffix == ".tsv") return '\t';
    if (suffix == ".csv") return ',';
    throw UserError("cannot read " + Quoted(path) + ": a manifest is called NAME.tsv or NAME.csv",
                    ExitCode::Usage);
}

/// Cells of a line; a quoted one keeps its separators.
std::vector<std::string> Split(const std::string& line, char separator, const std::string& place) {
    std::vector<std::string> cells(1);
    bool quoted = false;
    for (std::size_t n = 0; n < line.size(); ++n) {
        const char c = line[n];
        if (separator == ',' && c == '"') {
            const bool doubled = quoted && n + 1 < line.size() && line[n + 1] == '"';
            if (doubled) cells.back() += line[n++];
            quoted = quoted == doubled;
        } else if (c == separator && !quoted) {
            cells.emplace_back();
        } else {
            cells.back() += c;
        }
    }
    if (quoted)
        throw UserError(place + ": a quote is not closed; put one more behind the text", ExitCode::Usage);
    for (std::string& cell : cells) cell = Trimmed(cell);
    return cells;
}

}  // namespace

TextTable ReadTable(const std::filesystem::path& path) {
    const char separator = SeparatorOf(path);
    RequireRegularFile(path);
    std::ifstream file(path);
    if (!file) throw ReadFailure(path, errno);
    TextTable table;
    std::string text;
    for (int line = 1; std::getline(file, text); ++line) {
        // As spreadsheets write text of 16 bits a letter.
        if (text.find('\0') != std::string::npos) {
            throw UserError("cannot read " + Quoted(path) + ": it is no plain text; save the table in UTF-8",
                            ExitCode::Usage);
        }
        if (line == 1 && text.rfind(kByteOrderMark, 0) == 0) text.erase(0, 3);
        if (Trimmed(text).empty() || text.front() == '#') continue;
        std::vector<std::string> cells = Split(text, separator, PlaceIn(path, line));
        if (table.columns.empty()) {
            table.columns = std::move(cells);
            continue;
        }
        if (cells.size() != table.columns.size()) {
            throw UserError(PlaceIn(path, line) + ": the row has " + Counted(cells.size(), "cell") +
                                ", the header has " + std::to_string(table.columns.size()) +
                                "; give as many, empty ones too",
                            ExitCode::Usage);
        }
        table.rows.push_back({line, std::move(cells)});
    }
    if (file.bad()) throw ReadFailure(path, errno);
    return table;
}

std::string PlaceIn(const std::filesystem::path& path, int line) {
    return Quoted(path) + ", line " + std::to_string(line);
}

}  // namespace rydecon
