// SPDX-License-Identifier: MIT
#pragma once

// Walks over the image columns of a volume, on the calling thread, in plane, row, column order.

#include <cstdint>

#include "detail/volume_geometry.h"

namespace gnr::detail {

/// Calls visit(sample) for each image sample; padding is stepped over.
template <class Float, class Visit>
void WalkImageColumns(const DFT3D& s, Float* volume, Visit visit) {
    const std::int32_t columns = ImageColumns(s);
    const std::int64_t rows = RowsOfVolume(s);
    for (std::int64_t r = 0; r < rows; ++r) {
        Float* const row = volume + r * s.rowLength;
        for (std::int32_t i = 0; i < columns; ++i) visit(row[i]);
    }
}

}  // namespace gnr::detail
