// SPDX-License-Identifier: MIT

#include "report/terminal_messages.h"

#include <cstdio>

#include "io/file_error.h"
#include "report/progress_bar.h"

namespace rydecon {

void TerminalMessages::Note(const std::string& line) const {
    ClearProgressLine();
    Messages::Note(line);
}

void PrintError(const std::string& line) {
    ClearProgressLine();
    std::fprintf(stderr, "rydecon: error: %s\n", OneLine(line).c_str());
}

}  // namespace rydecon
