// SPDX-License-Identifier: MIT
#pragma once

// The part of a rectangle that two pictures both have, and how it is copied.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace gnr::detail {

/// One side of a copy, rows in bytes. No samples: a picture of no size.
template <class Byte>
struct CopySide {
    Byte* samples;
    std::uint64_t pitch;
    std::uint32_t width;   ///< pixels
    std::uint32_t height;  ///< rows
    std::uint32_t x;       ///< first pixel of the rectangle
    std::uint32_t y;

    /// Pixels of a side of `wished` pixels that lie inside.
    std::uint32_t Columns(std::uint32_t wished) const { return Inside(wished, width, x); }
    std::uint32_t Rows(std::uint32_t wished) const { return Inside(wished, height, y); }

  private:
    std::uint32_t Inside(std::uint32_t wished, std::uint32_t side, std::uint32_t first) const {
        return samples == nullptr || first >= side ? 0 : std::min(wished, side - first);
    }
};

/// Copies as much of a rectangle of width by height pixels as lies in both pictures.
inline void CopyClipped(const CopySide<std::byte>& to, const CopySide<const std::byte>& from,
                        std::uint32_t width, std::uint32_t height, std::uint64_t bytesPerPixel) {
    const std::uint32_t columns = std::min(to.Columns(width), from.Columns(width));
    const std::uint32_t rows = std::min(to.Rows(height), from.Rows(height));
    const std::uint64_t bytes = columns * bytesPerPixel;
    if (bytes == 0) return;
    for (std::uint64_t j = 0; j < rows; ++j) {
        std::memcpy(to.samples + (to.y + j) * to.pitch + to.x * bytesPerPixel,
                    from.samples + (from.y + j) * from.pitch + from.x * bytesPerPixel, bytes);
    }
}

}  // namespace gnr::detail
