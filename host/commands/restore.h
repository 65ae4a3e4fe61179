// SPDX-License-Identifier: MIT
#pragma once

// The command restore: removes the blur from a stack.

#include <CLI/CLI.hpp>

#include "commands/command_context.h"

namespace rydecon {

/// Adds the command to the command line; it runs at the end of parsing and leaves with a UserError.
void AddRestoreCommand(CLI::App& app, CommandContext& context);

}  // namespace rydecon
