// SPDX-License-Identifier: MIT
#pragma once

// How much memory a restoration may take: what the user allows, or what the machine has free.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace rydecon {

/// Bytes of "500M" or "4G": a number, which may have decimals, with K, M, G or T for powers of 1024, or
/// nothing for bytes. UserError (usage) that names the option for anything else, and for less than 1 MiB.
std::uint64_t ParseByteSize(const std::string& option, const std::string& text);

/// "812 MiB", "3.4 GiB"
std::string ByteText(std::uint64_t bytes);

/// Memory of this process in bytes.
struct ProcessMemory {
    std::uint64_t resident = 0;  ///< in memory now
    std::uint64_t peak = 0;      ///< most that ever was
    std::uint64_t mapped = 0;    ///< addresses in use
};
ProcessMemory MeasureProcess();

struct MemoryLimit {
    std::uint64_t bytes = 0;  ///< that the process may have, all it has now included
    std::uint64_t addresses =
        0;               ///< likewise, with buffers that are never touched, for which ulimit -v counts
    std::string source;  ///< "--max-memory", "free memory", "the container's limit" or "ulimit -v"
};

/// The limit that counts. Without `allowed` the least of free memory (a tenth stays free), the limits of all
/// control groups around the process, and ulimit -v; that last one counts beside `allowed` as well, since
/// beyond it no memory can be had at all.
MemoryLimit FindMemoryLimit(std::optional<std::uint64_t> allowed);

/// Makes every large buffer go back to the system when it is freed. By itself the allocator keeps more and more
/// of what one block after the other has freed, beside what the next one takes.
void ReturnFreedMemory();

/// What the control groups under `root` leave to the process, whose groups the file `membership` lists in the
/// form of /proc/self/cgroup; empty where none limits it.
std::optional<std::uint64_t> RoomInControlGroups(const std::filesystem::path& membership,
                                                 const std::filesystem::path& root);

}  // namespace rydecon
