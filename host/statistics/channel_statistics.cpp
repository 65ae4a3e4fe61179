// SPDX-License-Identifier: MIT
#include "statistics/channel_statistics.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numeric>

#include "io/sample_encoding.h"

namespace rydecon {
namespace {

// A float's sign, its exponent and the first 11 digits behind the point.
constexpr int kKeptBits = 20;
constexpr int kDroppedBits = 32 - kKeptBits;

// Bits in the order of the numbers: those of negative numbers run backwards.
std::uint32_t Ordered(float sample) {
    const auto bits = std::bit_cast<std::uint32_t>(sample);
    return bits >> 31 != 0 ? ~bits : bits | 0x80000000U;
}

float FromOrdered(std::uint32_t ordered) {
    return std::bit_cast<float>(ordered >> 31 != 0 ? ordered & 0x7fffffffU : ~ordered);
}

bool IsShortInteger(SampleType type) {
    return type != SampleType::Float32 && type != SampleType::Float64 && BytesOf(type) <= 2;
}

std::optional<double> SaturationOf(const StackHeader& header) {
    if (header.sampleType == SampleType::Float32 || header.sampleType == SampleType::Float64)
        return std::nullopt;
    const double largest = LargestOf(header.sampleType);
    if (!header.significantBits) return largest;
    return std::min(largest, std::ldexp(1.0, *header.significantBits) - 1.0);
}

}  // namespace

IntensityHistogram::IntensityHistogram(SampleType type) : exact_(IsShortInteger(type)) {
    if (!exact_) {
        counts_.resize(std::size_t{1} << kKeptBits);
        return;
    }
    const bool isSigned = type == SampleType::Int8 || type == SampleType::Int16;
    const auto values = std::size_t{1} << 8 * BytesOf(type);
    least_ = isSigned ? -static_cast<int>(values / 2) : 0;
    counts_.resize(values);
}

std::size_t IntensityHistogram::BinOf(float sample) const {
    // Positive and negative zero are one value.
    return exact_ ? static_cast<std::size_t>(static_cast<int>(sample) - least_)
                  : Ordered(sample + 0.0F) >> kDroppedBits;
}

double IntensityHistogram::ValueOf(std::size_t bin) const {
    if (exact_) return static_cast<double>(bin) + least_;
    const auto first = static_cast<std::uint32_t>(bin) << kDroppedBits;
    // The bin of 0 holds what is too small to matter beside it.
    if (first == Ordered(0.0F)) return 0.0;
    return FromOrdered(first + (std::uint32_t{1} << (kDroppedBits - 1)));
}

std::uint64_t IntensityHistogram::total() const {
    return std::accumulate(counts_.begin(), counts_.end(), std::uint64_t{0});
}

std::optional<double> IntensityHistogram::Quantile(double fraction) const {
    const std::uint64_t samples = total();
    if (samples == 0) return std::nullopt;
    const double wanted = std::max(1.0, std::ceil(fraction * static_cast<double>(samples)));
    double passed = 0.0;
    std::size_t last = 0;
    for (std::size_t bin = 0; bin < counts_.size(); ++bin) {
        if (counts_[bin] == 0) continue;
        last = bin;
        passed += static_cast<double>(counts_[bin]);
        if (passed >= wanted) break;
    }
    return ValueOf(last);
}

ChannelStatistics::ChannelStatistics(const StackHeader& header)
    : width_(header.width),
      height_(header.height),
      saturation_(SaturationOf(header)),
      histogram_(header.sampleType),
      sums_(static_cast<std::size_t>(header.times)),
      counts_(sums_.size()) {}

// Squares are taken about the mean of the first samples: about 0 they would drown a small spread.
void ChannelStatistics::AddRow(const float* row, double& sum, double& squares, std::uint64_t& finite) {
    const float level =
        saturation_ ? static_cast<float>(*saturation_) : std::numeric_limits<float>::infinity();
    for (int i = 0; i < width_; ++i) {
        const float sample = row[i];
        if (!std::isfinite(sample)) {
            ++nonFinite_;
            continue;
        }
        least_ = std::min(least_, sample);
        largest_ = std::max(largest_, sample);
        saturated_ += sample >= level;
        histogram_.Add(sample);
        ++finite;
        sum += sample;
        const double distance = sample - mean_;
        squares += distance * distance;
    }
}

void ChannelStatistics::AddPlane(int t, const float* rows, std::ptrdiff_t rowStride) {
    double sum = 0.0;
    double squares = 0.0;  // about the mean so far
    std::uint64_t finite = 0;
    for (int j = 0; j < height_; ++j) AddRow(rows + j * rowStride, sum, squares, finite);
    if (finite == 0) return;
    // Chan, Golub and LeVeque, "Algorithms for computing the sample variance", The American Statistician 37 (1983).
    const auto added = static_cast<double>(finite);
    const auto before = static_cast<double>(finite_);
    const double shift = sum / added - mean_;
    squares_ += squares - added * shift * shift + shift * shift * before * added / (before + added);
    mean_ += shift * added / (before + added);
    finite_ += finite;
    sums_[static_cast<std::size_t>(t)] += sum;
    counts_[static_cast<std::size_t>(t)] += finite;
}

std::optional<double> ChannelStatistics::Least() const {
    return finite_ > 0 ? std::optional<double>(least_) : std::nullopt;
}

std::optional<double> ChannelStatistics::Largest() const {
    return finite_ > 0 ? std::optional<double>(largest_) : std::nullopt;
}

std::optional<double> ChannelStatistics::Mean() const {
    return finite_ > 0 ? std::optional(mean_) : std::nullopt;
}

std::optional<double> ChannelStatistics::Deviation() const {
    if (finite_ == 0) return std::nullopt;
    return std::sqrt(std::max(squares_, 0.0) / static_cast<double>(finite_));
}

std::vector<double> ChannelStatistics::MeansOfTimes() const {
    std::vector<double> means;
    for (std::size_t t = 0; t < sums_.size(); ++t)
        means.push_back(sums_[t] / static_cast<double>(counts_[t]));
    return means;
}

std::optional<double> ChannelStatistics::Bleaching() const {
    const std::vector<double> means = MeansOfTimes();
    if (means.size() < 2 || !(means.front() > 0.0) || std::isnan(means.back())) return std::nullopt;
    return means.back() / means.front();
}

}  // namespace rydecon
