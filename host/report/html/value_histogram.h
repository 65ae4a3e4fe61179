// SPDX-License-Identifier: MIT
#pragma once

// How often each intensity occurs, gathered row by row, with no range known beforehand.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace rydecon {

/// Counts in bins of one width, a power of two. Bin n holds the samples from n to n + 1 widths, so that two
/// neighbouring bins merge into one of twice the width: the bins widen as the range grows, and no count is
/// approximate.
class ValueHistogram {
  public:
    static constexpr int kBins = 1024;

    /// Adds the finite ones of `count` samples.
    void AddRow(const float* samples, std::size_t count);

    bool empty() const { return counts_.empty(); }
    float least() const { return least_; }
    float largest() const { return largest_; }
    /// The width of a bin is 2 to this power.
    int exponent() const { return exponent_; }

    /// Counts in `bins` bins of the width 2^exponent, no finer than the histogram's own, from bin `first` on.
    /// They must hold all samples.
    std::vector<std::uint64_t> CountsIn(int exponent, std::int64_t first, int bins) const;

  private:
    void Fit(float least, float largest);

    std::vector<std::uint64_t> counts_;
    std::int64_t first_ = 0;  // number of the bin that counts_ begins with
    int exponent_ = 0;
    float least_ = 0.0f;
    float largest_ = 0.0f;
};

/// Two histograms on the same bins.
struct HistogramPair {
    double start = 0.0;  // lower edge of the first bin
    double width = 0.0;
    std::vector<std::uint64_t> before;
    std::vector<std::uint64_t> after;
};

/// At most `mostBins` bins, those of the finest width that holds both. Empty where both are.
HistogramPair OnSameBins(const ValueHistogram& before, const ValueHistogram& after, int mostBins);

}  // namespace rydecon
