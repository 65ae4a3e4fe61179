// SPDX-License-Identifier: MIT

// Divergence of the normalised gradient, by forward differences throughout.
//
//   samples   the first X - 3 columns, Y - 1 rows and Z - 1 planes; X row length, two of it padding
//   borders   the last image column, row and plane copy the one before, in the gradient and in the divergence

#include "entries/total_variation.h"

#include <gnr_deconvolution/legacy.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "detail/parallel.h"
#include "detail/vector_clones.h"
#include "entries/gradient_steps.h"

namespace gnr::detail {

namespace {

/// Gradients not above this have no direction.
constexpr double kLeastLength = 1e-20;

/// The samples at which there is a gradient.
struct Interior {
    explicit Interior(const DFT3D& s)
        : columns(ImageColumns(s) - 1), rows(s.rows - 1), planes(s.planes - 1) {}
    bool Empty() const { return columns < 1 || rows < 1 || planes < 1; }

    std::int64_t columns;
    std::int64_t rows;
    std::int64_t planes;
};

/// Three components of the normalised gradient along a row.
struct GradientRow {
    float* x;
    float* y;
    float* z;
};

// below, behind  the same columns of the next row and of the next plane     n  length of the gradient
GNR_VECTOR_CLONES
void NormaliseGradient(const float* row, const float* below, const float* behind, std::int64_t count,
                       float* __restrict gx, float* __restrict gy, float* __restrict gz) {
    for (std::int64_t i = 0; i < count; ++i) {
        const double dx = row[i + 1] - row[i];
        const double dy = below[i] - row[i];
        const double dz = behind[i] - row[i];
        const double n = std::sqrt((dy * dy + dx * dx) + dz * dz);
        const bool flat = n <= kLeastLength;
        gx[i] = flat ? 0.0f : static_cast<float>(dx / n);
        gy[i] = flat ? 0.0f : static_cast<float>(dy / n);
        gz[i] = flat ? 0.0f : static_cast<float>(dz / n);
    }
}

void NormaliseGradient(const DFT3D& s, const float* row, std::int64_t count, const GradientRow& g) {
    NormaliseGradient(row, row + s.rowLength, row + s.planeStride, count, g.x, g.y, g.z);
}

// deliberate: forward differences of a field that is made by forward differences itself
GNR_VECTOR_CLONES
void Divergence(const GradientRow& g, const float* yBelow, const float* zBehind, std::int64_t count,
                float* T) {
    for (std::int64_t i = 0; i < count; ++i) {
        T[i] = ((yBelow[i] - g.y[i]) + (g.x[i + 1] - g.x[i])) + (zBehind[i] - g.z[i]);
    }
}

GNR_VECTOR_CLONES
void StepRow(float* blurred, const float* data, const float* x, const float* T, float lambda,
             std::int64_t count) {
    for (std::int64_t i = 0; i < count; ++i) blurred[i] = ((data[i] - blurred[i]) - T[i] * lambda) + x[i];
}

// ------------------------------------------------------------------------------------------- whole volumes

/// The last column of each computed row, the last row of each such plane, and the last plane.
void FillBorders(const DFT3D& s, const Interior& inside, float* volume) {
    ParallelFor(inside.planes, [=, &s](std::int64_t k) {
        float* const plane = volume + k * s.planeStride;
        for (std::int64_t j = 0; j < inside.rows; ++j) {
            float* const row = plane + j * s.rowLength;
            row[inside.columns] = row[inside.columns - 1];
        }
        std::copy_n(plane + (inside.rows - 1) * s.rowLength, s.rowLength, plane + inside.rows * s.rowLength);
    });
    std::copy_n(volume + (inside.planes - 1) * s.planeStride, s.planeStride,
                volume + inside.planes * s.planeStride);
}

/// body(first float of the row) for each computed row.
template <class Body>
void ForRows(const DFT3D& s, const Interior& inside, Body body) {
    ParallelFor(inside.rows * inside.planes, [=, &s](std::int64_t r) {
        body(r / inside.rows * s.planeStride + r % inside.rows * s.rowLength);
    });
}

// ---------------------------------------------------------------------------------------------------- tiles

/// A tile runs through all planes. Its gradients, of this plane and of the next, stay in the nearest caches; a
/// row and a column of each are those of the tile's neighbours, computed again.
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

using namespace gnr::detail;

void CRyLegacy3DDeconvolutionFamily::ComputeTVDivergence3D(const DFT3D* sizes, float* gx, float* gy,
                                                           float* gz, float* T, float* x) {
    const DFT3D& s = *sizes;
    const Interior inside(s);
    if (inside.Empty()) {
        for (float* const volume : {gx, gy, gz, T}) {
            ParallelRows(s, volume, [columns = ImageColumns(s)](float* row, std::int64_t) {
                std::fill_n(row, columns, 0.0f);
            });
        }
        return;
    }
    ForRows(s, inside, [=, &s](std::int64_t n) {
        NormaliseGradient(s, x + n, inside.columns, {gx + n, gy + n, gz + n});
    });
    for (float* const component : {gx, gy, gz}) FillBorders(s, inside, component);
    ForRows(s, inside, [=, &s](std::int64_t n) {
        Divergence({gx + n, gy + n, gz + n}, gy + n + s.rowLength, gz + n + s.planeStride, inside.columns,
                   T + n);
    });
    FillBorders(s, inside, T);
}
