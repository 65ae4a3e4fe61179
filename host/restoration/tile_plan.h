// SPDX-License-Identifier: MIT
#pragma once

// Into which tiles a picture is cut before it is restored.

#include <optional>
#include <string>

namespace rydecon {

/// Tiles to the right and downwards.
struct TileGrid {
    unsigned x = 1;
    unsigned y = 1;

    unsigned count() const { return x * y; }
    friend bool operator==(const TileGrid&, const TileGrid&) = default;
};

/// "auto", or sides such as "3x2".
struct TileChoice {
    std::optional<TileGrid> grid = TileGrid{};  ///< empty: as the picture asks for
};

/// UserError (usage) for text that is neither.
TileChoice ParseTiles(const std::string& text);

/// Narrower tiles come out displaced.
inline constexpr int kLeastTile = 50;

/// The grid for a picture of width by height pixels. `margin` pixels surround each tile in its frame, whose
/// sides are powers of two; auto takes the grid with the smallest frames in sum, none above 2048, and among
/// equals the one of fewest tiles. UserError (usage) for a grid with tiles below 50 pixels, or with an empty
/// one.
TileGrid PlanTiles(const TileChoice& choice, int width, int height, int margin);

}  // namespace rydecon
