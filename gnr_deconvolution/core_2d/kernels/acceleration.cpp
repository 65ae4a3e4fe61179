// SPDX-License-Identifier: MIT
#include "kernels/acceleration.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>

#include <processor/vector_clones.h>
#include "detail/elementary_log.h"
#include "detail/float_bounds.h"
#include "detail/parallel.h"
#include "kernels/convolution.h"
#include "kernels/frame_arithmetic.h"
#include "kernels/frame_steps.h"
#include "kernels/pieces.h"

namespace gnr::detail {

namespace {

/// Corrections not above this have no logarithm worth using.
constexpr float kLeastCorrection = FloatNotAbove(1e-10);
/// Sums of squared steps not above this give no exponent.
constexpr float kLeastSquaredStep = FloatNotAbove(1e-10);
/// Stands for the logarithm of such a correction.
constexpr float kNoLog = std::numeric_limits<float>::quiet_NaN();

/// Samples whose powers or logarithms are made together where there is no frame for them.
constexpr std::int64_t kTogether = 512;

/// Threads worth having for a frame.
int ThreadsFor(const AcceleratedFrames& frames) {
    const auto samples = static_cast<std::int64_t>(Samples(frames.W, frames.H));
    return samples < 2 * kShareOfThread ? 1 : ThreadsToCome();
}

/// body(chunk) for all chunks of the passes, shared among the threads.
template <class Body>
void ForEachChunk(const fft::TransferPasses& passes, const AcceleratedFrames& frames, Body body) {
    const std::int64_t chunks = passes.Chunks();
    if (ThreadsFor(frames) > 1) return ParallelFor(chunks, body);
    for (std::int64_t n = 0; n < chunks; ++n) body(n);
}

/// visit(samples of a row within the passes, index of its first sample in a frame) for the rows of a chunk.
template <class Visit>
void VisitRows(const fft::TransferPasses& passes, std::int64_t chunk, unsigned W, Visit visit) {
    const std::int64_t rows = passes.RowsTogether();
    for (std::int64_t row = chunk * rows; row < (chunk + 1) * rows; ++row) {
        visit(passes.Samples(row), row * std::int64_t{W});
    }
}

GNR_VECTOR_CLONES
void ReplaceByLog(float* d, std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) {
        const float log = DecimalLog(d[i]);
        d[i] = d[i] > kLeastCorrection ? log : kNoLog;
    }
}

/// What each sample adds to the sums of the exponent, from the estimate x, the one before, c, and the logarithms e and
/// f of the last two corrections.
GNR_VECTOR_CLONES
void MakeTerms(const float* __restrict x, const float* __restrict c, const float* __restrict e,
               const float* __restrict f, float* __restrict numerators, float* __restrict denominators,
               std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) {
        const float p = f[i] * c[i];
        const float forNumerator = e[i] * x[i] * p;
        const float forDenominator = p * p;
        const bool counts = (e[i] == e[i]) & (f[i] == f[i]);
        numerators[i] = counts ? forNumerator : 0.0f;
        denominators[i] = counts ? forDenominator : 0.0f;
    }
}

/// base := x / c, c := x
GNR_VECTOR_CLONES
void TakeBase(float* __restrict base, const float* __restrict x, float* __restrict c, std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) {
        base[i] = QuotientOrOne(x[i], c[i]);
        c[i] = x[i];
    }
}

GNR_VECTOR_CLONES
void CutRow(float* x, std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) x[i] = Clipped(x[i]);
}

/// x := x factor
GNR_VECTOR_CLONES
void MultiplyRow(float* __restrict x, const float* __restrict factor, std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) x[i] = x[i] * factor[i];
}

/// x := x d inverseSum
GNR_VECTOR_CLONES
void CorrectRow(float* __restrict x, const float* __restrict d, float inverseSum, std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) x[i] = x[i] * d[i] * inverseSum;
}

/// d := y / d
GNR_VECTOR_CLONES
void TakeRatio(float* __restrict d, const float* __restrict y, std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) d[i] = QuotientOrZero(y[i], d[i]);
}

/// c := x;  x := x (x / c before)^alpha, its negatives cut before if told.
void ExtrapolateRow(float* x, float* c, float alpha, Negatives negatives, std::int64_t n) {
    std::array<float, kTogether> power;
    for (std::int64_t first = 0; first < n; first += kTogether) {
        const std::int64_t count = std::min(kTogether, n - first);
        if (alpha == 0.0f) {
            std::copy_n(x + first, count, c + first);
        } else {
            TakeBase(power.data(), x + first, c + first, count);
        }
        if (negatives == Negatives::kCut) CutRow(x + first, count);
        if (alpha == 0.0f) continue;
        PowVkAlpha2D(power.data(), static_cast<unsigned>(count), 1, alpha);
        MultiplyRow(x + first, power.data(), count);
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
    std::array<float, kTogether> numerators;
    std::array<float, kTogether> denominators;
    StepSums sums;
    const auto samples = static_cast<std::int64_t>(Samples(W, H));
    for (std::int64_t first = 0; first < samples; first += kTogether) {
        const std::int64_t count = std::min(kTogether, samples - first);
        std::copy_n(e + first, count, logOfE.data());
        std::copy_n(f + first, count, logOfF.data());
        ReplaceByLog(logOfE.data(), count);
        ReplaceByLog(logOfF.data(), count);
        MakeTerms(x + first, c + first, logOfE.data(), logOfF.data(), numerators.data(), denominators.data(),
                  count);
        sums.Add(x + first, numerators.data(), denominators.data(), count);
    }
    return ExponentOf(sums.numerator, sums.denominator);
}

void PresetFrames(const AcceleratedFrames& frames) {
    for (float* const ones : {frames.b, frames.d, frames.e, frames.f}) SetOnes2D(ones, frames.W, frames.H);
    CopyFrame(frames.c, frames.x, frames.W, frames.H);
}

void SettleFrames(const AcceleratedFrames& frames) {
    RatioOrOne(frames.b, frames.x, frames.c, frames.W, frames.H);
    CopyFrame(frames.c, frames.x, frames.W, frames.H);
}

AcceleratedSteps::AcceleratedSteps(const AcceleratedFrames& frames, const float* h)
    : frames_(frames),
      inverseSum_(InverseOfSum(SumOfFrame(h, frames.W, frames.H))),
      passes_(SizeOf(frames.W, frames.H), frames.spec, frames.buffer) {
    const auto& [W, H, x, y, otf, b, c, d, e, f, buffer, bufferSize, spec] = frames_;
    CopyFrame(otf, h, W, H);
    MakeTransfer(otf, W, H, buffer, spec);
}

void AcceleratedSteps::Correct(Negatives negatives) {
    if (!passes_) return;
    const auto& [W, H, x, y, otf, b, c, d, e, f, buffer, bufferSize, spec] = frames_;
    const fft::TransferPasses& passes = passes_;
    ForEachChunk(passes, frames_, [&, W = W, x = x, c = c, alpha = alpha_](std::int64_t chunk) {
        VisitRows(passes, chunk, W, [=](float* samples, std::int64_t first) {
            ExtrapolateRow(x + first, c + first, alpha, negatives, W);
            std::copy_n(x + first, W, samples);
        });
        passes.Transform(chunk);
    });
    passes.Multiply(otf, fft::TransferUse::kPlain);
    ForEachChunk(passes, frames_, [&, W = W, y = y](std::int64_t chunk) {
        passes.Invert(chunk);
        VisitRows(passes, chunk, W,
                  [=](float* samples, std::int64_t first) { TakeRatio(samples, y + first, W); });
        passes.Transform(chunk);
    });
    passes.Multiply(otf, fft::TransferUse::kConjugate);
}

EnergySums AcceleratedSteps::Advance(Negatives negatives) {
    if (!passes_) return {};
    const auto& [W, H, x, y, otf, b, c, d, e, f, buffer, bufferSize, spec] = frames_;
    const fft::TransferPasses& passes = passes_;
    const std::int64_t chunks = passes.Chunks();
    const std::int64_t samplesOfChunk = passes.RowsTogether() * std::int64_t{W};
    // As many chunks of terms as threads work at: their place stays in the cache.
    const std::int64_t lead = std::min<std::int64_t>(chunks, ThreadsFor(frames_));
    const auto placeOf = [=](std::int64_t chunk) { return chunk % lead * samplesOfChunk; };
    // The corrections before the first two are 1: their logarithms leave the sums at 0.
    const bool hasHistory = corrections_ == 2;

    StepSums sums;
    ParallelThenInTurn(
        chunks, lead,
        [&, W = W, x = x, b = b, c = c, d = d, e = e, f = f, inverseSum = inverseSum_](std::int64_t chunk) {
            passes.Invert(chunk);
            float* numerators = b + placeOf(chunk);
            float* denominators = d + placeOf(chunk);
            VisitRows(passes, chunk, W, [&](float* correction, std::int64_t first) {
                CorrectRow(x + first, correction, inverseSum, W);
                if (negatives == Negatives::kCut) CutRow(x + first, W);
                if (hasHistory) {
                    MakeTerms(x + first, c + first, e + first, f + first, numerators, denominators, W);
                    numerators += W;
                    denominators += W;
                }
                ReplaceByLog(correction, W);
                std::copy_n(correction, W, f + first);
            });
        },
        [&, x = x, b = b, d = d](std::int64_t chunk) {
            const float* const estimate = x + chunk * samplesOfChunk;
            if (hasHistory) {
                sums.Add(estimate, b + placeOf(chunk), d + placeOf(chunk), samplesOfChunk);
            } else {
                sums.AddEstimate(estimate, samplesOfChunk);
            }
        });
    alpha_ = hasHistory ? ExponentOf(sums.numerator, sums.denominator) : 0.0f;
    std::swap(frames_.e, frames_.f);
    corrections_ = std::min(corrections_ + 1, 2U);
    return sums.estimate;
}

}  // namespace gnr::detail
