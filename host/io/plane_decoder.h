// SPDX-License-Identifier: MIT
#pragma once

// Brings the samples of one page from the file into rows of float32.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "io/sample_conversion.h"
#include "io/tiff_file.h"
#include "io/tiff_page.h"

namespace rydecon {

class PlaneDecoder {
  public:
    explicit PlaneDecoder(TiffFile& file) : file_(file) {}

    /// Row j of the page goes to rows[j * rowStride] on, page.width floats of it.
    /// Whatever cannot be decoded in full is a UserError. file.warning() keeps a complaint that did no harm.
    ConversionLoss Decode(const TiffPage& page, float* rows, std::ptrdiff_t rowStride);

  private:
    ConversionLoss DecodeRun(const TiffPage& page, float* rows, std::ptrdiff_t rowStride);
    ConversionLoss DecodeStrips(const TiffPage& page, float* rows, std::ptrdiff_t rowStride);
    ConversionLoss DecodeTiles(const TiffPage& page, float* rows, std::ptrdiff_t rowStride);
    ConversionLoss ConvertPixels(const TiffPage& page, const std::byte* samples, std::size_t count,
                                 float* out);
    std::byte* Buffer(std::uint64_t bytes);
    void CheckDecoded(const TiffPage& page, tmsize_t decoded, tmsize_t wanted) const;

    TiffFile& file_;
    std::unique_ptr<std::byte[]> buffer_;  // one strip, tile or group of rows
    std::uint64_t bufferBytes_ = 0;
    std::vector<std::byte> component_;  // of one row of pixels
};

}  // namespace rydecon
