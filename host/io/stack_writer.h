// SPDX-License-Identifier: MIT
#pragma once

// Writes float32 stacks as TIFF under a temporary name; the target appears whole or not at all.

#include <cstddef>
#include <filesystem>
#include <memory>

#include "io/stack_header.h"

namespace rydecon {

/// One stack being written. Not committed, it leaves nothing behind.
class StackWriter {
  public:
    /// Refuses (UserError) an existing target unless `overwrite`, and a folder that cannot be written.
    StackWriter(const std::filesystem::path& target, const StackHeader& header, bool overwrite);
    ~StackWriter();
    StackWriter(const StackWriter&) = delete;
    StackWriter& operator=(const StackWriter&) = delete;

    /// Appends the next plane; row j is read from rows[j * rowStride] on, width floats of it.
    void WritePlane(const float* rows, std::ptrdiff_t rowStride);

    /// Closes the temporary file and renames it to the target. All planes must have been written.
    void Commit();

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace rydecon
