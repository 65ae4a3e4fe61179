// SPDX-License-Identifier: MIT
#include "kernels/mean_divergence.h"

#include <processor/multiply_add.h>
#include <processor/vector_clones.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "detail/elementary_log.h"
#include "detail/parallel.h"

namespace gnr::detail {

namespace {

/// Samples of a row that go through the vector loops together; their terms stay in the nearest cache.
constexpr std::int64_t kChunk = 256;
using Chunk = std::array<double, kChunk>;

/// Sums side by side: one chain of additions would wait for itself.
constexpr std::int64_t kLanes = 16;
using Lanes = std::array<double, kLanes>;

/// terms[i] := L a - a, L = ln((a + 1e-20) / (b + 1e-20))
template <class MultiplyAdd>
inline void TermsBy(const float* rowA, const float* rowB, double* __restrict terms, std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) {
        const double a = rowA[i];
        const double b = rowB[i];
        terms[i] = NaturalLogOfQuotient<MultiplyAdd>(a + kDivergenceOffset, b + kDivergenceOffset) * a - a;
    }
}

GNR_FUSED_LOOP
void FusedTerms(const float* rowA, const float* rowB, double* terms, std::int64_t n) {
    TermsBy<FusedMultiplyAdd>(rowA, rowB, terms, n);
}

GNR_VECTOR_CLONES
void PlainTerms(const float* rowA, const float* rowB, double* terms, std::int64_t n) {
    TermsBy<PlainMultiplyAdd>(rowA, rowB, terms, n);
}

/// Each lane's sum := (sum + L a - a) + b for its samples in turn.
GNR_VECTOR_CLONES
void AddTerms(const double* terms, const float* rowB, std::int64_t n, Lanes& sums) {
    Lanes lanes = sums;
    std::int64_t i = 0;
    for (; i + kLanes <= n; i += kLanes) {
        for (std::int64_t w = 0; w < kLanes; ++w) {
            double& sum = lanes[static_cast<std::size_t>(w)];
            sum = (sum + terms[i + w]) + static_cast<double>(rowB[i + w]);
        }
    }
    for (std::int64_t w = 0; i + w < n; ++w) {
        double& sum = lanes[static_cast<std::size_t>(w)];
        sum = (sum + terms[i + w]) + static_cast<double>(rowB[i + w]);
    }
    sums = lanes;
}

double RowDivergence(const float* a, const float* b, std::int64_t width) {
    const auto formTerms = kFusesMultiplyAdd ? FusedTerms : PlainTerms;
    Chunk terms;
    Lanes sums{};
    for (std::int64_t done = 0; done < width; done += kChunk) {
        const std::int64_t n = std::min(kChunk, width - done);
        formTerms(a + done, b + done, terms.data(), n);
        AddTerms(terms.data(), b + done, n, sums);
    }
    for (std::size_t half = sums.size() / 2; half > 0; half /= 2) {
        for (std::size_t lane = 0; lane < half; ++lane) sums[lane] += sums[lane + half];
    }
    return sums[0];
}

}  // namespace

ComparedRows::ComparedRows(const DFT3D& s, const float* a, const float* b, const SRyIRect3D& box)
    : s_(s),
      a_(a),
      b_(b),
      box_(box),
      width_(std::max(std::int64_t{box.iMaxX} - box.iMinX, std::int64_t{0})),
      height_(std::max(std::int64_t{box.iMaxY} - box.iMinY, std::int64_t{0})),
      depth_(std::max(std::int64_t{box.iMaxZ} - box.iMinZ, std::int64_t{0})) {}

double ComparedRows::Divergence(std::int64_t r) const {
    const std::int64_t first = r * s_.rowLength + box_.iMinX;
    return RowDivergence(a_ + first, b_ + first, width_);
}

double ComparedRows::Mean(double sum) const {
    return sum / (static_cast<double>(width_) * static_cast<double>(height_) * static_cast<double>(depth_));
}

double MeanDivergence(const DFT3D& s, const float* a, const float* b, const SRyIRect3D& box) {
    const ComparedRows rows(s, a, b, box);
    const auto [sum] = ParallelSums<1>(
        rows.Count(), [=](std::int64_t n, double* total) { *total += rows.Divergence(rows.RowOfVolume(n)); });
    return rows.Mean(sum);
}

}  // namespace gnr::detail
