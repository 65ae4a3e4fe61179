// SPDX-License-Identifier: MIT
#include "kernels/landweber_sweeps.h"

#include <algorithm>
#include <cstdint>

#include <processor/vector_clones.h>
#include "detail/parallel.h"

namespace gnr::detail {

namespace {

GNR_VECTOR_CLONES
void SubtractFrom(float* row, const float* from, std::int64_t n) {
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
void Extrapolate(float* x, float* y, float factor, std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) {
        const float estimate = y[i];
        y[i] = estimate + (estimate - x[i]) * factor;
        x[i] = estimate;
    }
}

}  // namespace

void SubtractRowFrom(const DFT3D& s, float* row, const float* observed) {
    SubtractFrom(row, observed, s.rowLength);
}

void StepRow(const DFT3D& s, float* y, const float* r, float length) {
    StepAlong(y, y, r, length, s.rowLength);
}

void PackStepRow(const DFT3D& s, const ShiftedColumns& to, std::int64_t row, const float* y, const float* r,
                 float length) {
    const std::int32_t behind = to.shift.x;
    const std::int32_t head = ImageColumns(s) - behind;
    float* const target = to.packed + ShiftedRow(s, to.shift, row);
    StepAlong(target + behind, y, r, length, head);
    StepAlong(target, y + head, r + head, length, behind);
}

void UnpackStepRow(const DFT3D& s, const ShiftedColumns& from, std::int64_t row, float* y) {
    const std::int32_t behind = from.shift.x;
    const std::int32_t head = ImageColumns(s) - behind;
    const float* const source = from.packed + ShiftedRow(s, from.shift, row);
    std::copy_n(source + behind, head, y);
    std::copy_n(source, behind, y + head);
    for (std::int32_t i = ImageColumns(s); i < s.rowLength; ++i) y[i] += 0.0f;
}

void FinishRow(const DFT3D& s, float* x, float* y, const LandweberStep& step) {
    const std::int32_t columns = ImageColumns(s);
    ScaleAndClip(y, step.correction, s.rowLength);
    if (step.extrapolates) {
        Extrapolate(x, y, step.extrapolation, columns);
        Extrapolate(x + columns, y + columns, 1.0f, kRowPadding);
    } else if (x != y) {
        std::copy_n(y, s.rowLength, x);
    }
}

void ScaleAndClipRow(const DFT3D& s, float* y, float c) {
    ScaleAndClip(y, c, s.rowLength);
}

void PackColumns(const DFT3D& s, float* packed, const float* volume) {
    const std::int64_t columns = ImageColumns(s);
    ParallelRows(s, volume,
                 [=](const float* row, std::int64_t r) { std::copy_n(row, columns, packed + r * columns); });
}

}  // namespace gnr::detail
