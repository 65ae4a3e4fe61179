// SPDX-License-Identifier: MIT
#include "entries/total_variation_step.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include <processor/vector_clones.h>
#include "detail/parallel.h"
#include "entries/gradient_rows.h"
#include "entries/gradient_steps.h"

namespace gnr::detail {

namespace {

/// A tile runs through all planes. Its gradients, of this plane and of the next, stay in the nearest caches;
/// a row and a column of each are those of the tile's neighbours, computed again.
constexpr std::int64_t kTileColumns = 128;
constexpr std::int64_t kTileRows = 8;

/// Columns and rows of the interior, and whether the border lies beside and below them.
struct Tile {
    std::int64_t firstColumn;
    std::int64_t firstRow;
    std::int64_t columns;
    std::int64_t rows;
    bool atLastColumn;
    bool atLastRow;
};

/// Tile n of all, row by row.
Tile MakeTile(const Interior& inside, std::int64_t tilesAcross, std::int64_t n) {
    Tile tile = {
        n % tilesAcross * kTileColumns, n / tilesAcross * kTileRows, kTileColumns, kTileRows, false, false};
    tile.columns = std::min(tile.columns, inside.columns - tile.firstColumn);
    tile.rows = std::min(tile.rows, inside.rows - tile.firstRow);
    tile.atLastColumn = tile.firstColumn + tile.columns == inside.columns;
    tile.atLastRow = tile.firstRow + tile.rows == inside.rows;
    return tile;
}

/// The gradients of a tile in one plane, with a row below and a column beside it.
class TileGradients {
  public:
    void Compute(const DFT3D& s, const Tile& tile, const float* corner) {
        const std::int64_t rows = tile.rows + (tile.atLastRow ? 0 : 1);
        const std::int64_t columns = tile.columns + (tile.atLastColumn ? 0 : 1);
        for (std::int64_t j = 0; j < rows; ++j) {
            const GradientRow row = Row(j);
            NormaliseGradient(s, corner + j * s.rowLength, columns, row);
            if (tile.atLastColumn) row.x[tile.columns] = row.x[tile.columns - 1];
        }
        if (tile.atLastRow) std::copy_n(Row(tile.rows - 1).y, tile.columns, Row(tile.rows).y);
    }
    GradientRow Row(std::int64_t j) {
        const auto first = static_cast<std::size_t>(j * kStride);
        return {&x_[first], &y_[first], &z_[first]};
    }

  private:
    static constexpr std::int64_t kStride = kTileColumns + 1;
    static constexpr std::size_t kFloats = static_cast<std::size_t>(kStride * (kTileRows + 1));
    std::array<float, kFloats> x_;
    std::array<float, kFloats> y_;
    std::array<float, kFloats> z_;
};

/// A row of a tile's term, with the border column and the padding.
class TermRow {
  public:
    explicit TermRow(const Tile& tile) : tile_(tile), count_(tile.columns) {
        if (!tile.atLastColumn) return;
        std::fill_n(T_.data() + count_, 1 + kRowPadding, 0.0f);
        count_ += 1 + kRowPadding;
    }
    void Compute(const GradientRow& here, const float* yBelow, const float* zBehind) {
        float* const end = T_.data() + tile_.columns;
        Divergence(here, yBelow, zBehind, tile_.columns, T_.data());
        if (tile_.atLastColumn) *end = end[-1];
    }
    const float* T() const { return T_.data(); }
    std::int64_t count() const { return count_; }

  private:
    const Tile& tile_;
    std::int64_t count_;
    std::array<float, kTileColumns + 1 + kRowPadding> T_;
};

GNR_VECTOR_CLONES
void StepRow(float* blurred, const float* data, const float* x, const float* T, float lambda,
             std::int64_t count) {
    for (std::int64_t i = 0; i < count; ++i) blurred[i] = ((data[i] - blurred[i]) - T[i] * lambda) + x[i];
}

/// Where a step goes.
struct StepBuffers {
    float* blurred;
    const float* data;
    const float* x;
    float lambda;

    void Take(std::int64_t first, const TermRow& row) const {
        StepRow(blurred + first, data + first, x + first, row.T(), lambda, row.count());
    }
};

/// The step in the columns of a tile, with the borders and the padding beside it.
void StepTile(const DFT3D& s, std::int64_t planes, const Tile& tile, const StepBuffers& step) {
    std::array<TileGradients, 2> gradients;
    TermRow term(tile);
    std::int64_t corner = tile.firstRow * s.rowLength + tile.firstColumn;
    gradients[0].Compute(s, tile, step.x + corner);
    for (std::int64_t k = 0; k < planes; ++k, corner += s.planeStride) {
        const bool lastPlane = k + 1 == planes;
        TileGradients& here = gradients[static_cast<std::size_t>(k % 2)];
        TileGradients& behind = lastPlane ? here : gradients[static_cast<std::size_t>((k + 1) % 2)];
        if (!lastPlane) behind.Compute(s, tile, step.x + corner + s.planeStride);
        for (std::int64_t j = 0; j < tile.rows; ++j) {
            term.Compute(here.Row(j), here.Row(j + 1).y, behind.Row(j).z);
            // A border row or plane takes the term of the one before.
            const std::int64_t endRow = tile.atLastRow && j + 1 == tile.rows ? j + 1 : j;
            const std::int64_t endPlane = lastPlane ? 1 : 0;
            for (std::int64_t plane = 0; plane <= endPlane; ++plane) {
                for (std::int64_t row = j; row <= endRow; ++row) {
                    step.Take(corner + plane * s.planeStride + row * s.rowLength, term);
                }
            }
        }
    }
}

}  // namespace

void StepDownTotalVariation(const DFT3D& s, float* blurred, const float* data, const float* x, float lambda) {
    const Interior inside(s);
    const StepBuffers step = {blurred, data, x, lambda};
    if (inside.Empty()) {
        StepDown(s, blurred, data, x);
        return;
    }
    const std::int64_t across = (inside.columns + kTileColumns - 1) / kTileColumns;
    const std::int64_t down = (inside.rows + kTileRows - 1) / kTileRows;
    ParallelFor(across * down,
                [=, &s](std::int64_t n) { StepTile(s, inside.planes, MakeTile(inside, across, n), step); });
}

}  // namespace gnr::detail
