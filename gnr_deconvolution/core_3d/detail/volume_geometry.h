// SPDX-License-Identifier: MIT
#pragma once

// Geometry of a padded volume, with every product in the width that its record states.

#include <gnr_deconvolution/kernels_3d.h>

#include <cstdint>

namespace gnr::detail {

/// Floats that a row holds beyond its image columns, for the in-place transform.
inline constexpr std::int32_t kRowPadding = 2;

/// Product modulo 2^32, read as a signed number.
constexpr std::int32_t WrappedProduct(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}

constexpr DFT3D MakeGeometry(std::int32_t x, std::int32_t y, std::int32_t z) {
    DFT3D s{};
    s.rowLength = static_cast<std::int32_t>(static_cast<std::uint32_t>(x) + kRowPadding);
    s.rows = y;
    s.planes = z;
    s.planeStride = WrappedProduct(s.rowLength, s.rows);
    s.total = std::int64_t{s.planeStride} * s.planes;
    return s;
}

/// Logical width x: the image columns of a row.
constexpr std::int32_t ImageColumns(const DFT3D& s) {
    return s.rowLength - kRowPadding;
}

/// Rows of the whole volume, counted through all planes; row r begins at float r * rowLength.
constexpr std::int64_t RowsOfVolume(const DFT3D& s) {
    return std::int64_t{s.rows} * s.planes;
}

}  // namespace gnr::detail
