// SPDX-License-Identifier: MIT
#pragma once

// How the host program refuses a job: one line for the user, one exit code for the shell.

#include <stdexcept>
#include <string>

namespace rydecon {

enum class ExitCode : int {
    Done = 0,
    Failed = 1,   // the job could not be done: bad input, no space, no permission
    Usage = 2,    // the command line asks for something that does not exist
    Stopped = 3,  // stopped by the user
};

/// Thrown where a job cannot go on. The text is one line: what is wrong, and what would be right.
class UserError : public std::runtime_error {
  public:
    explicit UserError(const std::string& line, ExitCode code = ExitCode::Failed)
        : std::runtime_error(line), code_(code) {}
    ExitCode code() const noexcept { return code_; }

  private:
    ExitCode code_;
};

}  // namespace rydecon
