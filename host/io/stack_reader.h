// SPDX-License-Identifier: MIT
#pragma once

// Reads 3D stacks from TIFF files, plane by plane, straight into the caller's rows of floats; pictures from PNG
// files as well.

#include <cstddef>
#include <filesystem>
#include <memory>

#include "io/stack_header.h"
#include "io/tiff_page.h"
#include "report/messages.h"

namespace rydecon {

class PngPicture;

/// One open stack. Whatever makes a file unusable is a UserError that names the file.
class StackReader {
  public:
    /// Opens the file and checks every page: grey, one size, one sample type that the program reads. Where colour
    /// is split, one page of red, green and blue is taken for three planes.
    StackReader(std::filesystem::path path, const Messages& messages, Colour colour = Colour::Refused);
    ~StackReader();
    StackReader(const StackReader&) = delete;
    StackReader& operator=(const StackReader&) = delete;

    const StackHeader& header() const;

    /// Reads plane `plane` (0 to planes - 1) as float32; row j goes to rows[j * rowStride] on.
    /// Only width floats of each row are written.
    void ReadPlane(int plane, float* rows, std::ptrdiff_t rowStride);

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;           // of a TIFF file
    std::unique_ptr<PngPicture> picture_;  // of a PNG file
};

}  // namespace rydecon
