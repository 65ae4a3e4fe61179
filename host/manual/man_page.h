// SPDX-License-Identifier: MIT
#pragma once

// Manual pages of a program and of its commands.

#include <string>
#include <vector>

#include "manual/command_tree.h"

namespace rydecon {

/// What the pages tell besides the command line.
struct ManualFacts {
    std::string version;          ///< "rydecon 1.2.3"
    std::string date;             ///< year, month, day
    std::vector<Term> exitCodes;  ///< "0", "done"
    std::string diagnostics;      ///< how the program speaks, as in a help text
};

struct ManPage {
    std::string name;  ///< "rydecon-restore", without the section
    std::string text;
};

/// The page of the program, then one for each command, all of section 1.
std::vector<ManPage> MakeManPages(const CommandEntry& program, const ManualFacts& facts);

}  // namespace rydecon
