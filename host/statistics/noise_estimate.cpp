// SPDX-License-Identifier: MIT
#include "statistics/noise_estimate.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

namespace rydecon {
namespace {

constexpr double kGain = 6.0;              // square root of the sum of the filter's squares
constexpr double kNormalMedian = 0.67449;  // of the magnitudes of a normal distribution

/// The lower median of what is not empty.
template <typename T>
T MedianOf(std::vector<T>& values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>((values.size() - 1) / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

double DeviationOf(std::vector<float>& magnitudes) {
    const double median = MedianOf(magnitudes);
    if (median > 0.0) return median / (kNormalMedian * kGain);
    const double sum = std::accumulate(magnitudes.begin(), magnitudes.end(), 0.0);
    return std::sqrt(std::numbers::pi / 2.0) * sum / static_cast<double>(magnitudes.size()) / kGain;
}

}  // namespace

void NoiseEstimate::AddPlane(const float* rows, std::ptrdiff_t rowStride, int width, int height) {
    magnitudes_.clear();
    for (int j = 1; j + 1 < height; ++j) {
        const float* const above = rows + (j - 1) * rowStride;
        const float* const row = above + rowStride;
        const float* const below = row + rowStride;
        for (int i = 1; i + 1 < width; ++i) {
            const auto bend = [i](const float* r) { return double{r[i - 1]} - 2.0 * r[i] + r[i + 1]; };
            const double response = bend(above) - 2.0 * bend(row) + bend(below);
            if (std::isfinite(response)) magnitudes_.push_back(static_cast<float>(std::abs(response)));
        }
    }
    if (!magnitudes_.empty()) planes_.push_back(DeviationOf(magnitudes_));
}

std::optional<double> NoiseEstimate::Deviation() const {
    if (planes_.empty()) return std::nullopt;
    std::vector<double> planes = planes_;
    return MedianOf(planes);
}

}  // namespace rydecon
