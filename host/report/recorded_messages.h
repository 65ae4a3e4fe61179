// SPDX-License-Identifier: MIT
#pragma once

// Notices that are kept as well as printed, for what is written beside an output.

#include <string>
#include <vector>

#include "report/messages.h"

namespace rydecon {

/// Passes every line on and remembers it; also those that --quiet silences. For one thread.
class RecordedMessages final : public Messages {
  public:
    /// to  must outlive the object
    explicit RecordedMessages(const Messages& to) : Messages(to.quiet()), to_(to) {}

    void Note(const std::string& line) const override {
        lines_.push_back(line);
        to_.Note(line);
    }
    void Announce(const std::string& line) const override { to_.Announce(line); }

    const std::vector<std::string>& lines() const { return lines_; }

  private:
    const Messages& to_;
    mutable std::vector<std::string> lines_;
};

}  // namespace rydecon
