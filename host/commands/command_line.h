// SPDX-License-Identifier: MIT
#pragma once

// The command line of the program as a tree of commands and options: what parsing, --help, the manual pages and
// the completion are made from.

#include <CLI/CLI.hpp>

#include <array>

#include "commands/command_context.h"
#include "report/user_error.h"

namespace rydecon {

struct ExitMeaning {
    ExitCode code;
    const char* meaning;
};

inline constexpr std::array kExitMeanings = {ExitMeaning{ExitCode::Done, "done"},
                                             ExitMeaning{ExitCode::Failed, "failed"},
                                             ExitMeaning{ExitCode::Usage, "wrong usage"},
                                             ExitMeaning{ExitCode::Stopped, "stopped by the user (Ctrl-C)"}};

/// What holds for every command besides its exit code.
inline constexpr const char* kCommonNotes =
    "Errors and notes go to standard error, one line each. Every command takes --quiet (-q): no notes, no\n"
    "progress. NO_COLOR in the environment is respected.";

/// The program before any command is added to it.
inline constexpr const char* kProgramName = "rydecon";
inline constexpr const char* kProgramSummary =
    "Restores fluorescence microscopy stacks, and makes, compares and shows them.";

/// Adds the options and commands of the program; `context` outlives the parsing.
void SetUpCommandLine(CLI::App& app, CommandContext& context);

}  // namespace rydecon
