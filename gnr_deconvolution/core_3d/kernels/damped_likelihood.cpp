// SPDX-License-Identifier: MIT
#include "kernels/damped_likelihood.h"

#include <processor/fetch.h>
#include <processor/multiply_add.h>
#include <processor/vector_clones.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "detail/elementary_log.h"
#include "detail/parallel.h"

namespace gnr::detail {

namespace {

/// Ratios are formed where both sides reach this.
constexpr float kLeastForRatio = 1e-10f;
/// Lower limit inside the logarithm of the likelihood and of what divides there.
constexpr float kLeastForLog = 1e-30f;

/// Samples that go through the vector loops together; their intermediate values stay in the nearest cache.
constexpr std::int64_t kChunk = 256;
using Chunk = std::array<float, kChunk>;

float PenaltyOfPositive(float u, float N) {
    const float v = std::pow(u, N);
    return u < 1.0f ? ((N - 1.0f) / (N + 1.0f)) * (1.0f - v * u) + v : u;
}

float DampedRatio(float g, float h, float c, float N) {
    if (h < kLeastForRatio || g < kLeastForRatio) return 0.0f;
    const float u = std::max(0.0f, DampedDeviation(g, h, c));
    return ((std::pow(u, N - 1.0f) * (N - (N - 1.0f) * u)) * (g - h)) / h + 1.0f;
}

/// DampedRatio for N = 1, where the factor in u is exactly 1.
GNR_VECTOR_CLONES
void UndampedRatios(float* ratios, const float* observed, const float* blurred, std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) {
        const float g = observed[i];
        const float h = blurred[i];
        const float ratio = (g - h) / h + 1.0f;
        const float ofLargeG = g < kLeastForRatio ? 0.0f : ratio;
        ratios[i] = h < kLeastForRatio ? 0.0f : ofLargeG;
    }
}

/// u of samples at alpha on the line, limited below to 0. alpha 0 is the old blur itself.
template <class MultiplyAdd>
inline void DeviationsBy(const float* observed, const float* blurredNew, const float* blurredOld, float alpha,
                         float c, float* u, std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) {
        const float g = observed[i];
        const float limited = g > kLeastForLog ? g : kLeastForLog;
        const float h = (blurredNew[i] - blurredOld[i]) * alpha + blurredOld[i];
        const float quotient = h / limited;
        const float ratio = quotient > kLeastForLog ? quotient : kLeastForLog;
        const float deviation = (NaturalLogOfNormal<MultiplyAdd>(ratio) * g - h + g) * c;
        u[i] = deviation < 0.0f ? 0.0f : deviation;
    }
}

GNR_FUSED_LOOP
void FusedDeviations(const float* observed, const float* blurredNew, const float* blurredOld, float alpha,
                     float c, float* u, std::int64_t n) {
    DeviationsBy<FusedMultiplyAdd>(observed, blurredNew, blurredOld, alpha, c, u, n);
}

GNR_VECTOR_CLONES
void PlainDeviations(const float* observed, const float* blurredNew, const float* blurredOld, float alpha,
                     float c, float* u, std::int64_t n) {
    DeviationsBy<PlainMultiplyAdd>(observed, blurredNew, blurredOld, alpha, c, u, n);
}

/// sums[0] += Σ ((-F) - (-F0)), sums[1] += Σ (-F)
GNR_VECTOR_CLONES
void AddPenalties(const float* F, const float* F0, std::int64_t n, double* sums) {
    constexpr std::int64_t width = 8;
    std::array<double, width> gain{};
    std::array<double, width> likelihood{};
    const auto add = [&](std::int64_t i, std::int64_t lane) {
        const auto at = static_cast<std::size_t>(lane);
        gain[at] += static_cast<double>(-F[i] + F0[i]);
        likelihood[at] += static_cast<double>(-F[i]);
    };
    std::int64_t i = 0;
    for (; i + width <= n; i += width) {
        for (std::int64_t lane = 0; lane < width; ++lane) add(i + lane, lane);
    }
    for (; i < n; ++i) add(i, 0);
    for (std::size_t lane = 0; lane < gain.size(); ++lane) {
        sums[0] += gain[lane];
        sums[1] += likelihood[lane];
    }
}

/// Penalties in place of deviations; for N = 1 they are the same.
void PenalizeDeviations(float* u, float N, std::int64_t n) {
    if (N == 1.0f) return;
    for (std::int64_t i = 0; i < n; ++i) u[i] = PenaltyOfPositive(u[i], N);
}

}  // namespace

float DampedDeviation(float g, float h, float c) {
    const float u = c * (g * NaturalLog(h / g) - h + g);
    return u > 1.0f ? 1.0f : u;
}

float DampedPenalty(float u, float N) {
    return PenaltyOfPositive(u < 0.0f ? 0.0f : u, N);
}

void DampedRatioRow(float* ratios, const float* observed, const float* blurred, float c, float N,
                    std::int64_t n) {
    if (N == 1.0f) return UndampedRatios(ratios, observed, blurred, n);
    for (std::int64_t i = 0; i < n; ++i) ratios[i] = DampedRatio(observed[i], blurred[i], c, N);
}

void ComputeDampedRatio3D(const float* pfObserved, float* pfWork, const DFT3D* pSizes, float c, float N) {
    const std::int64_t length = pSizes->rowLength;
    ParallelRows(*pSizes, pfWork, [=](float* row, std::int64_t r) {
        DampedRatioRow(row, pfObserved + r * length, row, c, N, length);
    });
}

void SampleLine(const LikelihoodLine& line, float alpha, int trials, LineSample* samples) {
    const SRyIRect3D& box = line.box;
    const std::int64_t width = std::int64_t{box.iMaxX} - box.iMinX;
    const std::int64_t height = std::max(std::int64_t{box.iMaxY} - box.iMinY, std::int64_t{0});
    const std::int64_t rows = height * std::max(std::int64_t{box.iMaxZ} - box.iMinZ, std::int64_t{0});

    const auto sums = ParallelSums<2 * kTrialsPerSweep>(rows, [&](std::int64_t r, double* sum) {
        const std::int64_t z = box.iMinZ + r / height;
        const std::int64_t y = box.iMinY + r % height;
        const std::int64_t first = (line.sizes->rows * z + y) * line.sizes->rowLength + box.iMinX;
        for (const float* volume : {line.observed, line.blurredNew, line.blurredOld}) {
            Fetch(volume, first + line.sizes->rowLength, width);
        }
        Chunk F0;
        Chunk F;
        for (std::int64_t done = 0; done < width; done += kChunk) {
            const std::int64_t n = std::min(kChunk, width - done);
            const std::int64_t at = first + done;
            const auto penaltiesAt = [&](float step, Chunk& penalties) {
                const auto deviations = kFusesMultiplyAdd ? FusedDeviations : PlainDeviations;
                deviations(line.observed + at, line.blurredNew + at, line.blurredOld + at, step, line.c,
                           penalties.data(), n);
                PenalizeDeviations(penalties.data(), line.N, n);
            };
            penaltiesAt(0.0f, F0);
            float step = alpha;
            for (int t = 0; t < trials; ++t, step *= 2.0f) {
                penaltiesAt(step, F);
                AddPenalties(F.data(), F0.data(), n, sum + 2 * t);
            }
        }
    });
    for (int t = 0; t < trials; ++t) {
        const std::size_t pair = 2 * static_cast<std::size_t>(t);
        samples[t] = {sums[pair], sums[pair + 1]};
    }
}

}  // namespace gnr::detail
