// SPDX-License-Identifier: MIT
#pragma once

// Reads stacks from TIFF files, plane by plane, straight into the caller's rows of floats; pictures from PNG files
// as well.

#include <cstddef>
#include <filesystem>
#include <memory>

#include "io/stack_header.h"
#include "report/messages.h"

namespace rydecon {

class PngPicture;

/// One open stack. Whatever makes a file unusable is a UserError that names the file.
class StackReader {
  public:
    /// Opens the file, and the other files of its set, and checks every page: one size, one sample type that the
    /// program reads, and an axis for each.
    StackReader(std::filesystem::path path, const Messages& messages, Accept accept = Accept::Volume);
    ~StackReader();
    StackReader(const StackReader&) = delete;
    StackReader& operator=(const StackReader&) = delete;

    const StackHeader& header() const;

    /// Reads the plane as float32; row j goes to rows[j * rowStride] on. Only width floats of each row are
    /// written, and no more than a strip or tile of the file is held in memory.
    void ReadPlane(const PlaneIndex& plane, float* rows, std::ptrdiff_t rowStride);

    /// Plane `k` of planes(), counted as PlaneAt counts: of a volume, z; of a picture, the channel.
    void ReadPlane(int k, float* rows, std::ptrdiff_t rowStride);

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;           // of a TIFF file
    std::unique_ptr<PngPicture> picture_;  // of a PNG file
};

}  // namespace rydecon
