// SPDX-License-Identifier: MIT
#pragma once

// What the program says beside its result: lines on standard error, silenced by --quiet.

#include <string>

namespace rydecon {

/// Receives notices ("12 samples lost digits ...") as they arise; never an error.
class Messages {
  public:
    explicit Messages(bool quiet = false) : quiet_(quiet) {}
    Messages(const Messages&) = default;
    Messages& operator=(const Messages&) = default;
    virtual ~Messages() = default;

    bool quiet() const { return quiet_; }
    void set_quiet(bool quiet) { quiet_ = quiet; }

    /// One line, "rydecon: note: <line>", on standard error; nothing when quiet.
    virtual void Note(const std::string& line) const;

  private:
    bool quiet_;
};

}  // namespace rydecon
