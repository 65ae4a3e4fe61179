// SPDX-License-Identifier: MIT
#pragma once

// What every command gets from the program around it.

#include "report/terminal_messages.h"

namespace rydecon {

struct CommandContext {
    TerminalMessages messages;  // quiet is set before a command runs
};

}  // namespace rydecon
