// SPDX-License-Identifier: MIT
#pragma once

// Element-wise kernels and sums on frames of W by H floats, rows adjacent. Copies, products, cuts and ratios
// run on all threads, powers and sums on the calling one; bits do not depend on the number of threads.

#include <cmath>
#include <cstddef>

#include "detail/float_bounds.h"

namespace gnr::detail {

/// Samples of a frame.
inline std::size_t Samples(unsigned W, unsigned H) {
    return std::size_t{W} * H;
}

/// Divisors not above this give no ratio.
inline constexpr float kLeastDivisor = FloatNotAbove(1e-20);

// What the kernels below do to a sample.
inline float Clipped(float sample) {
    return sample <= 0.0f ? 0.0f : sample;
}
inline float QuotientOrZero(float dividend, float divisor) {
    return std::fabs(divisor) <= kLeastDivisor ? 0.0f : dividend / divisor;
}
inline float QuotientOrOne(float dividend, float divisor) {
    // deliberate: the divisor's sign counts here, unlike in QuotientOrZero
    return divisor <= kLeastDivisor ? 1.0f : dividend / divisor;
}

/// v <= 0 becomes +0; a NaN stays.
void ClipSmallerThanZero2D(float* v, unsigned W, unsigned H);
/// v := 1
void SetOnes2D(float* v, unsigned W, unsigned H);
/// dst := src
void CopyFrame(float* dst, const float* src, unsigned W, unsigned H);
/// v := v w
void MultiplyFrame(float* v, const float* w, unsigned W, unsigned H);
/// v := v factor
void ScaleFrame(float* v, float factor, unsigned W, unsigned H);

/// dst := a / b; 0 where |b| <= 1e-20. A buffer may take the place of another.
void RatioOrZero(float* dst, const float* a, const float* b, unsigned W, unsigned H);
/// dst := a / b; 1 where b <= 1e-20, negative b included
void RatioOrOne(float* dst, const float* a, const float* b, unsigned W, unsigned H);
/// v := v^alpha
void PowVkAlpha2D(float* v, unsigned W, unsigned H, float alpha);

/// The sum, in double.
double SumOfFrame(const float* v, unsigned W, unsigned H);
/// The largest sample, at least the lowest float; a NaN is never taken.
float MaximumOfFrame(const float* v, unsigned W, unsigned H);

/// Sums of a PSF below this are taken as they are ...
inline constexpr double kLeastFrameSum = 1e-05;
/// ... so that the correction is 1 for them, and for a sum that is no number.
inline float InverseOfSum(double sum, double least = kLeastFrameSum) {
    return sum >= least ? static_cast<float>(1.0 / sum) : 1.0f;
}

}  // namespace gnr::detail
