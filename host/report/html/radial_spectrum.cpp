// SPDX-License-Identifier: MIT

#include "report/html/radial_spectrum.h"

#include <gnr_deconvolution/cores.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <numeric>
#include <utility>

#include "report/user_error.h"
#include "volume/padded_volume.h"

namespace rydecon {
namespace {

struct Pitches {
    double x = 1.0;
    double y = 1.0;
    bool physical = false;
};

Pitches PitchesOf(const VoxelSize& voxel) {
    if (voxel.x && voxel.y && *voxel.x > 0.0 && *voxel.y > 0.0) return {*voxel.x, *voxel.y, true};
    return {};
}

/// Hann's window over the samples of an axis, above 0 at both ends.
std::vector<double> WindowOf(int samples) {
    std::vector<double> window(static_cast<std::size_t>(samples), 1.0);
    if (samples == 1) return window;
    for (int i = 0; i < samples; ++i) {
        const double s = std::sin(std::numbers::pi * (i + 0.5) / samples);
        window[static_cast<std::size_t>(i)] = s * s;
    }
    return window;
}

double SumOf(const std::vector<double>& values) {
    return std::accumulate(values.begin(), values.end(), 0.0);
}

/// One plane that the transform likes and that holds the picture.
Extent FrameOf(const StackHeader& header) {
    auto x = static_cast<unsigned>(header.width);
    auto y = static_cast<unsigned>(header.height);
    unsigned z = 1;
    CRy3DLucyRichardsonTMDeconvolutionCore(false).ModifyProposedDimensions(x, y, z, 2, 1, 1);
    return {static_cast<int>(x), static_cast<int>(y), 1};
}

/// The picture without its mean, under the window, zeros around it.
void LayOut(const PaddedVolume& frame, const std::vector<double>& picture, const std::vector<double>& across,
            const std::vector<double>& down) {
    const double mean = SumOf(picture) / static_cast<double>(picture.size());
    auto sample = picture.begin();
    for (std::size_t j = 0; j < down.size(); ++j) {
        float* const row = frame.Row(static_cast<int>(j), 0);
        for (std::size_t i = 0; i < across.size(); ++i) {
            row[i] = static_cast<float>((*sample++ - mean) * across[i] * down[j]);
        }
    }
}

struct RingSums {
    std::vector<double> power;
    std::vector<double> weight;

    explicit RingSums(int rings)
        : power(static_cast<std::size_t>(rings)), weight(static_cast<std::size_t>(rings)) {}

    void Add(double ring, double sample, double times) {
        const auto n = static_cast<std::size_t>(std::lround(ring));
        if (n >= power.size()) return;
        power[n] += times * sample;
        weight[n] += times;
    }
};

/// The half spectrum of a real picture: pairs, each of which stands for its mirror image too, but for the
/// first and the last column.
RingSums SumOverRings(const PaddedVolume& spectrum, const Pitches& pitch, const FrequencyRings& rings) {
    const Extent side = spectrum.logical();
    RingSums sums(rings.count);
    for (int j = 0; j < side.y; ++j) {
        const float* const row = spectrum.Row(j, 0);
        const double v = std::min(j, side.y - j) / (side.y * pitch.y);
        for (int i = 0; i <= side.x / 2; ++i) {
            const double u = i / (side.x * pitch.x);
            const double re = row[2 * i];
            const double im = row[2 * i + 1];
            sums.Add(std::hypot(u, v) / rings.step, re * re + im * im, i == 0 || 2 * i == side.x ? 1.0 : 2.0);
        }
    }
    return sums;
}

}  // namespace

FrequencyRings RingsOf(const StackHeader& header) {
    const Pitches pitch = PitchesOf(header.voxel);
    double longest = 0.0;
    double coarsest = 0.0;
    for (const auto& [samples, distance] : {std::pair(header.width, pitch.x), {header.height, pitch.y}}) {
        if (samples < 2) continue;
        longest = std::max(longest, samples * distance);
        coarsest = std::max(coarsest, distance);
    }
    if (longest == 0.0) return {};
    const double nyquist = 0.5 / coarsest;
    FrequencyRings rings;
    rings.step = std::max(1.0 / longest, nyquist / (kMostRings - 1));
    // The allowance keeps a ring at the Nyquist frequency that a division has left a rounding below it.
    rings.count = static_cast<int>(std::floor(nyquist / rings.step * (1.0 + 1e-9))) + 1;
    rings.physical = pitch.physical;
    return rings;
}

std::vector<double> RadialPower(const std::vector<double>& picture, const StackHeader& header,
                                const FrequencyRings& rings) {
    if (rings.count == 0) return {};
    const std::vector<double> across = WindowOf(header.width);
    const std::vector<double> down = WindowOf(header.height);
    const PaddedVolume frame(FrameOf(header));
    LayOut(frame, picture, across, down);
    if (CRy3DDeconvolutionLow::DFT2D_Transform(&frame.sizes(), frame.data()) != 0) {
        throw UserError("the transform of a picture failed");
    }
    const RingSums sums = SumOverRings(frame, PitchesOf(header.voxel), rings);
    const double windowSum = SumOf(across) * SumOf(down);
    std::vector<double> mean(sums.power.size(), std::numeric_limits<double>::quiet_NaN());
    for (std::size_t n = 0; n < mean.size(); ++n) {
        if (sums.weight[n] > 0.0) mean[n] = sums.power[n] / sums.weight[n] / (windowSum * windowSum);
    }
    mean[0] = 0.0;
    return mean;
}

}  // namespace rydecon
