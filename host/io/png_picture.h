// SPDX-License-Identifier: MIT
#pragma once

// Reads pictures from PNG files: grey, or red, green and blue, of 8 or 16 bits, the samples as they stand in the
// file.

#include <cstddef>
#include <filesystem>
#include <vector>

#include "io/stack_header.h"

namespace rydecon {

/// True for a regular file that begins as a PNG does.
bool IsPng(const std::filesystem::path& path);

class PngPicture {
  public:
    /// Reads the whole file. UserError where it is damaged or of another kind; colour becomes
    /// channels where any stack is accepted and is refused elsewhere.
    PngPicture(const std::filesystem::path& path, Accept accept);

    const StackHeader& header() const { return header_; }

    /// Row j of a channel goes to rows[j * rowStride] on.
    void ReadChannel(int channel, float* rows, std::ptrdiff_t rowStride) const;

  private:
    StackHeader header_;
    std::vector<float> samples_;  // channels of a pixel side by side
};

}  // namespace rydecon
