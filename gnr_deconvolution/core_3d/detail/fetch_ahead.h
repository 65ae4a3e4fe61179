// SPDX-License-Identifier: MIT
#pragma once

// Rows of volumes that a sweep meets between transforms. The processor's own look ahead begins anew there with every
// row, and comes too late.

#include <cstdint>

#include "detail/volume_geometry.h"

namespace gnr::detail {

/// Asks for floats that are soon to be met.
inline void Fetch(const float* first, std::int64_t count) {
    constexpr std::int64_t line = 16;
    for (std::int64_t i = 0; i < count; i += line) __builtin_prefetch(first + i, 0, 2);
}

/// Asks for the row behind row r of each volume, if there is one; null volumes have none.
template <class... Volumes>
void FetchRowBehind(const DFT3D& s, std::int64_t r, const Volumes*... volumes) {
    if (r + 1 >= RowsOfVolume(s)) return;
    const auto fetch = [&](const float* volume) {
        if (volume != nullptr) Fetch(volume + (r + 1) * s.rowLength, s.rowLength);
    };
    (fetch(volumes), ...);
}

}  // namespace gnr::detail
