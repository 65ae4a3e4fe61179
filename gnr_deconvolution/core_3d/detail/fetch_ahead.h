// SPDX-License-Identifier: MIT
#pragma once

// Rows of volumes that a sweep meets between transforms. The processor's own look ahead begins anew there with every
// row, and comes too late.

#include <cstdint>

#include "detail/volume_geometry.h"

namespace gnr::detail {

/// Asks for the row behind row r of each volume, if there is one; null volumes have none.
template <class... Volumes>
void FetchRowBehind(const DFT3D& s, std::int64_t r, const Volumes*... volumes) {
    constexpr std::int64_t line = 16;
    if (r + 1 >= RowsOfVolume(s)) return;
    const auto fetch = [&](const float* volume) {
        if (volume == nullptr) return;
        const float* const row = volume + (r + 1) * s.rowLength;
        for (std::int64_t i = 0; i < s.rowLength; i += line) __builtin_prefetch(row + i, 0, 2);
    };
    (fetch(volumes), ...);
}

}  // namespace gnr::detail
