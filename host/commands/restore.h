// SPDX-License-Identifier: MIT
#pragma once

// The command restore, which removes the blur from a stack, and estimate, which tells what that would take.

#include <CLI/CLI.hpp>

#include "commands/command_context.h"

namespace rydecon {

/// Adds a command to the command line; it runs at the end of parsing and leaves with a UserError.
void AddRestoreCommand(CLI::App& app, CommandContext& context);
void AddEstimateCommand(CLI::App& app, CommandContext& context);

}  // namespace rydecon
