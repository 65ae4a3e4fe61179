// SPDX-License-Identifier: MIT
#pragma once

// The command psf: computes a point spread function from the optics.

#include <CLI/CLI.hpp>

#include "commands/command_context.h"

namespace rydecon {

/// Adds the command to the command line; it runs at the end of parsing and leaves with a UserError.
void AddPsfCommand(CLI::App& app, CommandContext& context);

}  // namespace rydecon
