// SPDX-License-Identifier: MIT
#include "cleaning/saturation.h"

#include <algorithm>
#include <cmath>

namespace rydecon {

namespace {

constexpr int kLeastLevel = -32768;
constexpr int kLevels = 32768 + 65536;

/// Below it the levels are too coarse to tell a plateau from a histogram's end.
constexpr int kLeastPlateau = 64;
constexpr int kPartBelow = 64;
constexpr long long kTimesBelow = 10;
constexpr long long kTimesBelowFullScale = 2;

bool IsFullScale(int level) {
    return level >= 255 && ((level + 1) & level) == 0;
}

}  // namespace

LevelCount::LevelCount(const std::string& sampleType, std::optional<int> significantBits) {
    // Of 32 bits the largest value as float32 has it.
    static const std::map<std::string, double> tops = {{"uint8", 255.0},         {"int8", 127.0},
                                                       {"uint16", 65535.0},      {"int16", 32767.0},
                                                       {"uint32", 4294967296.0}, {"int32", 2147483648.0}};
    const auto found = tops.find(sampleType);
    if (found == tops.end()) return;
    top_ = found->second;
    if (top_ < 65536.0) at_.assign(kLevels, 0);
    if (significantBits && *significantBits > 0 && *significantBits <= 32) {
        told_ = std::min(top_, std::exp2(*significantBits) - 1.0);
    }
}

void LevelCount::Add(const float* samples, std::size_t count) {
    all_ += static_cast<long long>(count);
    for (std::size_t n = 0; n < count; ++n) {
        if (at_.empty()) {
            atTop_ += double{samples[n]} >= top_ ? 1 : 0;
        } else {
            const int level = std::clamp(static_cast<int>(samples[n]), kLeastLevel, 65535);
            ++at_[static_cast<std::size_t>(level - kLeastLevel)];
        }
    }
}

long long LevelCount::CountBetween(int from, int to) const {
    long long count = 0;
    for (int level = from; level < to; ++level) count += at_[static_cast<std::size_t>(level - kLeastLevel)];
    return count;
}

long long LevelCount::CountFrom(double level) const {
    if (at_.empty()) return atTop_;
    return CountBetween(static_cast<int>(level), kLevels + kLeastLevel);
}

Saturation LevelCount::Find() const {
    if (!counts()) return {};
    for (const double top : {top_, told_}) {
        if (top == 0.0 || (at_.empty() && top != top_)) continue;
        if (const long long samples = CountFrom(top); samples > 1) return {samples, top};
    }
    const auto last = std::find_if(at_.rbegin(), at_.rend(), [](long long count) { return count > 0; });
    if (last == at_.rend()) return {};
    const int largest = static_cast<int>(at_.rend() - last) - 1 + kLeastLevel;
    if (largest < kLeastPlateau) return {};
    const long long below = CountBetween(largest - largest / kPartBelow, largest);
    const long long times = IsFullScale(largest) ? kTimesBelowFullScale : kTimesBelow;
    const long long least = std::max(2LL, times * std::max(below, 1LL));
    if (*last < least || 2 * *last > all_) return {};
    return {*last, static_cast<double>(largest)};
}

}  // namespace rydecon
