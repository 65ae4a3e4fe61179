// SPDX-License-Identifier: MIT
#include "kernels/richardson_lucy_update.h"

#include <cstring>
#include <limits>

#include "detail/parallel.h"

namespace gnr::detail {

namespace {

/// Below 0 becomes +0; NaN and -0 stay.
float NotBelowZero(float v) {
    return v < 0.0f ? 0.0f : v;
}

/// Samples of x at or below this bound no step: they are as good as 0 already.
constexpr float kLeastSample = 1e-30f;
constexpr float kLargest = std::numeric_limits<float>::max();

}  // namespace

void RichardsonLucyUpdate(const DFT3D& s, float* x, const float* regularization, const float* correction,
                          float c, bool clip) {
    const std::int32_t length = s.rowLength;
    const bool scale = c != 1.0f;
    ParallelRows(s, x, [=](float* row, std::int64_t r) {
        const float* const correctionRow = correction + r * length;
        if (regularization != nullptr) {
            const float* const field = regularization + r * length;
            for (std::int32_t i = 0; i < length; ++i) row[i] = field[i] * row[i];
        }
        for (std::int32_t i = 0; i < length; ++i) row[i] = correctionRow[i] * row[i];
        if (scale) {
            for (std::int32_t i = 0; i < length; ++i) row[i] *= c;
        }
        if (clip) {
            for (std::int32_t i = 0; i < length; ++i) row[i] = NotBelowZero(row[i]);
        }
    });
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
        float* const row = x + r * length;
        float* const copyRow = copy + r * length;
        const float* const correctionRow = correction + r * length;
        const float* const previousRow = previous + r * length;
        for (std::int32_t i = 0; i < length; ++i) row[i] = correctionRow[i] * row[i];
        for (std::int32_t i = 0; i < length; ++i) copyRow[i] = row[i];
        for (std::int32_t i = 0; i < columns; ++i) {
            const float d = row[i] - previousRow[i];
            const bool bounds = d < 0.0f && row[i] > kLeastSample;
            const float candidate = bounds ? -previousRow[i] / d : kLargest;
            least[0] = candidate < least[0] ? candidate : least[0];
        }
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
