// SPDX-License-Identifier: MIT
#pragma once

// The I-divergence of CalculateIDIV for use inside the cores, where it runs once an iteration.

#include <gnr_deconvolution/kernels_3d.h>
#include <gnr_deconvolution/object_frame.h>

#include <algorithm>
#include <array>
#include <cstdint>

#include "detail/parallel.h"

namespace gnr::detail {

/// Keeps the logarithm of an I-divergence finite where both volumes are 0.
inline constexpr double kDivergenceOffset = 1e-20;

/// Mean of a ln((a + 1e-20) / (b + 1e-20)) - a + b over the box, as CalculateIDIV: in double, the terms of a
/// row joining its sum one by one in that order. The logarithm is that of the quotient before rounding, within 2
/// units in the last place. A box of no size gives NaN.
double MeanDivergence(const DFT3D& s, const float* a, const float* b, const SRyIRect3D& box);

/// The rows of the box in bundles, for sweeps that bring other work along.
class DivergenceBundles {
  public:
    /// Rows whose sums run side by side: one chain of additions waits for itself, eight hide their latency.
    static constexpr std::int64_t kRowsTogether = 8;

    DivergenceBundles(const DFT3D& s, const float* a, const float* b, const SRyIRect3D& box);

    std::int64_t Count() const { return (Rows() + kRowsTogether - 1) / kRowsTogether; }
    /// Adds the sums of a bundle's rows to `total`, one by one.
    void Add(std::int64_t bundle, double* total) const;
    /// The same of those rows that the box holds, of `count` of the volume.
    void AddRows(std::int64_t first, std::int64_t count, double* total) const;
    /// From the sum over all rows of the box.
    double Mean(double sum) const;

    /// visit(r) for the rows r of the volume that a bundle holds.
    template <class Visit>
    void EachRow(std::int64_t bundle, Visit visit) const {
        for (std::int64_t row = FirstRow(bundle); row < FirstRow(bundle + 1); ++row) visit(RowOfVolume(row));
    }
    /// No row of the box lies outside of the volume.
    bool LiesInVolume() const {
        return box_.iMinY >= 0 && box_.iMaxY <= s_.rows && box_.iMinZ >= 0 && box_.iMaxZ <= s_.planes;
    }
    /// Row r of the volume belongs to a bundle.
    bool Holds(std::int64_t r) const {
        const std::int64_t z = r / s_.rows;
        const std::int64_t y = r % s_.rows;
        return z >= box_.iMinZ && z < box_.iMaxZ && y >= box_.iMinY && y < box_.iMaxY;
    }

  private:
    using RowIndices = std::array<std::int64_t, kRowsTogether>;

    void AddRows(const RowIndices& rows, std::int64_t count, double* total) const;
    std::int64_t Rows() const { return height_ * depth_; }
    std::int64_t FirstRow(std::int64_t bundle) const { return std::min(bundle * kRowsTogether, Rows()); }
    std::int64_t RowOfVolume(std::int64_t row) const {
        return s_.rows * (box_.iMinZ + row / height_) + box_.iMinY + row % height_;
    }

    DFT3D s_;
    const float* a_;
    const float* b_;
    SRyIRect3D box_;
    std::int64_t width_;
    std::int64_t height_;
    std::int64_t depth_;
};

/// What an estimate is compared with as soon as a sweep has finished it.
struct Comparison {
    const float* observed;
    SRyIRect3D box;
};

/// finishRow(r) for all rows r of the volume, in parallel; then MeanDivergence of `finished`, bit for bit, each
/// row being looked at while it is in the cache. 0 without a comparison.
template <class FinishRow>
double FinishRows(const DFT3D& s, const float* finished, const Comparison* comparison, FinishRow finishRow) {
    if (comparison == nullptr) {
        ParallelFor(RowsOfVolume(s), finishRow);
        return 0.0;
    }
    const DivergenceBundles bundles(s, finished, comparison->observed, comparison->box);
    if (!bundles.LiesInVolume()) {
        ParallelFor(RowsOfVolume(s), finishRow);
        return MeanDivergence(s, finished, comparison->observed, comparison->box);
    }
    ParallelFor(RowsOfVolume(s), [=](std::int64_t r) {
        if (!bundles.Holds(r)) finishRow(r);
    });
    const auto [sum] = ParallelSums<1>(bundles.Count(), [=](std::int64_t bundle, double* total) {
        bundles.EachRow(bundle, finishRow);
        bundles.Add(bundle, total);
    });
    return bundles.Mean(sum);
}

}  // namespace gnr::detail
