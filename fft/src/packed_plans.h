// SPDX-License-Identifier: MIT
#pragma once

// The plans of packed transforms: chunks of neighbouring rows and blocks of columns, all in place within the
// work buffer, so that they know its alignment and no frame's.

#include <fftw3.h>

#include <algorithm>
#include <cstddef>

#include "packed_columns.h"
#include "planner.h"

namespace gnr::fft {

/// Rows that are transformed together, and columns that are: what the nearest caches hold.
inline constexpr std::ptrdiff_t kRowsTogether = 16;
inline constexpr std::ptrdiff_t kColumnsTogether = 32;

inline std::ptrdiff_t RowsOfChunk(const PackedSides& s) {
    return std::min(s.height, kRowsTogether);
}
inline std::ptrdiff_t ColumnsOfBlock(const PackedSides& s) {
    return std::min(s.Columns(), kColumnsTogether);
}

enum class Direction { kForward, kBackward };

/// A chunk of rows, real samples to half spectrum or back.
Plan PlanRows(const PackedSides& s, Direction direction);

/// A block of columns.
Plan PlanColumns(const PackedSides& s, Direction direction);

}  // namespace gnr::fft
