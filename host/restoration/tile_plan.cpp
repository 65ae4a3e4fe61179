// SPDX-License-Identifier: MIT
#include "restoration/tile_plan.h"

#include <algorithm>
#include <bit>
#include <charconv>

#include "report/user_error.h"

namespace rydecon {

namespace {

/// What the library adds to each inner side of a tile.
constexpr int kOverlap = 50;

/// A side beyond which a frame costs more memory than it saves time.
constexpr int kLargestFrame = 2048;

/// Sides that fit every picture; more is a slip of the finger.
constexpr unsigned kMostTiles = 100000;

int TileSide(int pixels, int tiles) {
    return (pixels + tiles - 1) / tiles;
}

/// The frame of the tile with most neighbours.
int FrameSide(int pixels, int tiles, int margin) {
    const int overlaps = std::min(tiles - 1, 2);
    const int side = std::min(pixels, TileSide(pixels, tiles) + overlaps * kOverlap);
    return static_cast<int>(std::bit_ceil(static_cast<unsigned>(side + 2 * margin)));
}

bool IsSound(int pixels, int tiles) {
    const int side = TileSide(pixels, tiles);
    return tiles == 1 || (side >= kLeastTile && (tiles - 1) * side < pixels);
}

unsigned AutomaticTiles(int pixels, int margin) {
    int best = 1;
    const auto cost = [&](int tiles) {
        return static_cast<long long>(tiles) * FrameSide(pixels, tiles, margin);
    };
    for (int tiles = 2; tiles <= pixels / kLeastTile; ++tiles) {
        if (!IsSound(pixels, tiles)) continue;
        const bool tooLarge = FrameSide(pixels, best, margin) > kLargestFrame;
        if (tooLarge || cost(tiles) < cost(best)) best = tiles;
    }
    return static_cast<unsigned>(best);
}

/// The most tiles along a side, from `tiles` downwards, that are all at least 50 pixels and none empty.
int MostSound(int pixels, int tiles) {
    tiles = std::min(tiles, std::max(pixels / kLeastTile, 1));
    while (!IsSound(pixels, tiles)) --tiles;
    return tiles;
}

std::string TextOf(int x, int y) {
    return std::to_string(x) + "x" + std::to_string(y);
}

std::optional<TileGrid> ParseGrid(const std::string& text) {
    TileGrid grid;
    const char* const end = text.data() + text.size();
    const auto first = std::from_chars(text.data(), end, grid.x);
    if (first.ec != std::errc() || first.ptr == end || *first.ptr != 'x') return std::nullopt;
    const auto second = std::from_chars(first.ptr + 1, end, grid.y);
    if (second.ec != std::errc() || second.ptr != end) return std::nullopt;
    const bool sensible = grid.x >= 1 && grid.y >= 1 && grid.x <= kMostTiles && grid.y <= kMostTiles;
    return sensible ? std::optional(grid) : std::nullopt;
}

}  // namespace

TileChoice ParseTiles(const std::string& text) {
    if (text == "auto") return {std::nullopt};
    const std::optional<TileGrid> grid = ParseGrid(text);
    if (grid) return {grid};
    throw UserError(
        "--tiles is '" + text + "'; auto is needed, or tiles to the right and downwards such as 3x2",
        ExitCode::Usage);
}

TileGrid PlanTiles(const TileChoice& choice, int width, int height, int margin) {
    if (!choice.grid) return {AutomaticTiles(width, margin), AutomaticTiles(height, margin)};
    const auto x = static_cast<int>(choice.grid->x);
    const auto y = static_cast<int>(choice.grid->y);
    if (IsSound(width, x) && IsSound(height, y)) return *choice.grid;
    const std::string most = TextOf(MostSound(width, x), MostSound(height, y));
    throw UserError("--tiles " + TextOf(x, y) + " does not fit a picture of " + std::to_string(width) +
                        " x " + std::to_string(height) + " pixels, whose tiles need " +
                        std::to_string(kLeastTile) + " pixels or more: take " + most +
                        (most == TextOf(1, 1) ? "" : " or fewer"),
                    ExitCode::Usage);
}

}  // namespace rydecon
