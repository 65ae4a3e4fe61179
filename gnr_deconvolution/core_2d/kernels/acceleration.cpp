// SPDX-License-Identifier: MIT
#include "kernels/acceleration.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>

#include "detail/elementary_log.h"
#include "detail/float_bounds.h"
#include "detail/parallel.h"
#include "detail/vector_clones.h"
#include "kernels/convolution.h"
#include "kernels/frame_arithmetic.h"
#include "kernels/pieces.h"

namespace gnr::detail {

namespace {

/// Corrections not above this have no logarithm worth using.
constexpr float kLeastCorrection = FloatNotAbove(1e-10);
/// Sums of squared steps not above this give no exponent.
constexpr float kLeastSquaredStep = FloatNotAbove(1e-10);
/// Stands for the logarithm of such a correction.
constexpr float kNoLog = std::numeric_limits<float>::quiet_NaN();

/// Samples that one thread takes at a time: a block of all frames fits its cache.
constexpr std::int64_t kBlock = std::int64_t{1} << 13;
/// Samples whose logarithms are made together where there is no frame for them.
constexpr std::int64_t kTogether = 512;

std::int64_t SamplesOf(const AcceleratedFrames& frames) {
    return static_cast<std::int64_t>(Samples(frames.W, frames.H));
}

/// A block as a frame of one row.
unsigned RowOf(std::int64_t count) {
    return static_cast<unsigned>(count);
}

GNR_VECTOR_CLONES
void ReplaceByLog(float* d, std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) {
        const float log = DecimalLog(d[i]);
        d[i] = d[i] > kLeastCorrection ? log : kNoLog;
    }
}

/// What each sample adds to the sums of the exponent, from the logarithms e and f of the last two corrections: c
/// becomes the term of the numerator, f that of the denominator.
GNR_VECTOR_CLONES
void ReplaceByTerms(const float* __restrict x, float* __restrict c, const float* __restrict e,
                    float* __restrict f, std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) {
        const float p = f[i] * c[i];
        const float forNumerator = e[i] * x[i] * p;
        const float forDenominator = p * p;
        const bool counts = (e[i] == e[i]) & (f[i] == f[i]);
        c[i] = counts ? forNumerator : 0.0f;
        f[i] = counts ? forDenominator : 0.0f;
    }
}

/// Sums over the samples, in their order.
struct StepSums {
    float numerator = 0.0f;
    float denominator = 0.0f;
    EnergySums estimate;

    void Add(const float* x, const float* forNumerator, const float* forDenominator, std::int64_t n) {
        StepSums sums = *this;
        for (std::int64_t i = 0; i < n; ++i) {
            sums.denominator = sums.denominator + forDenominator[i];
            sums.numerator = sums.numerator + forNumerator[i];
            sums.estimate.Add(x[i]);
        }
        *this = sums;
    }
    void AddEstimate(const float* x, std::int64_t n) {
        EnergySums sums = estimate;
        for (std::int64_t i = 0; i < n; ++i) sums.Add(x[i]);
        estimate = sums;
    }
};

float ExponentOf(float numerator, float denominator) {
    if (denominator <= kLeastSquaredStep) return 0.0f;
    const float alpha = numerator / denominator;
    if (alpha <= 0.0f) return 0.0f;
    return alpha >= 1.0f ? 1.0f : alpha;
}

}  // namespace

float Recompute_dAlphaK2D(const float* x, const float* c, const float* e, const float* f, unsigned W,
                          unsigned H) {
    std::array<float, kTogether> logOfE;
    std::array<float, kTogether> logOfF;
    std::array<float, kTogether> before;
    StepSums sums;
    const auto samples = static_cast<std::int64_t>(Samples(W, H));
    for (std::int64_t first = 0; first < samples; first += kTogether) {
        const std::int64_t count = std::min(kTogether, samples - first);
        std::copy_n(e + first, count, logOfE.data());
        std::copy_n(f + first, count, logOfF.data());
        std::copy_n(c + first, count, before.data());
        ReplaceByLog(logOfE.data(), count);
        ReplaceByLog(logOfF.data(), count);
        ReplaceByTerms(x + first, before.data(), logOfE.data(), logOfF.data(), count);
        sums.Add(x + first, before.data(), logOfF.data(), count);
    }
    return ExponentOf(sums.numerator, sums.denominator);
}

AcceleratedSteps::AcceleratedSteps(const AcceleratedFrames& frames, const float* h)
    : frames_(frames), inverseSum_(InverseOfSum(SumOfFrame(h, frames.W, frames.H))) {
    const auto& [W, H, x, y, otf, b, c, d, e, f, buffer, bufferSize, spec] = frames_;
    CopyFrame(otf, h, W, H);
    MakeTransfer(otf, W, H, buffer, spec);
    for (float* const ones : {b, d, e, f}) SetOnes2D(ones, W, H);
    CopyFrame(c, x, W, H);
}

/// x := x b^alpha
void AcceleratedSteps::Extrapolate() const {
    float* const x = frames_.x;
    float* const b = frames_.b;
    const float alpha = alpha_;
    if (alpha == 0.0f) return;
    ForEachPiece(SamplesOf(frames_), kBlock, [=](std::int64_t first, std::int64_t count) {
        PowVkAlpha2D(b + first, RowOf(count), 1, alpha);
        for (std::int64_t i = first; i < first + count; ++i) x[i] = x[i] * b[i];
    });
}

void AcceleratedSteps::Correct() const {
    Extrapolate();
    const auto& [W, H, x, y, otf, b, c, d, e, f, buffer, bufferSize, spec] = frames_;
    BlurByTransfer(d, x, otf, W, H, buffer, spec);
    ForEachPiece(SamplesOf(frames_), kBlock, [b = b, y = y, d = d](std::int64_t first, std::int64_t count) {
        RatioOrZero(b + first, y + first, d + first, RowOf(count), 1);
    });
    BackProjectByTransfer(d, b, otf, W, H, buffer, spec);
}

EnergySums AcceleratedSteps::Advance(Negatives negatives) {
    const auto& [W, H, x, y, otf, b, c, d, e, f, buffer, bufferSize, spec] = frames_;
    const std::int64_t samples = SamplesOf(frames_);
    const auto countOf = [=](std::int64_t block) { return std::min(kBlock, samples - block * kBlock); };
    const std::int64_t blocks = (samples + kBlock - 1) / kBlock;
    // The corrections before the first two are 1: their logarithms leave the sums at 0.
    const bool hasHistory = corrections_ == 2;

    StepSums sums;
    ParallelThenInTurn(
        blocks, blocks,
        [=, x = x, b = b, c = c, d = d, e = e, f = f, inverseSum = inverseSum_](std::int64_t block) {
            const std::int64_t first = block * kBlock;
            const std::int64_t count = countOf(block);
            for (std::int64_t i = first; i < first + count; ++i) x[i] = x[i] * d[i] * inverseSum;
            if (negatives == Negatives::kCut) ClipSmallerThanZero2D(x + first, RowOf(count), 1);
            RatioOrOne(b + first, x + first, c + first, RowOf(count), 1);
            ReplaceByLog(d + first, count);
            // Neither c nor f is asked for again.
            if (hasHistory) ReplaceByTerms(x + first, c + first, e + first, f + first, count);
        },
        [&, x = x, c = c, f = f](std::int64_t block) {
            const std::int64_t first = block * kBlock;
            const std::int64_t count = countOf(block);
            if (hasHistory) {
                sums.Add(x + first, c + first, f + first, count);
            } else {
                sums.AddEstimate(x + first, count);
            }
            std::copy_n(x + first, count, c + first);
        });
    // deliberate: before e and f move on
    alpha_ = hasHistory ? ExponentOf(sums.numerator, sums.denominator) : 0.0f;
    frames_.d = std::exchange(frames_.f, std::exchange(frames_.e, frames_.d));
    corrections_ = std::min(corrections_ + 1, 2U);
    return sums.estimate;
}

}  // namespace gnr::detail
