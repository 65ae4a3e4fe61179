// SPDX-License-Identifier: MIT
#pragma once

// Files that will be read soon, brought into the system's memory meanwhile.

#include <filesystem>
#include <thread>
#include <vector>

namespace rydecon {

/// Reads files on a thread of its own, so that whoever reads them next need not wait for the disk. Keeps nothing of
/// them: the system does, as long as it has memory to spare.
class FileWarmer {
  public:
    /// Begins with these files; leaves off those before. Does nothing where they would take more than half of the
    /// memory that is free, and passes over what cannot be read.
    void Warm(std::vector<std::filesystem::path> files);

    /// Until all are read.
    void Wait();

  private:
    std::jthread reading_;
};

}  // namespace rydecon
