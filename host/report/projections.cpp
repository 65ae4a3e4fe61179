// SPDX-License-Identifier: MIT

#include "report/projections.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

namespace rydecon {
namespace {

constexpr double kBlackPercentile = 1.0;
constexpr double kWhitePercentile = 99.9;
constexpr float kNothing = std::numeric_limits<float>::quiet_NaN();

/// Any number exceeds nothing.
void Raise(float& largest, float sample) {
    if (!(largest >= sample)) largest = sample;
}

float Percentile(std::vector<float>& samples, double percent) {
    const double rank = std::round(percent / 100.0 * static_cast<double>(samples.size() - 1));
    const auto place = samples.begin() + static_cast<std::ptrdiff_t>(rank);
    std::nth_element(samples.begin(), place, samples.end());
    return *place;
}

}  // namespace

Projections::Projections(const StackHeader& header)
    : header_(header),
      xy_(static_cast<std::size_t>(header.width) * static_cast<std::size_t>(header.height), kNothing),
      xz_(static_cast<std::size_t>(header.width) * static_cast<std::size_t>(header.planes()), kNothing) {}

void Projections::AddPlane(const float* samples) {
    const auto width = static_cast<std::size_t>(header_.width);
    float* const across = xz_.data() + added_++ * width;
    for (std::size_t n = 0; n < xy_.size(); n += width) {
        for (std::size_t i = 0; i < width; ++i) {
            const float sample = samples[n + i];
            if (!std::isfinite(sample)) {
                ++nonFinite_;
                continue;
            }
            Raise(xy_[n + i], sample);
            Raise(across[i], sample);
        }
    }
}

Contrast ChooseContrast(const Projections& projections) {
    std::vector<float> samples;
    samples.reserve(projections.xy().size() + projections.xz().size());
    for (const auto* part : {&projections.xy(), &projections.xz()}) {
        std::copy_if(part->begin(), part->end(), std::back_inserter(samples),
                     [](float sample) { return std::isfinite(sample); });
    }
    if (samples.empty()) return {};
    const Contrast contrast = {Percentile(samples, kBlackPercentile), Percentile(samples, kWhitePercentile)};
    if (contrast.black < contrast.white) return contrast;
    const auto [least, largest] = std::minmax_element(samples.begin(), samples.end());
    return {*least, *largest};
}

}  // namespace rydecon
