// SPDX-License-Identifier: MIT
#include "kernels/acceleration.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <numbers>

#include "detail/elementary_log.h"
#include "detail/float_bounds.h"
#include "detail/vector_clones.h"
#include "kernels/convolution.h"
#include "kernels/frame_arithmetic.h"

namespace gnr::detail {

namespace {

/// Corrections not above this have no logarithm worth using.
constexpr float kLeastCorrection = FloatNotAbove(1e-10);
/// Sums of squared steps not above this give no exponent.
constexpr float kLeastSquaredStep = FloatNotAbove(1e-10);

/// Samples whose terms are made together, by vector code, before they join the sums one by one.
constexpr std::size_t kTogether = 512;

struct Terms {
    std::array<float, kTogether> numerator;
    std::array<float, kTogether> denominator;
};

/// The terms of n samples, 0 where a correction has no logarithm worth using. Logarithms are rounded to float
/// from double.
GNR_VECTOR_CLONES
void MakeTerms(const float* x, const float* c, const float* e, const float* f, std::size_t n, Terms& terms) {
    for (std::size_t i = 0; i < n; ++i) {
        const bool counts = (e[i] > kLeastCorrection) & (f[i] > kLeastCorrection);
        const float logOfF = static_cast<float>(NaturalLog(static_cast<double>(f[i])) * std::numbers::log10e);
        const float q = static_cast<float>(NaturalLog(static_cast<double>(e[i])) * std::numbers::log10e);
        const float p = logOfF * c[i];
        terms.denominator[i] = counts ? p * p : 0.0f;
        terms.numerator[i] = counts ? q * x[i] * p : 0.0f;
    }
}

}  // namespace

float Recompute_dAlphaK2D(const float* x, const float* c, const float* e, const float* f, unsigned W,
                          unsigned H) {
    float numerator = 0.0f;
    float denominator = 0.0f;
    Terms terms;
    const std::size_t count = Samples(W, H);
    for (std::size_t done = 0; done < count; done += kTogether) {
        const std::size_t n = std::min(kTogether, count - done);
        MakeTerms(x + done, c + done, e + done, f + done, n, terms);
        for (std::size_t i = 0; i < n; ++i) {
            denominator = denominator + terms.denominator[i];
            numerator = numerator + terms.numerator[i];
        }
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
