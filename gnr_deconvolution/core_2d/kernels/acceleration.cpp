// SPDX-License-Identifier: MIT
#include "kernels/acceleration.h"

#include <cmath>
#include <cstddef>

#include "detail/float_bounds.h"
#include "kernels/convolution.h"
#include "kernels/frame_arithmetic.h"

namespace gnr::detail {

namespace {

/// Corrections not above this have no logarithm worth using.
constexpr float kLeastCorrection = FloatNotAbove(1e-10);
/// Sums of squared steps not above this give no exponent.
constexpr float kLeastSquaredStep = FloatNotAbove(1e-10);

}  // namespace

float Recompute_dAlphaK2D(const float* x, const float* c, const float* e, const float* f, unsigned W,
                          unsigned H) {
    float numerator = 0.0f;
    float denominator = 0.0f;
    for (std::size_t n = 0; n < Samples(W, H); ++n) {
        if (!(e[n] > kLeastCorrection && f[n] > kLeastCorrection)) continue;
        const float p = std::log10(f[n]) * c[n];
        const float q = std::log10(e[n]);
        denominator = denominator + p * p;
        numerator = numerator + q * x[n] * p;
    }
    if (denominator <= kLeastSquaredStep) return 0.0f;
    const float alpha = numerator / denominator;
    if (alpha <= 0.0f) return 0.0f;
    return alpha >= 1.0f ? 1.0f : alpha;
}

AcceleratedSteps::AcceleratedSteps(const AcceleratedFrames& frames, const float* h)
    : frames_(frames), inverseSum_(InverseOfSum(SumOfFrame(h, frames.W, frames.H))) {
    const auto& [W, H, x, y, otf, b, c, d, e, f, buffer, bufferSize, spec] = frames_;
    CopyFrame(otf, h, W, H);
    ForwardTransform(otf, W, buffer, spec);
    for (float* const ones : {b, d, e, f}) SetOnes2D(ones, W, H);
    CopyFrame(c, x, W, H);
}

void AcceleratedSteps::Correct() const {
    const auto& [W, H, x, y, otf, b, c, d, e, f, buffer, bufferSize, spec] = frames_;
    PowVkAlpha2D(b, W, H, alpha_);
    MultiplyFrame(x, b, W, H);
    ConvolveWithOTF(d, x, otf, W, H, buffer, bufferSize, spec);
    RatioOrZero(b, y, d, W, H);
    CorrelateWithOTF(d, b, otf, W, H, buffer, bufferSize, spec);
    MultiplyFrame(x, d, W, H);
    ScaleFrame(x, inverseSum_, W, H);
}

void AcceleratedSteps::Remember() {
    const auto& [W, H, x, y, otf, b, c, d, e, f, buffer, bufferSize, spec] = frames_;
    RatioOrOne(b, x, c, W, H);
    // deliberate: before e and f move on
    alpha_ = Recompute_dAlphaK2D(x, c, e, f, W, H);
    CopyFrame(c, x, W, H);
    CopyFrame(f, e, W, H);
    CopyFrame(e, d, W, H);
}

}  // namespace gnr::detail
