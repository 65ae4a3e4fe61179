// SPDX-License-Identifier: MIT
#include "commands/settings_reader.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <fstream>
#include <sstream>

#include "io/file_error.h"

namespace rydecon {

namespace {

/// A line of the file without its comment.
struct Line {
    std::string text;
    bool openQuote = false;
};

/// The line without blanks around it and without a comment: from # on, at its begin or behind a blank,
/// outside quotes.
Line WithoutComment(const std::string& line) {
    char quote = '\0';
    for (std::size_t n = 0; n < line.size(); ++n) {
        const char c = line[n];
        if (quote != '\0') {
            if (c == quote) quote = '\0';
        } else if (c == '"' || c == '\'') {
            quote = c;
        } else if (c == '#' && (n == 0 || CLI::detail::trim_copy(line.substr(n - 1, 1)).empty())) {
            return {CLI::detail::trim_copy(line.substr(0, n)), false};
        }
    }
    return {CLI::detail::trim_copy(line), quote != '\0'};
}

bool OpensList(const std::string& line) {
    const auto equals = line.find('=');
    if (equals == std::string::npos) return false;
    const std::string value = CLI::detail::trim_copy(line.substr(equals + 1));
    return !value.empty() && value.front() == '[' && value.back() != ']';
}

/// What the name of an option looks like.
bool IsKey(const std::string& name) {
    const auto fits = [](unsigned char c) { return std::isalnum(c) != 0 || c == '-' || c == '_'; };
    return !name.empty() && std::all_of(name.begin(), name.end(), fits);
}

/// The begin of a line too long for a message.
std::string Shortened(const std::string& line) {
    constexpr std::size_t kMost = 60;
    return line.size() <= kMost ? line : line.substr(0, kMost) + " ...";
}

/// CLI11's reader on one line, so that every setting knows where it stands.
Setting ParseLine(const std::string& file, int number, const std::string& section, const std::string& line) {
    std::istringstream stream(line);
    CLI::ConfigBase reader;
    reader.comment('\x01');          // comments are gone already
    reader.parentSeparator('\x01');  // no key has parts
    const auto items = reader.from_config(stream);
    const auto equals = line.find('=');
    if (items.size() != 1 || !IsKey(items.front().name) || equals == std::string::npos ||
        equals + 1 == line.size()) {
        throw LineError(file, number, "a line 'option = value' is needed, not '" + Shortened(line) + "'");
    }
    return {number, section, items.front().name, items.front().inputs};
}

}  // namespace

std::vector<Setting> ReadSettings(const std::string& file) {
    RequireRegularFile(file);
    std::ifstream stream(file);
    if (!stream) throw ReadFailure(file, errno);
    std::vector<Setting> settings;
    std::string section;
    std::string text;
    int number = 0;
    for (; std::getline(stream, text); ++number) {
        const int first = number + 1;
        // As in pictures, and in text of 16 bits a letter.
        if (text.find('\0') != std::string::npos) {
            throw ReadError(file, "it is no plain text; lines 'option = value' in UTF-8 are needed");
        }
        if (number == 0 && text.rfind("\xEF\xBB\xBF", 0) == 0) text.erase(0, 3);
        auto [line, openQuote] = WithoutComment(text);
        if (line.empty() || line.front() == ';') continue;
        if (line.front() == '[' && line.back() == ']') {
            section = CLI::detail::trim_copy(line.substr(1, line.size() - 2));
            settings.push_back({first, section, "", {}});
            continue;
        }
        for (std::string more; OpensList(line) && std::getline(stream, more); ++number) {
            line += " " + WithoutComment(more).text;
        }
        if (openQuote) throw LineError(file, first, "a quote is not closed; put one more behind the text");
        settings.push_back(ParseLine(file, first, section, line));
    }
    if (stream.bad()) throw ReadFailure(file, errno);
    return settings;
}

std::string PlaceOf(const std::string& file, int line) {
    return Quoted(file) + ", line " + std::to_string(line);
}

UserError LineError(const std::string& file, int line, const std::string& what) {
    return UserError(PlaceOf(file, line) + ": " + OneLine(what), ExitCode::Usage);
}

}  // namespace rydecon
