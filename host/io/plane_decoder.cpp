// SPDX-License-Identifier: MIT

#include "io/plane_decoder.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string>

namespace rydecon {
namespace {

// Long enough that the reads cost no time, short enough to stay in the cache for the conversion.
constexpr std::uint64_t kRunBytes = std::uint64_t{1} << 20;

}  // namespace

ConversionLoss PlaneDecoder::Decode(const TiffPage& page, float* rows, std::ptrdiff_t rowStride) {
    if (page.run) return DecodeRun(page, rows, rowStride);
    file_.GoToDirectory(page.directory);
    file_.ForgetComplaints();
    return page.tiled ? DecodeTiles(page, rows, rowStride) : DecodeStrips(page, rows, rowStride);
}

std::byte* PlaneDecoder::Buffer(std::uint64_t bytes) {
    if (bytes > bufferBytes_) {
        buffer_.reset();
        bufferBytes_ = 0;
        try {
            buffer_ = std::make_unique_for_overwrite<std::byte[]>(bytes);
        } catch (const std::bad_alloc&) {
            throw file_.Refusal("no memory for the " + std::to_string(bytes) +
                                " bytes of one strip or tile; save it with smaller ones");
        }
        bufferBytes_ = bytes;
    }
    return buffer_.get();
}

void PlaneDecoder::CheckDecoded(const TiffPage& page, tmsize_t decoded, tmsize_t wanted) const {
    const bool filledUp = page.lossy && !file_.warning().empty();
    if (decoded == wanted && !filledUp) return;
    const std::string warning = filledUp ? " (" + file_.warning() + ")" : "";
    throw file_.Refusal("the samples of page " + std::to_string(page.number) +
                        " are truncated or damaged; copy or export it again" + warning);
}

ConversionLoss PlaneDecoder::DecodeRun(const TiffPage& page, float* rows, std::ptrdiff_t rowStride) {
    const bool swapBytes = TIFFIsByteSwapped(file_.handle()) != 0;
    const auto width = static_cast<std::size_t>(page.width);
    const std::uint64_t rowBytes = width * BytesOf(page.type);
    const auto rowsAtOnce = static_cast<int>(
        std::clamp<std::uint64_t>(kRunBytes / rowBytes, 1, static_cast<std::uint64_t>(page.height)));
    std::byte* buffer = Buffer(rowBytes * static_cast<std::uint64_t>(rowsAtOnce));
    std::uint64_t offset = *page.run;
    ConversionLoss loss;
    for (int row = 0; row < page.height; row += rowsAtOnce) {
        const int count = std::min(rowsAtOnce, page.height - row);
        const std::uint64_t bytes = rowBytes * static_cast<std::uint64_t>(count);
        file_.ReadBytes(offset, bytes, buffer);
        offset += bytes;
        for (int k = 0; k < count; ++k) {
            loss += ConvertSamples(page.type, swapBytes, buffer + static_cast<std::size_t>(k) * rowBytes,
                                   width, rows + (row + k) * rowStride);
        }
    }
    return loss;
}

// Of pixels side by side, the component that is the plane.
ConversionLoss PlaneDecoder::ConvertPixels(const TiffPage& page, const std::byte* samples, std::size_t count,
                                           float* out) {
    if (page.SamplesAbreast() == 1) return ConvertSamples(page.type, false, samples, count, out);
    const std::size_t bytes = BytesOf(page.type);
    const std::size_t pixelBytes = bytes * static_cast<std::size_t>(page.samplesPerPixel);
    component_.resize(count * bytes);
    for (std::size_t i = 0; i < count; ++i) {
        std::memcpy(component_.data() + i * bytes,
                    samples + i * pixelBytes + static_cast<std::size_t>(page.component) * bytes, bytes);
    }
    return ConvertSamples(page.type, false, component_.data(), count, out);
}

ConversionLoss PlaneDecoder::DecodeStrips(const TiffPage& page, float* rows, std::ptrdiff_t rowStride) {
    TIFF* tiff = file_.handle();
    const std::uint64_t rowBytes = page.RowBytes();
    std::uint32_t rowsPerStrip = 0;
    TIFFGetFieldDefaulted(tiff, TIFFTAG_ROWSPERSTRIP, &rowsPerStrip);
    const auto height = static_cast<std::uint32_t>(page.height);
    rowsPerStrip = std::clamp<std::uint32_t>(rowsPerStrip, 1, height);
    const std::uint32_t firstStrip =
        page.separate ? static_cast<std::uint32_t>(page.component) * ((height - 1) / rowsPerStrip + 1) : 0;
    std::byte* buffer = Buffer(rowBytes * rowsPerStrip);
    ConversionLoss loss;
    for (std::uint32_t row = 0; row < height; row += rowsPerStrip) {
        const std::uint32_t count = std::min(rowsPerStrip, height - row);
        const auto wanted = static_cast<tmsize_t>(rowBytes * count);
        CheckDecoded(page, TIFFReadEncodedStrip(tiff, firstStrip + row / rowsPerStrip, buffer, wanted),
                     wanted);
        for (std::uint32_t k = 0; k < count; ++k) {
            loss += ConvertPixels(page, buffer + k * rowBytes, static_cast<std::size_t>(page.width),
                                  rows + static_cast<std::ptrdiff_t>(row + k) * rowStride);
        }
    }
    return loss;
}

ConversionLoss PlaneDecoder::DecodeTiles(const TiffPage& page, float* rows, std::ptrdiff_t rowStride) {
    TIFF* tiff = file_.handle();
    std::uint32_t tileWidth = 0;
    std::uint32_t tileHeight = 0;
    TIFFGetField(tiff, TIFFTAG_TILEWIDTH, &tileWidth);
    TIFFGetField(tiff, TIFFTAG_TILELENGTH, &tileHeight);
    const tmsize_t tileBytes = TIFFTileSize(tiff);
    const std::uint64_t rowBytes =
        tileWidth * BytesOf(page.type) * static_cast<std::uint64_t>(page.SamplesAbreast());
    if (tileBytes <= 0 || static_cast<std::uint64_t>(tileBytes) != rowBytes * tileHeight) {
        throw file_.Refusal("page " + std::to_string(page.number) +
                            " claims impossible tiles; export the file again");
    }
    std::byte* buffer = Buffer(static_cast<std::uint64_t>(tileBytes));
    const auto width = static_cast<std::uint32_t>(page.width);
    const auto height = static_cast<std::uint32_t>(page.height);
    ConversionLoss loss;
    const std::uint32_t tiles =
        TIFFNumberOfTiles(tiff) / static_cast<std::uint32_t>(page.separate ? page.samplesPerPixel : 1);
    std::uint32_t tile = page.separate ? static_cast<std::uint32_t>(page.component) * tiles : 0;
    for (std::uint64_t top = 0; top < height; top += tileHeight) {
        const std::uint64_t tileRows = std::min<std::uint64_t>(tileHeight, height - top);
        for (std::uint64_t left = 0; left < width; left += tileWidth, ++tile) {
            const std::uint64_t columns = std::min<std::uint64_t>(tileWidth, width - left);
            CheckDecoded(page, TIFFReadEncodedTile(tiff, tile, buffer, tileBytes), tileBytes);
            for (std::uint64_t k = 0; k < tileRows; ++k) {
                float* out = rows + static_cast<std::ptrdiff_t>(top + k) * rowStride +
                             static_cast<std::ptrdiff_t>(left);
                loss += ConvertPixels(page, buffer + k * rowBytes, columns, out);
            }
        }
    }
    return loss;
}

}  // namespace rydecon
