// SPDX-License-Identifier: MIT
#pragma once

// The damped Poisson likelihood of an accelerated Richardson-Lucy step, and the ratio that follows from it.
//
//   u(g, h) = c (g ln(h / g) - h + g)         scaled deviation of the blur h from the observed g; c = -0.08
//   F(u, N) = (N - 1) / (N + 1) (1 - u^N u) + u^N  below u = 1, u from there on
//
// Small deviations are noise: N above 1 flattens F near 0, so that the iteration does not follow them.
// Source: White 1994 (docs/bibliography.md).

#include <gnr_deconvolution/kernels_3d.h>
#include <gnr_deconvolution/object_frame.h>

#include <cstdint>

namespace gnr::detail {

/// c (g ln(h / g) - h + g), all in float, limited above to 1.
float DampedDeviation(float g, float h, float c);

/// F(u, N), in float; u below 0 counts as 0.
float DampedPenalty(float u, float N);

/// ratios[i] := the damped ratio of observed g and blurred h, for n samples on the calling thread; they may take the
/// place of the blurred ones.
///
///   u^(N - 1) (N - (N - 1) u) (g - h) / h + 1,  u = max(0, DampedDeviation(g, h, c))
///
/// and 0 where g or h is below 1e-10. For N = 1 this is g / h.
void DampedRatioRow(float* ratios, const float* observed, const float* blurred, float c, float N,
                    std::int64_t n);

/// The same of whole buffers, parallel; the ratio replaces the blur in pfWork.
void ComputeDampedRatio3D(const float* pfObserved, float* pfWork, const DFT3D* pSizes, float c, float N);

/// Sums over the image box of one point on the line between two blurs.
struct LineSample {
    double gain = 0.0;        ///< likelihood against that at alpha = 0
    double likelihood = 0.0;  ///< sum of -F
};

/// The two blurs that span the line, and the observed image.
struct LikelihoodLine {
    const float* observed;
    const float* blurredNew;
    const float* blurredOld;
    const DFT3D* sizes;
    SRyIRect3D box;
    float c;
    float N;
};

/// Most values of alpha that one sweep looks at.
inline constexpr int kTrialsPerSweep = 3;

/// Evaluates alpha, 2 alpha, ... , `trials` values (1 to kTrialsPerSweep), in one parallel sweep, so that
/// what does not depend on alpha is computed once.
void SampleLine(const LikelihoodLine& line, float alpha, int trials, LineSample* samples);

}  // namespace gnr::detail
