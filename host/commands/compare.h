// SPDX-License-Identifier: MIT
#pragma once

// The command compare: numbers that tell how far two stacks lie apart.

#include <CLI/CLI.hpp>

#include "commands/command_context.h"

namespace rydecon {

/// Adds the command to the command line; it runs at the end of parsing and leaves with a UserError.
void AddCompareCommand(CLI::App& app, CommandContext& context);

}  // namespace rydecon
