// SPDX-License-Identifier: MIT
#pragma once

// The wording shared by all messages about a file, each of which stays on one line whatever the file is
// called.

#include <filesystem>
#include <string>
#include <string_view>

#include "report/messages.h"
#include "report/user_error.h"

namespace rydecon {

/// The text with every control character (a line feed in a file name, say) replaced by a blank.
std::string OneLine(std::string_view text);

/// The path in quotes, on one line.
std::string Quoted(const std::filesystem::path& path);

/// What the system says about an errno value, "Permission denied".
std::string SystemReason(int errorNumber);

/// "cannot read 'stack.tif': <reason>"
UserError ReadError(const std::filesystem::path& path, const std::string& reason);

/// "cannot write 'stack.tif': <reason>"
UserError WriteError(const std::filesystem::path& path, const std::string& reason);

/// Notices about one file: "'stack.tif': <line>".
class FileNotes {
  public:
    FileNotes(const std::filesystem::path& path, const Messages& messages)
        : prefix_(Quoted(path) + ": "), messages_(&messages) {}
    void Note(const std::string& line) const { messages_->Note(prefix_ + OneLine(line)); }

  private:
    std::string prefix_;
    const Messages* messages_;
};

}  // namespace rydecon
