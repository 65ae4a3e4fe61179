// SPDX-License-Identifier: MIT
#pragma once

// What the program says beside its result: lines on standard error, silenced by --quiet.

#include <string>
#include <utility>

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

    /// A note on how a run goes about its work, of which nothing depends: not kept in records.
    virtual void Announce(const std::string& line) const { Note(line); }

  private:
    bool quiet_;
};

/// Passes notices on, each with what it is about in front.
class PrefixedMessages final : public Messages {
  public:
    /// prefix  empty: notices stay as they are. `inner` must outlive the object.
    PrefixedMessages(const Messages& inner, std::string prefix)
        : Messages(inner.quiet()), inner_(inner), prefix_(std::move(prefix)) {}

    void Note(const std::string& line) const override {
        inner_.Note(prefix_.empty() ? line : prefix_ + ": " + line);
    }
    void Announce(const std::string& line) const override { inner_.Announce(line); }

  private:
    const Messages& inner_;
    std::string prefix_;
};

}  // namespace rydecon
