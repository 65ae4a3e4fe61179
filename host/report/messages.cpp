// SPDX-License-Identifier: MIT
// Prints notices on standard error.

#include "report/messages.h"

#include <cstdio>

#include "io/file_error.h"

namespace rydecon {

void Messages::Note(const std::string& line) const {
    if (quiet_) return;
    std::fprintf(stderr, "rydecon: note: %s\n", OneLine(line).c_str());
}

}  // namespace rydecon
