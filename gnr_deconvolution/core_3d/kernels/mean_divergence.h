// SPDX-License-Identifier: MIT
#pragma once

// The I-divergence of CalculateIDIV for use inside the cores, where it runs once an iteration.

#include <gnr_deconvolution/kernels_3d.h>
#include <gnr_deconvolution/object_frame.h>

#include <cstdint>

#include "detail/parallel.h"

namespace gnr::detail {

/// Keeps the logarithm of an I-divergence finite where both volumes are 0.
inline constexpr double kDivergenceOffset = 1e-20;

/// Mean of a ln((a + 1e-20) / (b + 1e-20)) - a + b over the box, as CalculateIDIV: in double, each sample's terms
/// joining a sum in that order. There are sixteen sums to a row, which are added up at its end. The logarithm is that
/// of the quotient before rounding, within 2 units in the last place. A box of no size gives NaN.
double MeanDivergence(const DFT3D& s, const float* a, const float* b, const SRyIRect3D& box);

/// The rows of the box, for sweeps that bring other work along.
class ComparedRows {
  public:
    ComparedRows(const DFT3D& s, const float* a, const float* b, const SRyIRect3D& box);

    std::int64_t Count() const { return height_ * depth_; }
    /// Of row n of the box.
    std::int64_t RowOfVolume(std::int64_t n) const {
        return s_.rows * (box_.iMinZ + n / height_) + box_.iMinY + n % height_;
    }
    /// No row of the box lies outside of the volume.
    bool LieInVolume() const {
        return box_.iMinY >= 0 && box_.iMaxY <= s_.rows && box_.iMinZ >= 0 && box_.iMaxZ <= s_.planes;
    }
    /// Row r of the volume is one of them.
    bool Hold(std::int64_t r) const {
        const std::int64_t z = r / s_.rows;
        const std::int64_t y = r % s_.rows;
        return z >= box_.iMinZ && z < box_.iMaxZ && y >= box_.iMinY && y < box_.iMaxY;
    }

    /// The sum over row r of the volume.
    double Divergence(std::int64_t r) const;
    /// From the sum over all rows of the box.
    double Mean(double sum) const;

  private:
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

/// finishRow(r) for all rows r of the volume, in parallel; then MeanDivergence of `finished`, each row being looked at
/// while it is in the cache. 0 without a comparison.
template <class FinishRow>
double FinishRows(const DFT3D& s, const float* finished, const Comparison* comparison, FinishRow finishRow) {
    if (comparison == nullptr) {
        ParallelFor(RowsOfVolume(s), finishRow);
        return 0.0;
    }
    const ComparedRows compared(s, finished, comparison->observed, comparison->box);
    if (!compared.LieInVolume()) {
        ParallelFor(RowsOfVolume(s), finishRow);
        return MeanDivergence(s, finished, comparison->observed, comparison->box);
    }
    const auto [sum] = ParallelSums<1>(RowsOfVolume(s), [=](std::int64_t r, double* total) {
        finishRow(r);
        if (compared.Hold(r)) *total += compared.Divergence(r);
    });
    return compared.Mean(sum);
}

}  // namespace gnr::detail
