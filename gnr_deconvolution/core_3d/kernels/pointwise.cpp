// SPDX-License-Identifier: MIT

// Repairs and scalings, sample by sample.

#include "kernels/pointwise.h"

#include <gnr_deconvolution/kernels_3d.h>

#include "detail/parallel.h"
#include "detail/volume_walk.h"

using namespace gnr::detail;

namespace {

/// Above 0 as it is; all else, NaN and -0 included, becomes +0.
float AboveZero(float v) {
    return v > 0.0f ? v : 0.0f;
}

}  // namespace

void CRy3DDeconvolutionLow::SSE_MulFloatC3DXX(const DFT3D* s, float* pf, float c) {
    const Lanes4 factor(c);
    ParallelGroups(pf, s->total, [factor](Lanes4 v) { return v * factor; });
}

void CRy3DDeconvolutionLow::CutByZero(const DFT3D* s, float* pf) {
    WalkImageColumns(*s, pf, [](float& v) { v = AboveZero(v); });
}

namespace gnr::detail {

void ScaleAndCutByZero(const DFT3D& s, float* volume, float factor) {
    const std::int32_t columns = ImageColumns(s);
    const std::int32_t rowLength = s.rowLength;
    ParallelRows(s, volume, [=](float* row, std::int64_t) {
        for (std::int32_t i = 0; i < columns; ++i) row[i] = AboveZero(row[i] * factor);
        for (std::int32_t i = columns; i < rowLength; ++i) row[i] *= factor;
    });
}

}  // namespace gnr::detail
