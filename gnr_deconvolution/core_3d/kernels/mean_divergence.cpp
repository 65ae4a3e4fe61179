// SPDX-License-Identifier: MIT
#include "kernels/mean_divergence.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "detail/elementary_log.h"
#include "detail/parallel.h"
#include "detail/vector_clones.h"

namespace gnr::detail {

namespace {

/// Samples of a row that go through the vector loop together.
constexpr std::int64_t kChunk = 256;
/// Rows whose sums run side by side: one chain of additions waits for itself, eight hide their latency.
constexpr std::int64_t kRowsTogether = 8;

using Chunk = std::array<double, kChunk>;
using RowPointers = std::array<const float*, kRowsTogether>;
using RowTerms = std::array<Chunk, kRowsTogether>;
using RowSums = std::array<double, kRowsTogether>;

/// terms[i] := L a - a, L = ln((a + 1e-20) / (b + 1e-20))
GNR_VECTOR_CLONES
void DivergenceTerms(const float* rowA, const float* rowB, double* terms, std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) {
        const double a = rowA[i];
        const double b = rowB[i];
        terms[i] = NaturalLogOfNormal((a + kDivergenceOffset) / (b + kDivergenceOffset)) * a - a;
    }
}

/// Each row's sum := (sum + term) + b for its n samples in turn.
RowSums AddTerms(RowSums sums, const RowTerms& terms, const RowPointers& rowsB, std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) {
        for (std::size_t j = 0; j < sums.size(); ++j) {
            sums[j] = (sums[j] + terms[j][static_cast<std::size_t>(i)]) + static_cast<double>(rowsB[j][i]);
        }
    }
    return sums;
}

}  // namespace

double MeanDivergence(const DFT3D& s, const float* a, const float* b, const SRyIRect3D& box) {
    const std::int64_t width = std::max(std::int64_t{box.iMaxX} - box.iMinX, std::int64_t{0});
    const std::int64_t height = std::max(std::int64_t{box.iMaxY} - box.iMinY, std::int64_t{0});
    const std::int64_t depth = std::max(std::int64_t{box.iMaxZ} - box.iMinZ, std::int64_t{0});
    const std::int64_t rows = height * depth;
    const auto firstSample = [&](std::int64_t r) {
        return (s.rows * (box.iMinZ + r / height) + box.iMinY + r % height) * s.rowLength + box.iMinX;
    };

    const std::int64_t bundles = (rows + kRowsTogether - 1) / kRowsTogether;
    const auto [sum] = ParallelSums<1>(bundles, [&](std::int64_t bundle, double* total) {
        const std::int64_t firstRow = bundle * kRowsTogether;
        const std::int64_t count = std::min(kRowsTogether, rows - firstRow);
        // Rows that a last bundle lacks repeat its first one and are left out of the total.
        RowPointers rowsA;
        RowPointers rowsB;
        for (std::int64_t j = 0; j < kRowsTogether; ++j) {
            const std::int64_t first = firstSample(firstRow + (j < count ? j : 0));
            rowsA[static_cast<std::size_t>(j)] = a + first;
            rowsB[static_cast<std::size_t>(j)] = b + first;
        }
        RowTerms terms;
        RowSums sums{};
        for (std::int64_t done = 0; done < width; done += kChunk) {
            const std::int64_t n = std::min(kChunk, width - done);
            for (std::size_t j = 0; j < sums.size(); ++j) {
                DivergenceTerms(rowsA[j], rowsB[j], terms[j].data(), n);
            }
            sums = AddTerms(sums, terms, rowsB, n);
            for (std::size_t j = 0; j < sums.size(); ++j) {
                rowsA[j] += n;
                rowsB[j] += n;
            }
        }
        for (std::int64_t j = 0; j < count; ++j) total[0] += sums[static_cast<std::size_t>(j)];
    });
    return sum / (static_cast<double>(width) * static_cast<double>(height) * static_cast<double>(depth));
}

}  // namespace gnr::detail
