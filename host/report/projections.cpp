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
      xz_(static_cast<std::size_t>(header.width) * static_cast<std::size_t>(header.planes()), kNothing),
      yz_(static_cast<std::size_t>(header.height) * static_cast<std::size_t>(header.planes()), kNothing) {}

void Projections::AddPlane(const float* samples, std::ptrdiff_t rowLength) {
    const auto width = static_cast<std::size_t>(header_.width);
    const auto height = static_cast<std::size_t>(header_.height);
    float* const across = xz_.data() + added_ * width;
    for (std::size_t j = 0; j < height; ++j) {
        const float* const row = samples + static_cast<std::ptrdiff_t>(j) * rowLength;
        float* const seenAlongZ = xy_.data() + j * width;
        float& seenAlongX = yz_[j * static_cast<std::size_t>(header_.planes()) + added_];
        for (std::size_t i = 0; i < width; ++i) {
            const float sample = row[i];
            if (!std::isfinite(sample)) {
                ++nonFinite_;
                continue;
            }
            Raise(seenAlongZ[i], sample);
            Raise(across[i], sample);
            Raise(seenAlongX, sample);
        }
    }
    ++added_;
}

Contrast ContrastOf(std::initializer_list<const std::vector<float>*> parts) {
    std::vector<float> samples;
    for (const auto* part : parts) {
        std::copy_if(part->begin(), part->end(), std::back_inserter(samples),
                     [](float sample) { return std::isfinite(sample); });
    }
    if (samples.empty()) return {};
    const Contrast contrast = {Percentile(samples, kBlackPercentile), Percentile(samples, kWhitePercentile)};
    if (contrast.black < contrast.white) return contrast;
    const auto [least, largest] = std::minmax_element(samples.begin(), samples.end());
    return {*least, *largest};
}

Contrast ChooseContrast(const Projections& projections) {
    return ContrastOf({&projections.xy(), &projections.xz()});
}

}  // namespace rydecon
