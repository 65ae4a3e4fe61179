// SPDX-License-Identifier: MIT
#include "kernels/mean_divergence.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "detail/elementary_log.h"
#include "detail/parallel.h"
#include "detail/vector_clones.h"

namespace gnr::detail {

namespace {

/// Samples of a row that go through the vector loop together.
constexpr std::int64_t kChunk = 256;
constexpr std::int64_t kRowsTogether = DivergenceBundles::kRowsTogether;

using Chunk = std::array<double, kChunk>;
using RowPointers = std::array<const float*, kRowsTogether>;
using RowSums = std::array<double, kRowsTogether>;

/// What each sample of a row adds, in two parts.
struct RowTerms {
    Chunk ofA;  ///< L a - a, L = ln((a + 1e-20) / (b + 1e-20))
    Chunk ofB;  ///< b
};
using BundleTerms = std::array<RowTerms, kRowsTogether>;

GNR_VECTOR_CLONES
void DivergenceTerms(const float* rowA, const float* rowB, double* __restrict ofA, double* __restrict ofB,
                     std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) {
        const double a = rowA[i];
        const double b = rowB[i];
        ofA[i] = NaturalLogOfQuotient(a + kDivergenceOffset, b + kDivergenceOffset) * a - a;
        ofB[i] = b;
    }
}

/// Each row's sum := (sum + L a - a) + b for its n samples in turn.
RowSums AddTerms(RowSums sums, const BundleTerms& terms, std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) {
        const auto at = static_cast<std::size_t>(i);
        for (std::size_t j = 0; j < sums.size(); ++j) {
            sums[j] = (sums[j] + terms[j].ofA[at]) + terms[j].ofB[at];
        }
    }
    return sums;
}

}  // namespace

DivergenceBundles::DivergenceBundles(const DFT3D& s, const float* a, const float* b, const SRyIRect3D& box)
    : s_(s),
      a_(a),
      b_(b),
      box_(box),
      width_(std::max(std::int64_t{box.iMaxX} - box.iMinX, std::int64_t{0})),
      height_(std::max(std::int64_t{box.iMaxY} - box.iMinY, std::int64_t{0})),
      depth_(std::max(std::int64_t{box.iMaxZ} - box.iMinZ, std::int64_t{0})) {}

void DivergenceBundles::Add(std::int64_t bundle, double* total) const {
    RowIndices rows{};
    const std::int64_t firstRow = FirstRow(bundle);
    const std::int64_t count = FirstRow(bundle + 1) - firstRow;
    for (std::int64_t j = 0; j < count; ++j) rows[static_cast<std::size_t>(j)] = RowOfVolume(firstRow + j);
    AddRows(rows, count, total);
}

void DivergenceBundles::AddRows(std::int64_t first, std::int64_t count, double* total) const {
    RowIndices rows{};
    std::int64_t held = 0;
    for (std::int64_t r = first; r < first + count; ++r) {
        if (!Holds(r)) continue;
        rows[static_cast<std::size_t>(held)] = r;
        if (++held == kRowsTogether) AddRows(rows, std::exchange(held, 0), total);
    }
    if (held > 0) AddRows(rows, held, total);
}

void DivergenceBundles::AddRows(const RowIndices& rows, std::int64_t count, double* total) const {
    // Rows that are lacking repeat its first one and are left out of the total.
    RowPointers rowsA;
    RowPointers rowsB;
    for (std::int64_t j = 0; j < kRowsTogether; ++j) {
        const std::int64_t row = rows[static_cast<std::size_t>(j < count ? j : 0)];
        const std::int64_t first = row * s_.rowLength + box_.iMinX;
        rowsA[static_cast<std::size_t>(j)] = a_ + first;
        rowsB[static_cast<std::size_t>(j)] = b_ + first;
    }
    BundleTerms terms;
    RowSums sums{};
    for (std::int64_t done = 0; done < width_; done += kChunk) {
        const std::int64_t n = std::min(kChunk, width_ - done);
        for (std::size_t j = 0; j < sums.size(); ++j) {
            DivergenceTerms(rowsA[j], rowsB[j], terms[j].ofA.data(), terms[j].ofB.data(), n);
        }
        sums = AddTerms(sums, terms, n);
        for (std::size_t j = 0; j < sums.size(); ++j) {
            rowsA[j] += n;
            rowsB[j] += n;
        }
    }
    for (std::int64_t j = 0; j < count; ++j) *total += sums[static_cast<std::size_t>(j)];
}

double DivergenceBundles::Mean(double sum) const {
    return sum / (static_cast<double>(width_) * static_cast<double>(height_) * static_cast<double>(depth_));
}

double MeanDivergence(const DFT3D& s, const float* a, const float* b, const SRyIRect3D& box) {
    const DivergenceBundles bundles(s, a, b, box);
    const auto [sum] = ParallelSums<1>(
        bundles.Count(), [=](std::int64_t bundle, double* total) { bundles.Add(bundle, total); });
    return bundles.Mean(sum);
}

}  // namespace gnr::detail
