// SPDX-License-Identifier: MIT
#include "kernels/richardson_lucy_update.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

#include <processor/vector_clones.h>
#include "detail/parallel.h"
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

/// row[i] := the row's sample times its factors in turn; `first` may be null.
template <bool kTwoFactors>
inline void UpdateSamples(float* row, const float* first, const float* second, const UpdateForm& form,
                          std::int64_t n) {
    const auto [c, scales, clips] = form;
    for (std::int64_t i = 0; i < n; ++i) {
        const float v = second[i] * (kTwoFactors ? first[i] * row[i] : row[i]);
        const float scaled = scales ? v * c : v;
        row[i] = clips ? NotBelowZero(scaled) : scaled;
    }
}

GNR_VECTOR_CLONES
void UpdateBy(float* row, const float* first, const float* second, const UpdateForm& form, std::int64_t n) {
    if (first != nullptr) {
        UpdateSamples<true>(row, first, second, form, n);
    } else {
        UpdateSamples<false>(row, first, second, form, n);
    }
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
float LeastBound(const float* x, const float* previous, std::int64_t n) {
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
void DivideOrClear(float* row, const float* numerators, std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) {
        const float quotient = numerators[i] / row[i];
        row[i] = row[i] != 0.0f ? quotient : 0.0f;
    }
}

GNR_VECTOR_CLONES
void MultiplyBy(const float* factors, float* row, std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) row[i] = factors[i] * row[i];
}

GNR_VECTOR_CLONES
void GoBeyond(float* row, const float* previous, float beyond, std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) row[i] = NotBelowZero(row[i] + beyond * (row[i] - previous[i]));
}

}  // namespace

void MultiplyRow(float* row, const float* factors, std::int64_t n) {
    MultiplyBy(factors, row, n);
}

void RatioRow(float* row, const float* observed, std::int64_t n) {
    DivideOrClear(row, observed, n);
}

void UpdateRow(float* row, const float* first, const float* second, const UpdateForm& form, std::int64_t n) {
    UpdateBy(row, first, second, form, n);
}

float StepBoundOfRow(const float* row, const float* previous, std::int64_t n) {
    return LeastBound(row, previous, n);
}

void OverRelaxRow(float* row, const float* previous, float alpha, std::int64_t n) {
    GoBeyond(row, previous, alpha - 1.0f, n);
}

double RichardsonLucyUpdate(const DFT3D& s, float* x, const float* regularization, const float* correction,
                            float c, bool clip, const Comparison* comparison) {
    const std::int32_t length = s.rowLength;
    const UpdateForm form(c, clip);
    return FinishRows(s, x, comparison, [=](std::int64_t r) {
        const float* const field = regularization == nullptr ? nullptr : regularization + r * length;
        UpdateRow(x + r * length, field, correction + r * length, form, length);
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

}  // namespace gnr::detail
