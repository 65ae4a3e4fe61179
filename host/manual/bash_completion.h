// SPDX-License-Identifier: MIT
#pragma once

// Completion of the command line in bash.

#include <string>

#include "manual/command_tree.h"

namespace rydecon {

/// A script for bash to read, which needs nothing but bash: commands, options, words that an option takes, and
/// names of files and folders where one is meant. Options of the program, but for those that end it (--help,
/// --version), are offered behind its commands too.
std::string MakeBashCompletion(const CommandEntry& program, const std::string& version);

}  // namespace rydecon
