// SPDX-License-Identifier: MIT
#pragma once

// Notices and errors as the program prints them: each on a line of its own, clear of a progress bar.

#include <string>

#include "report/messages.h"

namespace rydecon {

class TerminalMessages : public Messages {
  public:
    using Messages::Messages;
    void Note(const std::string& line) const override;
};

/// One line, "rydecon: error: <line>", on standard error; quiet or not.
void PrintError(const std::string& line);

}  // namespace rydecon
