// SPDX-License-Identifier: MIT
#pragma once

// Notices of several threads, as the lines of one.

#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "report/messages.h"

namespace rydecon {

/// Passes on what the thread says that made the object. Notices of other threads wait until it asks for them.
class DeferredMessages final : public Messages {
  public:
    /// to  must outlive the object
    explicit DeferredMessages(const Messages& to) : Messages(to.quiet()), to_(to) {}

    void Note(const std::string& line) const override {
        if (std::this_thread::get_id() == owner_) {
            to_.Note(line);
            return;
        }
        const std::lock_guard lock(guard_);
        waiting_.push_back(line);
    }

    void Announce(const std::string& line) const override { to_.Announce(line); }

    /// Passes on what waits, in the order in which it was said. On the thread that made the object.
    void PassOn() const {
        std::vector<std::string> lines;
        {
            const std::lock_guard lock(guard_);
            lines = std::exchange(waiting_, {});
        }
        for (const std::string& line : lines) to_.Note(line);
    }

  private:
    const Messages& to_;
    const std::thread::id owner_ = std::this_thread::get_id();
    mutable std::mutex guard_;
    mutable std::vector<std::string> waiting_;
};

}  // namespace rydecon
