// SPDX-License-Identifier: MIT
#pragma once

// Which file it was: by its content, so that a copy, a checkout or a network share is recognised, and by its
// time, so that a file that nobody touched need not be read again.

#include <cstdint>
#include <filesystem>
#include <optional>

namespace rydecon {

/// What the system tells of a file without reading it.
struct FileStamp {
    std::uint64_t bytes = 0;
    std::int64_t modified = 0;  ///< nanoseconds since 1970

    friend bool operator==(const FileStamp&, const FileStamp&) = default;
};

/// The stamp of a regular file; empty where there is none.
std::optional<FileStamp> StampOf(const std::filesystem::path& path);

struct FileIdentity {
    FileStamp stamp;
    std::uint32_t checksum = 0;  ///< CRC-32 of all bytes

    /// Same content, whatever the time.
    bool SameContent(const FileIdentity& other) const {
        return stamp.bytes == other.stamp.bytes && checksum == other.checksum;
    }
};

/// Whether reading ends after Ctrl-C, with ExitCode::Stopped, or goes on to the end.
enum class OnStop { Leave, GoOn };

/// Reads the whole file, unless size and time are still those of `known`, whose checksum then counts.
/// UserError where that cannot be.
FileIdentity IdentityOf(const std::filesystem::path& path, const std::optional<FileIdentity>& known,
                        OnStop onStop);

}  // namespace rydecon
