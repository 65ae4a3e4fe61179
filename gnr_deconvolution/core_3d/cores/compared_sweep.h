// SPDX-License-Identifier: MIT
#pragma once

// A sweep over the rows of a product with the transfer function that finishes an estimate, and compares it with the
// observed image row by row, while it is in the cache.

#include "cores/transfer.h"
#include "detail/fetch_ahead.h"
#include "kernels/mean_divergence.h"

namespace gnr::detail {

/// work(rows), as in Transfer::Sweep, on all rows of the volume; then MeanDivergence of `finished`. 0 without a
/// comparison.
template <class Work>
double SweepAndCompare(const Transfer& transfer, const DFT3D& s, float* from, float* to,
                       const float* finished, const Comparison* comparison, Work work) {
    const auto sweep = [=, &transfer] {
        transfer.Sweep(from, to, EachShare{}, [=](const RowChunk& rows, auto*) { work(rows); });
    };
    if (comparison == nullptr) {
        sweep();
        return 0.0;
    }
    const ComparedRows compared(s, finished, comparison->observed, comparison->box);
    if (!compared.LieInVolume()) {
        sweep();
        return MeanDivergence(s, finished, comparison->observed, comparison->box);
    }
    const auto [sum] =
        transfer.Sweep(from, to, SumOfShares<1>{}, [=, &s](const RowChunk& rows, double* total) {
            work(rows);
            for (std::int64_t r = rows.first; r < rows.first + rows.count; ++r) {
                if (!compared.Hold(r)) continue;
                FetchRowBehind(s, r, comparison->observed);
                *total += compared.Divergence(r);
            }
        });
    return compared.Mean(sum);
}

}  // namespace gnr::detail
