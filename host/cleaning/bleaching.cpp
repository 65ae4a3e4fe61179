// SPDX-License-Identifier: MIT
#include "cleaning/bleaching.h"

#include <cstdio>
#include <numeric>

namespace rydecon {

namespace {

/// Lamps drift by less.
constexpr double kLeastFall = 0.1;

}  // namespace

std::string BleachingNote(const std::vector<double>& means, double ground) {
    if (means.size() < 2) return "";
    const std::size_t quarter = (means.size() + 3) / 4;
    const auto count = static_cast<std::ptrdiff_t>(quarter);
    const double first =
        std::accumulate(means.begin(), means.begin() + count, 0.0) / static_cast<double>(quarter);
    const double last = std::accumulate(means.end() - count, means.end(), 0.0) / static_cast<double>(quarter);
    if (!(first > ground) || !(first - last >= kLeastFall * (first - ground))) return "";
    char text[160];
    std::snprintf(
        text, sizeof text,
        "the mean falls from %.4g to %.4g (by %.0f %%) over %zu time points; bleaching is not corrected",
        first, last, 100.0 * (first - last) / (first - ground), means.size());
    return text;
}

}  // namespace rydecon
