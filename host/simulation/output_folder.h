// SPDX-License-Identifier: MIT
#pragma once

// A folder that disappears again with the job that made it, unless the job succeeds.

#include <filesystem>
#include <vector>

namespace rydecon {

class OutputFolder {
  public:
    /// Makes the folder and those above it where they are missing; UserError if that cannot be.
    explicit OutputFolder(const std::filesystem::path& folder);

    /// Removes the files taken in and the folders made, unless Keep was called.
    ~OutputFolder();
    OutputFolder(const OutputFolder&) = delete;
    OutputFolder& operator=(const OutputFolder&) = delete;

    /// Takes in a file that has appeared under its name while others of the job are still to come.
    void TakeIn(const std::filesystem::path& file) { files_.push_back(file); }

    void Keep() { kept_ = true; }

  private:
    void Withdraw() noexcept;

    std::vector<std::filesystem::path> made_;  // the outermost first
    std::vector<std::filesystem::path> files_;
    bool kept_ = false;
};

}  // namespace rydecon
