// SPDX-License-Identifier: MIT
#pragma once

// Cyclic shifts between a padded volume and a packed one, row by row. Packed: rows of the image columns side
// by side, no padding.

#include <gnr_deconvolution/kernels_3d.h>

#include <cstdint>

#include "detail/volume_geometry.h"

namespace gnr::detail {

/// Sample (i, j, k) moves to ((i + x) mod columns, (j + y) mod rows, (k + z) mod planes); each part at least 0
/// and below its side.
struct CyclicShift {
    std::int32_t x = 0;
    std::int32_t y = 0;
    std::int32_t z = 0;
};

/// First float of the packed row to which row r of the volume moves.
inline std::int64_t ShiftedRow(const DFT3D& s, const CyclicShift& shift, std::int64_t r) {
    const std::int64_t plane = r / s.rows;
    const std::int64_t k = plane + shift.z;
    const std::int64_t j = r - plane * s.rows + shift.y;
    const std::int64_t row = (k < s.planes ? k : k - s.planes) * s.rows + (j < s.rows ? j : j - s.rows);
    return row * ImageColumns(s);
}

}  // namespace gnr::detail
