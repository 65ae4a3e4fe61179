// SPDX-License-Identifier: MIT
#pragma once

// The form of --help: lines that fit a terminal, texts beside the options, remarks as sentences.

#include <CLI/CLI.hpp>

#include <string>

#include "manual/command_tree.h"

namespace rydecon {

/// The help of a command.
///
/// @param call     how the command is called, "rydecon restore"
/// @param closing  what holds for all commands
std::string MakeHelp(const CommandEntry& command, const std::string& call,
                     const std::vector<TextBlock>& closing);

/// Gives that form to a command line; set before commands are added, it holds for them too.
class HelpFormatter : public CLI::Formatter {
  public:
    std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override;
};

}  // namespace rydecon
