// SPDX-License-Identifier: MIT
#pragma once

// A file that appears under its name whole or not at all: it grows under a temporary name beside the target.

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>

namespace rydecon {

/// Writes one file of any kind. Not committed, it leaves nothing behind. Each failure is a UserError.
class TemporaryFile {
  public:
    /// Creates the temporary file. Refuses an existing target unless `overwrite`, and whatever would make
    /// Commit fail. A target that is a symbolic link is followed.
    TemporaryFile(const std::filesystem::path& target, bool overwrite);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    /// Claims room for `bytes` where the file system can, so that a full disk is found before the work.
    void Reserve(std::uint64_t bytes);

    /// Appends `count` bytes.
    void Write(const void* bytes, std::size_t count);

    /// Writes `count` bytes from `offset` on; what Write appends to does not move.
    void WriteAt(std::uint64_t offset, const void* bytes, std::size_t count);

    /// Brings the file to the disk and gives it its name. Nothing may be written afterwards.
    void Commit();

  private:
    void CheckTarget();
    void CreateBesideTarget();
    void Rename() const;
    [[noreturn]] void Fail(int errorNumber) const;

    std::filesystem::path named_;   // as the user gave it, for messages
    std::filesystem::path target_;  // with links followed
    std::filesystem::path temporary_;
    bool overwrite_;
    mode_t mode_ = 0666;
    int descriptor_ = -1;
};

}  // namespace rydecon
