// SPDX-License-Identifier: MIT
#pragma once

// The command info: what is in stack files.

#include <CLI/CLI.hpp>

#include "commands/command_context.h"

namespace rydecon {

/// Adds the command to the command line; it runs at the end of parsing and leaves with a UserError.
void AddInfoCommand(CLI::App& app, CommandContext& context);

}  // namespace rydecon
