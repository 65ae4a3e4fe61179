// SPDX-License-Identifier: MIT
#pragma once

// Rows of volumes that a sweep meets next.

#include <processor/fetch.h>

#include <cstdint>

#include "detail/volume_geometry.h"

namespace gnr::detail {

/// Asks for the row behind row r of each volume; null volumes have none.
template <class... Volumes>
void FetchRowBehind(const DFT3D& s, std::int64_t r, const Volumes*... volumes) {
    const auto fetch = [&](const float* volume) {
        if (volume != nullptr) Fetch(volume, (r + 1) * s.rowLength, s.rowLength);
    };
    (fetch(volumes), ...);
}

}  // namespace gnr::detail
