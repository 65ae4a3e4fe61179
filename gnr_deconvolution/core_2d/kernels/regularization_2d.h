// SPDX-License-Identifier: MIT
#pragma once

// Factors by which the Richardson-Lucy methods on pictures smooth: 1 on the first and last row and column,
// 1 / (1 + v) inside. Frames of W by H floats; on all threads, bits do not depend on their number.
//
//   L = up + down + left + right - 4 x, each sum in float

namespace gnr::detail {

/// v = *pfLambda L. Where some v is outside +-0.21, *pfLambda shrinks so that the greatest comes to 0.2, for
/// good, and the field is written again; the second pass is the last. Where v is NaN the factor is NaN.
void GetRegularizationIterative2D(float* out, const float* x, unsigned W, unsigned H, float* pfLambda);

/// v = fLambda (left + right + up + down - 4 x), clamped to +-0.2; NaN stays.
void GetRegularization2D(float* out, const float* x, unsigned W, unsigned H, float fLambda);

/// g := dy / n + dx / n, forward differences over their norm n = sqrt(dx^2 + dy^2 + 1e-20); quotients in
/// double, each rounded to float before the sum. The last row takes what the row above has; the last column
/// stays as it was.
void GetGradientSign2D(float* g, const float* x, unsigned W, unsigned H);

/// v = -fLambda g, in float and without a bound. g may be out.
void GetRegularizationRLTV2D(float* out, const float* g, unsigned W, unsigned H, float fLambda);

}  // namespace gnr::detail
