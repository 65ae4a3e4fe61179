// SPDX-License-Identifier: MIT
#pragma once

// The wording shared by all messages about a file, each of which stays on one line whatever the file is
// called.

#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

#include "report/messages.h"
#include "report/user_error.h"

namespace rydecon {

/// The text with every control character (a line feed in a file name, say) replaced by a blank.
std::string OneLine(std::string_view text);

/// The path in quotes, on one line.
std::string Quoted(const std::filesystem::path& path);

/// What the system says about an errno value, in the style of these messages: "permission denied".
std::string SystemReason(int errorNumber);

/// Said of a file that is not there.
inline constexpr const char* kNoSuchFile = "there is no such file; check the name and the folder";

/// "cannot read 'stack.tif': <reason>"
UserError ReadError(const std::filesystem::path& path, const std::string& reason);

/// "cannot write 'stack.tif': <reason>"
UserError WriteError(const std::filesystem::path& path, const std::string& reason);

/// The same for an errno value, with what to do about it.
UserError ReadFailure(const std::filesystem::path& path, int errorNumber);
UserError WriteFailure(const std::filesystem::path& path, int errorNumber);

/// Why a folder, or one above it, could not be made: "cannot make the folder 'out': ..."
UserError FolderFailure(const std::filesystem::path& folder, const std::error_code& failure);

/// Refuses what is no file to read from: nothing there, a folder, a pipe, which would wait for its other end.
void RequireRegularFile(const std::filesystem::path& path);

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
