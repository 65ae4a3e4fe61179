// SPDX-License-Identifier: MIT
#pragma once

// A PSF volume with or without padding at the end of its rows, plane by plane.

#include <gnr_deconvolution/kernels_3d.h>

#include <algorithm>
#include <cstdint>

#include "detail/parallel.h"
#include "detail/volume_geometry.h"

namespace gnr::detail {

/// Floats of a row that are samples.
constexpr std::int32_t UsableWidth(const DFT3D& s, bool padded) {
    return padded ? std::max(ImageColumns(s), 0) : s.rowLength;
}

constexpr float* PlaneOf(const DFT3D& s, float* volume, std::int64_t plane) {
    return volume + plane * s.planeStride;
}

inline void ClearVolume(const DFT3D& s, float* volume) {
    ParallelFor(s.planes,
                [&s, volume](std::int64_t z) { std::fill_n(PlaneOf(s, volume, z), s.planeStride, 0.0f); });
}

}  // namespace gnr::detail
