// SPDX-License-Identifier: MIT
#include "commands/settings_reader.h"

#include <CLI/CLI.hpp>

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

/// CLI11's reader on one line, so that every setting knows where it stands.
Setting ParseLine(const std::string& file, int number, const std::string& section, const std::string& line) {
    std::istringstream stream(line);
    CLI::ConfigBase reader;
    reader.comment('\x01');          // comments are gone already
    reader.parentSeparator('\x01');  // no key has parts
    const auto items = reader.from_config(stream);
    const auto equals = line.find('=');
    if (items.size() != 1 || items.front().name.empty() || equals + 1 == line.size()) {
        throw LineError(file, number, "a line 'option = value' is needed, not '" + line + "'");
    }
    return {number, section, items.front().name, items.front().inputs};
}

}  // namespace

std::vector<Setting> ReadSettings(const std::string& file) {
    std::ifstream stream(file);
    std::vector<Setting> settings;
    std::string section;
    std::string text;
    int number = 0;
    for (; std::getline(stream, text); ++number) {
        const int first = number + 1;
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
        if (openQuote) throw LineError(file, first, "a quote is not closed");
        settings.push_back(ParseLine(file, first, section, line));
    }
    if (number == 0 && !stream.eof()) {
        throw ReadError(file, errno != 0 ? SystemReason(errno) : "it is no file of settings");
    }
    return settings;
}

std::string PlaceOf(const std::string& file, int line) {
    return Quoted(file) + ", line " + std::to_string(line);
}

UserError LineError(const std::string& file, int line, const std::string& what) {
    return UserError(PlaceOf(file, line) + ": " + OneLine(what), ExitCode::Usage);
}

}  // namespace rydecon
