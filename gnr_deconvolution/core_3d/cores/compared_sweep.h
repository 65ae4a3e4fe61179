// SPDX-License-Identifier: MIT
#pragma once

// A sweep over the rows of a product with the transfer function that finishes an estimate, and compares it with the
// observed image row by row, while it is in the cache.

#include "cores/transfer.h"
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
    const DivergenceBundles bundles(s, finished, comparison->observed, comparison->box);
    if (!bundles.LiesInVolume()) {
        sweep();
        return MeanDivergence(s, finished, comparison->observed, comparison->box);
    }
    const auto [sum] = transfer.Sweep(from, to, SumOfShares<1>{}, [=](const RowChunk& rows, double* total) {
        work(rows);
        bundles.AddRows(rows.first, rows.count, total);
    });
    return bundles.Mean(sum);
}

}  // namespace gnr::detail
