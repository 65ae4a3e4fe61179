// SPDX-License-Identifier: MIT
#include "kernels/landweber_sweeps.h"

#include <algorithm>
#include <cstdint>

#include "detail/parallel.h"
#include "detail/vector_clones.h"

namespace gnr::detail {

namespace {

GNR_VECTOR_CLONES
void SubtractRowFrom(float* row, const float* from, std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) row[i] = from[i] - row[i];
}

GNR_VECTOR_CLONES
void StepAlong(float* target, const float* y, const float* r, float length, std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) target[i] = r[i] * length + y[i];
}

/// Below 0 becomes +0; NaN and -0 stay.
GNR_VECTOR_CLONES
void ScaleAndClip(float* row, float c, std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) {
        const float v = row[i] * c;
        row[i] = v < 0.0f ? 0.0f : v;
    }
}

/// y holds the new estimate, which goes to x; y goes beyond it.
GNR_VECTOR_CLONES
void ExtrapolateRow(float* x, float* y, float factor, std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) {
        const float estimate = y[i];
        y[i] = estimate + (estimate - x[i]) * factor;
        x[i] = estimate;
    }
}

/// From the stepped row in y to the estimate and the next point.
void FinishRow(float* x, float* y, const LandweberStep& step, std::int32_t columns, std::int32_t rowLength) {
    ScaleAndClip(y, step.correction, rowLength);
    if (step.extrapolates) {
        ExtrapolateRow(x, y, step.extrapolation, columns);
        ExtrapolateRow(x + columns, y + columns, 1.0f, rowLength - columns);
    } else {
        std::copy_n(y, rowLength, x);
    }
}

}  // namespace

void SubtractFrom(const DFT3D& s, float* blurred, const float* observed) {
    const std::int32_t length = s.rowLength;
    ParallelRows(s, blurred,
                 [=](float* row, std::int64_t r) { SubtractRowFrom(row, observed + r * length, length); });
}

void PackStep(const DFT3D& s, float* packed, const CyclicShift& shift, const float* y, const float* r,
              float length) {
    const std::int32_t head = ImageColumns(s) - shift.x;
    ParallelFor(RowsOfVolume(s), [=, &s](std::int64_t row) {
        const float* const point = y + row * s.rowLength;
        const float* const gradient = r + row * s.rowLength;
        float* const target = packed + ShiftedRow(s, shift, row);
        StepAlong(target + shift.x, point, gradient, length, head);
        StepAlong(target, point + head, gradient + head, length, shift.x);
    });
}

double FinishStep(const DFT3D& s, float* x, float* y, const float* r, const LandweberStep& step,
                  const Comparison* comparison) {
    const std::int32_t columns = ImageColumns(s);
    const std::int32_t rowLength = s.rowLength;
    return FinishRows(s, y, comparison, [=](std::int64_t row) {
        const std::int64_t first = row * rowLength;
        StepAlong(y + first, y + first, r + first, step.length, rowLength);
        FinishRow(x + first, y + first, step, columns, rowLength);
    });
}

double FinishStep(const DFT3D& s, float* x, float* y, const float* r, const LandweberStep& step,
                  const float* packed, const CyclicShift& shift, const Comparison* comparison) {
    const std::int32_t columns = ImageColumns(s);
    const std::int32_t head = columns - shift.x;
    return FinishRows(s, y, comparison, [=, &s](std::int64_t row) {
        const std::int64_t first = row * s.rowLength;
        float* const point = y + first;
        const float* const source = packed + ShiftedRow(s, shift, row);
        std::copy_n(source + shift.x, head, point);
        std::copy_n(source, shift.x, point + head);
        StepAlong(point + columns, point + columns, r + first + columns, step.length, kRowPadding);
        FinishRow(x + first, point, step, columns, s.rowLength);
    });
}

void PackColumns(const DFT3D& s, float* packed, const float* volume) {
    const std::int64_t columns = ImageColumns(s);
    ParallelRows(s, volume,
                 [=](const float* row, std::int64_t r) { std::copy_n(row, columns, packed + r * columns); });
}

void UnpackColumns(const DFT3D& s, float* volume, const float* packed) {
    const std::int64_t columns = ImageColumns(s);
    ParallelRows(s, volume,
                 [=](float* row, std::int64_t r) { std::copy_n(packed + r * columns, columns, row); });
}

}  // namespace gnr::detail
