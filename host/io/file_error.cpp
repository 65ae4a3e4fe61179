// SPDX-License-Identifier: MIT

#include "io/file_error.h"

#include <algorithm>
#include <system_error>

namespace rydecon {

std::string OneLine(std::string_view text) {
    std::string line(text);
    const auto isControl = [](char c) {
        const auto code = static_cast<unsigned char>(c);
        return code < 0x20 || code == 0x7f;
    };
    std::replace_if(line.begin(), line.end(), isControl, ' ');
    return line;
}

std::string Quoted(const std::filesystem::path& path) {
    std::string quoted(1, '\'');
    quoted += OneLine(path.native());
    quoted += '\'';
    return quoted;
}

std::string SystemReason(int errorNumber) {
    return std::generic_category().message(errorNumber);
}

UserError ReadError(const std::filesystem::path& path, const std::string& reason) {
    return UserError("cannot read " + Quoted(path) + ": " + OneLine(reason));
}

UserError WriteError(const std::filesystem::path& path, const std::string& reason) {
    return UserError("cannot write " + Quoted(path) + ": " + OneLine(reason));
}

}  // namespace rydecon
