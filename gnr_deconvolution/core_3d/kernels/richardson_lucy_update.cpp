// SPDX-License-Identifier: MIT
#include "kernels/richardson_lucy_update.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

#include "detail/parallel.h"
#include "detail/vector_clones.h"
#include "kernels/element_wise.h"

namespace gnr::detail {

namespace {

/// Below 0 becomes +0; NaN and -0 stay.
float NotBelowZero(float v) {
    return v < 0.0f ? 0.0f : v;
}

/// Samples of x at or below this bound no step: they are as good as 0 already.
constexpr float kLeastSample = 1e-30f;
constexpr float kLargest = std::numeric_limits<float>::max();

GNR_VECTOR_CLONES
void ScaleRow(float* row, float c, std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) row[i] *= c;
}

GNR_VECTOR_CLONES
void ClipRow(float* row, std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) row[i] = NotBelowZero(row[i]);
}

/// The step at which the line from previous through x reaches 0; the largest float where it never does.
float BoundOfSample(float x, float previous) {
    const float d = x - previous;
    const float candidate = -previous / d;
    const float ofFalling = d < 0.0f ? candidate : kLargest;
    return x > kLeastSample ? ofFalling : kLargest;
}

/// The least bound of n samples, sixteen lanes side by side.
GNR_VECTOR_CLONES
float BoundOfRow(const float* x, const float* previous, std::int64_t n) {
    constexpr std::int64_t width = 16;
    std::array<float, width> least;
    least.fill(kLargest);
    std::int64_t i = 0;
    for (; i + width <= n; i += width) {
        for (std::int64_t w = 0; w < width; ++w) {
            const auto lane = static_cast<std::size_t>(w);
            const float bound = BoundOfSample(x[i + w], previous[i + w]);
            least[lane] = bound < least[lane] ? bound : least[lane];
        }
    }
    float all = kLargest;
    for (const float lane : least) all = std::min(all, lane);
    for (; i < n; ++i) all = std::min(all, BoundOfSample(x[i], previous[i]));
    return all;
}

GNR_VECTOR_CLONES
void MultiplyBy(const float* factors, float* row, std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) row[i] = factors[i] * row[i];
}

}  // namespace

void MultiplyRow(float* row, const float* factors, std::int64_t n) {
    MultiplyBy(factors, row, n);
}

void RichardsonLucyUpdate(const DFT3D& s, float* x, const float* regularization, const float* correction,
                          float c, bool clip) {
    const std::int32_t length = s.rowLength;
    const bool scale = c != 1.0f;
    ParallelRows(s, x, [=](float* row, std::int64_t r) {
        if (regularization != nullptr) MultiplyRow(row, regularization + r * length, length);
        MultiplyRow(row, correction + r * length, length);
        if (scale) ScaleRow(row, c, length);
        if (clip) ClipRow(row, length);
    });
}

void RatioOrKeep(const DFT3D& s, float* blurred, const float* observed) {
    ParallelGroups(blurred, observed, s.total, kDivideOrKeep);
}

void CopyVolume(const DFT3D& s, float* target, const float* source) {
    const std::int32_t length = s.rowLength;
    ParallelRows(s, target, [=](float* row, std::int64_t r) {
        std::memcpy(row, source + r * length, static_cast<std::size_t>(length) * sizeof(float));
    });
}

float MultiplyAndBoundStep(const DFT3D& s, float* x, const float* correction, float* copy,
                           const float* previous) {
    const std::int32_t length = s.rowLength;
    const std::int32_t columns = ImageColumns(s);
    const auto [bound] = ParallelLeast<1>(RowsOfVolume(s), {kLargest}, [=](std::int64_t r, float* least) {
        const std::int64_t first = r * length;
        MultiplyRow(x + first, correction + first, length);
        std::memcpy(copy + first, x + first, static_cast<std::size_t>(length) * sizeof(float));
        least[0] = std::min(least[0], BoundOfRow(x + first, previous + first, columns));
    });
    return bound;
}

void OverRelax(const DFT3D& s, float* x, const float* previous, float alpha) {
    const std::int32_t length = s.rowLength;
    const float beyond = alpha - 1.0f;
    ParallelRows(s, x, [=](float* row, std::int64_t r) {
        const float* const previousRow = previous + r * length;
        for (std::int32_t i = 0; i < length; ++i) {
            row[i] = NotBelowZero(row[i] + beyond * (row[i] - previousRow[i]));
        }
    });
}

}  // namespace gnr::detail
