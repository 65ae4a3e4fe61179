// SPDX-License-Identifier: MIT
#pragma once

// What the program answers to a command line that it does not understand.

#include <CLI/CLI.hpp>

#include <string>

namespace rydecon {

/// One line: what is wrong, and what would be right or where to read it.
std::string DescribeUsageError(const CLI::App& app, const CLI::ParseError& error);

}  // namespace rydecon
