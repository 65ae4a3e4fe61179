// SPDX-License-Identifier: MIT
#pragma once

// The normalised gradient of a volume and its divergence, row by row, both by forward differences.
//
//   interior  all but the last image column, row and plane
//   borders   those copy the one before, in the gradient and in the divergence

#include <gnr_deconvolution/kernels_3d.h>

#include <cstdint>

#include "detail/volume_geometry.h"

namespace gnr::detail {

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

/// Gradient of `count` samples of a row over its length, rounded to float; 0 where the length is not above
/// 1e-20.
void NormaliseGradient(const DFT3D& s, const float* row, std::int64_t count, const GradientRow& g);

/// T := (yBelow - g.y) + (g.x of the next sample - g.x) + (zBehind - g.z), for `count` samples.
void Divergence(const GradientRow& g, const float* yBelow, const float* zBehind, std::int64_t count,
                float* T);

}  // namespace gnr::detail
