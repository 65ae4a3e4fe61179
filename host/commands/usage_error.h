// SPDX-License-Identifier: MIT
#pragma once

// What the program answers to a command line that it does not understand.

#include <CLI/CLI.hpp>

#include <string>

namespace rydecon {

/// One line: what is wrong, and what would be right or where to read it.
std::string DescribeUsageError(const CLI::App& app, const CLI::ParseError& error);

/// What is wrong with the value of an option, wherever it stands.
std::string DescribeValueError(const CLI::App& command, const CLI::ParseError& error);

/// "restore, psf, view"
std::string ListOfCommands(const CLI::App& app);

/// " (did you mean 'iterations'?)" where an option of the command is called like the name; else empty.
std::string SimilarOption(const std::string& name, const CLI::App& command);

}  // namespace rydecon
