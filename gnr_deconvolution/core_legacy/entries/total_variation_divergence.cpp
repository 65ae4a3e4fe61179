// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/legacy.h>

#include <algorithm>

#include "detail/parallel.h"
#include "entries/gradient_rows.h"

using namespace gnr::detail;

namespace {

/// The last column of each computed row, the last row of each such plane, and the last plane.
void FillBorders(const DFT3D& s, const Interior& inside, float* volume) {
    ParallelFor(inside.planes, [=, &s](std::int64_t k) {
        float* const plane = volume + k * s.planeStride;
        for (std::int64_t j = 0; j < inside.rows; ++j) {
            float* const row = plane + j * s.rowLength;
            row[inside.columns] = row[inside.columns - 1];
        }
        std::copy_n(plane + (inside.rows - 1) * s.rowLength, s.rowLength, plane + inside.rows * s.rowLength);
    });
    std::copy_n(volume + (inside.planes - 1) * s.planeStride, s.planeStride,
                volume + inside.planes * s.planeStride);
}

/// body(first float of the row) for each computed row.
template <class Body>
void ForRows(const DFT3D& s, const Interior& inside, Body body) {
    ParallelFor(inside.rows * inside.planes, [=, &s](std::int64_t r) {
        body(r / inside.rows * s.planeStride + r % inside.rows * s.rowLength);
    });
}

}  // namespace

void CRyLegacy3DDeconvolutionFamily::ComputeTVDivergence3D(const DFT3D* sizes, float* gx, float* gy,
                                                           float* gz, float* T, float* x) {
    const DFT3D& s = *sizes;
    const Interior inside(s);
    if (inside.Empty()) {
        for (float* const volume : {gx, gy, gz, T}) {
            ParallelRows(s, volume, [columns = ImageColumns(s)](float* row, std::int64_t) {
                std::fill_n(row, columns, 0.0f);
            });
        }
        return;
    }
    ForRows(s, inside, [=, &s](std::int64_t n) {
        NormaliseGradient(s, x + n, inside.columns, {gx + n, gy + n, gz + n});
    });
    for (float* const component : {gx, gy, gz}) FillBorders(s, inside, component);
    ForRows(s, inside, [=, &s](std::int64_t n) {
        Divergence({gx + n, gy + n, gz + n}, gy + n + s.rowLength, gz + n + s.planeStride, inside.columns,
                   T + n);
    });
    FillBorders(s, inside, T);
}
