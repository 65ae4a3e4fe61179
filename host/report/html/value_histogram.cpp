// SPDX-License-Identifier: MIT

#include "report/html/value_histogram.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace rydecon {
namespace {

constexpr int kFloatDigits = std::numeric_limits<float>::digits;
constexpr int kLeastExponent = std::numeric_limits<float>::min_exponent - kFloatDigits;  // denormals

/// std::floor without the call, for numbers well inside 64 bits.
std::int64_t Floor(double x) {
    const auto truncated = static_cast<std::int64_t>(x);
    return truncated - (x < static_cast<double>(truncated) ? 1 : 0);
}

/// Narrowest bins, no narrower than 2^exponent, of which `bins` hold both ends of the range.
int ExponentFor(float least, float largest, int exponent, int bins) {
    const auto span = [&] {
        return std::floor(std::ldexp(double{largest}, -exponent)) -
               std::floor(std::ldexp(double{least}, -exponent));
    };
    while (span() >= bins) ++exponent;
    return exponent;
}

std::int64_t BinOf(float sample, int exponent) {
    return Floor(std::ldexp(double{sample}, -exponent));
}

/// As fine as the digits of this sample, so that bin numbers stay small integers.
int FinestExponent(float sample) {
    return sample == 0.0f ? kLeastExponent : std::max(std::ilogb(sample) - kFloatDigits + 1, kLeastExponent);
}

}  // namespace

void ValueHistogram::AddRow(const float* samples, std::size_t count) {
    float least = std::numeric_limits<float>::infinity();
    float largest = -least;
    for (std::size_t i = 0; i < count; ++i) {
        if (!std::isfinite(samples[i])) continue;
        least = std::min(least, samples[i]);
        largest = std::max(largest, samples[i]);
    }
    if (!(least <= largest)) return;
    Fit(least, largest);
    const double perWidth = std::ldexp(1.0, -exponent_);
    for (std::size_t i = 0; i < count; ++i) {
        if (!std::isfinite(samples[i])) continue;
        ++counts_[static_cast<std::size_t>(Floor(samples[i] * perWidth) - first_)];
    }
}

void ValueHistogram::Fit(float least, float largest) {
    if (empty()) {
        exponent_ = FinestExponent(least);
    } else if (least >= least_ && largest <= largest_) {
        return;
    } else {
        least = std::min(least, least_);
        largest = std::max(largest, largest_);
    }
    const int exponent = ExponentFor(least, largest, exponent_, kBins);
    const std::int64_t first = BinOf(least, exponent);
    counts_ = empty() ? std::vector<std::uint64_t>(kBins) : CountsIn(exponent, first, kBins);
    exponent_ = exponent;
    first_ = first;
    least_ = least;
    largest_ = largest;
}

std::vector<std::uint64_t> ValueHistogram::CountsIn(int exponent, std::int64_t first, int bins) const {
    std::vector<std::uint64_t> counts(static_cast<std::size_t>(bins));
    const int halvings = std::min(exponent - exponent_, 62);
    std::int64_t number = first_;
    for (const std::uint64_t count : counts_) {
        if (count > 0) counts[static_cast<std::size_t>((number >> halvings) - first)] += count;
        ++number;
    }
    return counts;
}

HistogramPair OnSameBins(const ValueHistogram& before, const ValueHistogram& after, int mostBins) {
    if (before.empty() && after.empty()) return {};
    const ValueHistogram& some = before.empty() ? after : before;
    const ValueHistogram& other = after.empty() ? before : after;
    const float least = std::min(some.least(), other.least());
    const float largest = std::max(some.largest(), other.largest());
    const int exponent = ExponentFor(least, largest, std::max(some.exponent(), other.exponent()), mostBins);
    const std::int64_t first = BinOf(least, exponent);
    const int bins = static_cast<int>(BinOf(largest, exponent) - first) + 1;
    HistogramPair pair;
    pair.width = std::ldexp(1.0, exponent);
    pair.start = static_cast<double>(first) * pair.width;
    pair.before = before.CountsIn(exponent, first, bins);
    pair.after = after.CountsIn(exponent, first, bins);
    return pair;
}

}  // namespace rydecon
