// SPDX-License-Identifier: MIT
#include "kernels/frame_arithmetic.h"

#include <fft/ippi.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include <processor/vector_clones.h>
#include "detail/elementary_exp.h"
#include "detail/elementary_log.h"
#include "detail/parallel.h"
#include "kernels/frame_steps.h"

namespace gnr::detail {

namespace {

/// v := v^alpha for alpha between 0 and 1, rounded to float from double.
GNR_VECTOR_CLONES
void RaiseToFraction(float* v, std::size_t n, double alpha) {
    for (std::size_t i = 0; i < n; ++i) {
        v[i] = static_cast<float>(ExponentialForFloat(alpha * NaturalLogOfNormal(static_cast<double>(v[i]))));
    }
}

/// dst[n] := f(a[n], b[n]) for the whole frame, rows shared among the threads.
template <class F>
void CombineRows(float* dst, const float* a, const float* b, unsigned W, unsigned H, F f) {
    ParallelFor(H, [=](std::int64_t row) {
        const std::size_t first = static_cast<std::size_t>(row) * W;
        std::transform(a + first, a + first + W, b + first, dst + first, f);
    });
}

}  // namespace

void ClipSmallerThanZero2D(float* v, unsigned W, unsigned H) {
    CombineRows(v, v, v, W, H, [](float sample, float) { return Clipped(sample); });
}

void SetOnes2D(float* v, unsigned W, unsigned H) {
    ippiSet_32f_C1R(1.0f, v, StepOf(W), SizeOf(W, H));
}

void CopyFrame(float* dst, const float* src, unsigned W, unsigned H) {
    ParallelFor(H, [=](std::int64_t row) {
        const std::size_t first = static_cast<std::size_t>(row) * W;
        std::copy_n(src + first, W, dst + first);
    });
}

void MultiplyFrame(float* v, const float* w, unsigned W, unsigned H) {
    ippiMul_32f_C1IR(w, StepOf(W), v, StepOf(W), SizeOf(W, H));
}

void ScaleFrame(float* v, float factor, unsigned W, unsigned H) {
    ippiMulC_32f_C1IR(factor, v, StepOf(W), SizeOf(W, H));
}

void RatioOrZero(float* dst, const float* a, const float* b, unsigned W, unsigned H) {
    CombineRows(dst, a, b, W, H,
                [](float dividend, float divisor) { return QuotientOrZero(dividend, divisor); });
}

void RatioOrOne(float* dst, const float* a, const float* b, unsigned W, unsigned H) {
    CombineRows(dst, a, b, W, H,
                [](float dividend, float divisor) { return QuotientOrOne(dividend, divisor); });
}

void PowVkAlpha2D(float* v, unsigned W, unsigned H, float alpha) {
    // The powers 0 and 1 are what std::pow gives for every base, a NaN included.
    if (alpha == 1.0f) return;
    if (alpha == 0.0f) return SetOnes2D(v, W, H);
    if (alpha > 0.0f && alpha < 1.0f) return RaiseToFraction(v, Samples(W, H), alpha);
    std::for_each_n(v, Samples(W, H), [alpha](float& sample) { sample = std::pow(sample, alpha); });
}

double SumOfFrame(const float* v, unsigned W, unsigned H) {
    double sum = 0.0;
    ippiSum_32f_C1R(v, StepOf(W), SizeOf(W, H), &sum, ippAlgHintAccurate);
    return sum;
}

float MaximumOfFrame(const float* v, unsigned W, unsigned H) {
    float greatest = std::numeric_limits<float>::lowest();
    for (std::size_t n = 0; n < Samples(W, H); ++n) greatest = v[n] > greatest ? v[n] : greatest;
    return greatest;
}

}  // namespace gnr::detail
