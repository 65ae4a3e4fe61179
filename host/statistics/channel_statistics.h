// SPDX-License-Identifier: MIT
#pragma once

// Intensity statistics of one channel, gathered plane by plane.

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

#include "io/stack_header.h"

namespace rydecon {

/// How often each value occurs: exactly for integers of up to 16 bits. Other samples share bins of 2048 a power of two,
/// so that a value of the histogram is within 0.025 % of the sample.
class IntensityHistogram {
  public:
    explicit IntensityHistogram(SampleType type);

    /// A finite sample.
    void Add(float sample) { ++counts_[BinOf(sample)]; }

    std::uint64_t total() const;

    /// The smallest value that at least `fraction` of the samples do not exceed; of a shared bin its middle. Empty
    /// without samples.
    std::optional<double> Quantile(double fraction) const;

  private:
    std::size_t BinOf(float sample) const;
    double ValueOf(std::size_t bin) const;

    bool exact_;
    int least_ = 0;  // of the exact ones
    std::vector<std::uint64_t> counts_;
};

/// Samples that are NaN or infinite count as such and nowhere else.
class ChannelStatistics {
  public:
    /// Of channels of the header's shape, sample type and significant bits.
    explicit ChannelStatistics(const StackHeader& header);

    /// Adds a plane of time point `t`; row j begins at rows[j * rowStride].
    void AddPlane(int t, const float* rows, std::ptrdiff_t rowStride);

    std::uint64_t samples() const { return finite_ + nonFinite_; }
    std::uint64_t nonFinite() const { return nonFinite_; }

    /// Empty where no sample is finite.
    std::optional<double> Least() const;
    std::optional<double> Largest() const;
    std::optional<double> Mean() const;
    std::optional<double> Deviation() const;
    std::optional<double> Quantile(double fraction) const { return histogram_.Quantile(fraction); }

    /// The sample beyond which the camera could not count: the largest of the significant bits, or of the integer type.
    /// Empty for floats.
    std::optional<double> SaturationLevel() const { return saturation_; }
    /// Samples at that level or above.
    std::uint64_t saturated() const { return saturated_; }

    bool Constant() const { return finite_ > 0 && least_ == largest_; }

    /// Mean of each time point; not a number where none of its samples is finite.
    std::vector<double> MeansOfTimes() const;
    /// Mean of the last time point by that of the first; empty with one time point or a first mean not above 0.
    std::optional<double> Bleaching() const;

  private:
    void AddRow(const float* row, double& sum, double& squares, std::uint64_t& finite);

    int width_;
    int height_;
    std::optional<double> saturation_;
    IntensityHistogram histogram_;
    float least_ = std::numeric_limits<float>::infinity();
    float largest_ = -std::numeric_limits<float>::infinity();
    std::uint64_t finite_ = 0;
    std::uint64_t nonFinite_ = 0;
    std::uint64_t saturated_ = 0;
    double mean_ = 0.0;
    double squares_ = 0.0;  // sum of squared distances from the mean
    std::vector<double> sums_;
    std::vector<std::uint64_t> counts_;  // finite samples of each time point
};

}  // namespace rydecon
