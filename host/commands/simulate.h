// SPDX-License-Identifier: MIT
#pragma once

// The command simulate: makes a stack whose truth is known.

#include <CLI/CLI.hpp>

#include "commands/command_context.h"

namespace rydecon {

/// Adds the command to the command line; it runs at the end of parsing and leaves with a UserError.
void AddSimulateCommand(CLI::App& app, CommandContext& context);

}  // namespace rydecon
