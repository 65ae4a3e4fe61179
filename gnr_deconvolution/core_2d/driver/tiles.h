// SPDX-License-Identifier: MIT
#pragma once

// The tiling driver of all _x1 entries.

#include <gnr_deconvolution/ranges.h>
#include <gnr_deconvolution/return_codes.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "driver/picture_kinds.h"

namespace gnr::detail {

/// Pixels by which a tile reaches into its neighbours; deliberate: fixed, whatever the size of the PSF
inline constexpr std::int64_t kTileOverlap = 50;

/// The grid as the caller counts it; both counts are compared as signed numbers.
struct TileGrid {
    unsigned tilesX;
    unsigned tilesY;

    bool IsWhole() const { return tilesX == 1 && tilesY == 1; }
    bool IsEmpty() const {
        return static_cast<std::int32_t>(tilesX) <= 0 || static_cast<std::int32_t>(tilesY) <= 0;
    }
};

/// Where one tile lies along one axis, in pixels of the picture.
struct TileSpan {
    std::int64_t first;       ///< of the output
    std::int64_t outputSize;  ///< may be 0 or below at the end of a grid that is too fine
    std::int64_t inputFirst;
    std::int64_t inputSize;  ///< likewise
    std::int64_t skipped;    ///< from the tile's own edge to its output
};

/// Tiles along one axis of `side` pixels.
class TileAxis {
  public:
    TileAxis(unsigned side, unsigned tiles)
        : side_(side),
          size_(static_cast<std::int64_t>(std::ceil(static_cast<float>(side) / static_cast<float>(tiles)))) {}

    TileSpan At(std::int64_t index) const {
        const std::int64_t first = index * size_;
        const std::int64_t behind = first + size_;
        const std::int64_t inputFirst = std::max(std::int64_t{0}, first - kTileOverlap);
        // deliberate: the overlap is skipped in full, also where the picture's edge left less of it
        return {first, std::min(side_, behind) - first, inputFirst,
                std::min(side_, behind + kTileOverlap) - inputFirst, index != 0 ? kTileOverlap : 0};
    }

  private:
    std::int64_t side_;
    std::int64_t size_;
};

inline std::uint32_t PixelsOf(std::int64_t size) {
    return static_cast<std::uint32_t>(std::max(size, std::int64_t{0}));
}

/// Restores one tile: restore(tile-out, tile-in), both blank or filled copies.
template <AnyPicture P, class Restore>
int RestoreTile(P& destination, const P& source, const TileSpan& x, const TileSpan& y, Restore restore) {
    OwnedPicture<P> in;
    OwnedPicture<P> out;
    if (x.inputSize < 0 || y.inputSize < 0) return kNotReady;
    const std::uint32_t width = PixelsOf(x.inputSize);
    const std::uint32_t height = PixelsOf(y.inputSize);
    if (!in.Make(width, height, source) || !out.Make(width, height, source)) return kNotReady;
    const Corner sourceCorner = {PixelsOf(x.inputFirst), PixelsOf(y.inputFirst)};
    CopyRect({}, width, height, *in, sourceCorner, source);
    const int code = restore(&*out, &*in);
    // deliberate: delivered before the code is looked at, so that a tile that failed leaves its place black
    CopyRect({PixelsOf(x.first), PixelsOf(y.first)}, PixelsOf(x.outputSize), PixelsOf(y.outputSize),
             destination, {PixelsOf(x.skipped), PixelsOf(y.skipped)}, *out);
    return code;
}

/// Restores a picture tile by tile, row after row, and ends at the first code that is not 0, which it
/// returns. restore(destination, source) gets pointers to pictures of its own; for a grid of 1 by 1 the
/// caller's.
template <AnyPicture P, class Restore>
int RestoreInTiles(P* pDst, P* pSrc, const TileGrid& grid, Restore restore) {
    if (grid.IsWhole()) return restore(pDst, pSrc);
    if (grid.IsEmpty()) return kSuccess;
    const TileAxis columns(pSrc->uiWidth, grid.tilesX);
    const TileAxis rows(pSrc->uiHeight, grid.tilesY);
    for (std::int64_t r = 0; r < grid.tilesY; ++r) {
        for (std::int64_t c = 0; c < grid.tilesX; ++c) {
            const int code = RestoreTile(*pDst, *pSrc, columns.At(c), rows.At(r), restore);
            if (code != kSuccess) return code;
        }
    }
    return kSuccess;
}

/// The same for entries that count: restore(destination, source, pointer to the count). The range, which may
/// be null, takes the count of a grid of 1 by 1, and else 0 and the counts of all tiles that ran.
template <AnyPicture P, class Restore>
int RestoreInTiles(P* pDst, P* pSrc, const TileGrid& grid, CRyUintRange* pRange, Restore restore) {
    const bool whole = grid.IsWhole();
    // deliberate: a grid of several tiles starts at 0
    if (!whole && pRange != nullptr) pRange->Set(0);
    return RestoreInTiles(pDst, pSrc, grid, [&](P* destination, P* source) {
        unsigned count = 0;
        const int code = restore(destination, source, &count);
        if (pRange != nullptr) whole ? pRange->Set(count) : pRange->Add(count);
        return code;
    });
}

}  // namespace gnr::detail
