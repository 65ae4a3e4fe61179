// SPDX-License-Identifier: MIT
#pragma once

// The command view: a picture of one stack, or of two side by side.

#include <CLI/CLI.hpp>

#include "commands/command_context.h"

namespace rydecon {

/// Adds the command to the command line; it runs at the end of parsing and leaves with a UserError.
void AddViewCommand(CLI::App& app, CommandContext& context);

}  // namespace rydecon
