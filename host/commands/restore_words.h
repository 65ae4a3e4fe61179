// SPDX-License-Identifier: MIT
#pragma once

// The words of one restoration among several: what stands on the command line for all, and what a manifest
// says of one.

#include <CLI/CLI.hpp>

#include <string>
#include <utility>
#include <vector>

#include "restoration/job.h"

namespace rydecon {

/// A column of a manifest, which is the name of an option without dashes, and the text of one cell.
using NamedCell = std::pair<std::string, std::string>;

class RestoreWords {
  public:
    /// command  the parsed command restore; must outlive the object
    RestoreWords(const CLI::App& command, bool quiet) : command_(command), quiet_(quiet) {}

    /// Names that a manifest may have as columns, besides image and output.
    std::vector<std::string> Columns() const;

    /// The words of one image, without the program and the command. Cells win over the command line, and
    /// silence what they exclude; an empty one leaves it alone. UserError (usage) for a flag that is neither
    /// true nor false.
    std::vector<std::string> WordsFor(const std::string& image, const std::string& output,
                                      const std::vector<NamedCell>& cells) const;

    /// The job that such words come to, its settings checked. UserError (usage) as for a command line.
    static RestoreJob Parse(const std::vector<std::string>& words);

  private:
    const CLI::App& command_;
    bool quiet_;
};

}  // namespace rydecon
