// SPDX-License-Identifier: MIT
#pragma once

// The damped Poisson likelihood and the line search on it. T is double for the ratio, which is continuous;
// the line search takes float, because its sums decide, and where u^N drops below the last digit of a
// constant a sharper arithmetic would decide otherwise.

#include <gnr_deconvolution/object_frame.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "support/ref/padded_volume.h"

namespace gnr::ref {

inline constexpr float kDampingConstant = -0.08f;

/// c (g ln(h / g) - h + g), at most 1.
template <class T>
T DampedDeviation(T g, T h, T c) {
    const T u = c * (g * std::log(h / g) - h + g);
    return u > 1 ? T{1} : u;
}

/// With u below 0 taken as 0 and v = u^N: ((N - 1) / (N + 1)) (1 - v u) + v for u < 1, else u.
template <class T>
T DampedPenalty(T u, T N) {
    if (u < 0) u = 0;
    const T v = std::pow(u, N);
    return u < 1 ? ((N - 1) / (N + 1)) * (1 - v * u) + v : u;
}

/// u^(N-1) (N - (N-1) u) (g - h) / h + 1, and 0 where g or h is below 1e-10.
inline double DampedRatio(double g, double h, double c, double N) {
    if (h < 1e-10f || g < 1e-10f) return 0;
    const double u = std::max(0.0, DampedDeviation(g, h, c));
    return std::pow(u, N - 1) * (N - (N - 1) * u) * (g - h) / h + 1;
}

struct LineSearchTrial {
    double alpha = 0;
    double gain = 0;
    double likelihood = 0;
    double rounding = 0;  ///< bound of what single precision can do to `gain`, relative to another trial
};

struct LineSearchResult {
    double alpha = 1;
    double likelihood = 0;
    std::vector<LineSearchTrial> trials = {};
    bool lostGain = false;
    double gainMargin = std::numeric_limits<double>::infinity();   ///< differences of gains over `rounding`
    double boundMargin = std::numeric_limits<double>::infinity();  ///< distance of an alpha from the bound
};

/// Rounding of one penalty: u loses the last digits of its summands, and h is only as good as a transform of
/// samples up to `largest`.
inline double PenaltyRounding(double g, double h, double u, double largest, double c, double N) {
    constexpr double eps = std::numeric_limits<float>::epsilon();
    const double logarithm = std::abs(std::log(h / g));
    const double ofU = 2 * eps * std::abs(c) * (g * (1 + logarithm) + h + std::abs(1 - g / h) * largest);
    const double at = DampedPenalty(u, N);
    return std::max(std::abs(DampedPenalty(u + ofU, N) - at), std::abs(DampedPenalty(u - ofU, N) - at)) +
           eps * std::max(std::abs(at), std::abs((N - 1) / (N + 1)));
}

inline LineSearchTrial EvaluateTrial(double alpha, const PaddedVolume& observed,
                                     const PaddedVolume& blurredNew, const PaddedVolume& blurredOld, float c,
                                     float N, const SRyIRect3D& box) {
    LineSearchTrial trial{alpha};
    const double largest = *std::max_element(blurredOld.values.begin(), blurredOld.values.end());
    const auto deviation = [&](float h, float g) {
        const float ratio = std::max(h / std::max(g, 1e-30f), 1e-30f);
        return (std::log(ratio) * g - h + g) * c;
    };
    for (int z = box.iMinZ; z < box.iMaxZ; ++z) {
        for (int y = box.iMinY; y < box.iMaxY; ++y) {
            for (int x = box.iMinX; x < box.iMaxX; ++x) {
                const auto g = static_cast<float>(observed.at(x, y, z));
                const auto h0 = static_cast<float>(blurredOld.at(x, y, z));
                const auto h1 = static_cast<float>(blurredNew.at(x, y, z));
                const float h = (h1 - h0) * static_cast<float>(alpha) + h0;
                const float u = deviation(h, g);
                const float at = DampedPenalty(u, N);
                trial.likelihood += -at;
                trial.gain += static_cast<double>(-at) - -DampedPenalty(deviation(h0, g), N);
                if (g > 0 && h > 0) trial.rounding += PenaltyRounding(g, h, u, largest, c, N);
            }
        }
    }
    return trial;
}

/// Doubles alpha as long as the gain doesn't fall, up to the bound and below 8192.
inline LineSearchResult LineSearch(double alpha, double alphaMax, const PaddedVolume& observed,
                                   const PaddedVolume& blurredNew, const PaddedVolume& blurredOld, float c,
                                   float N, const SRyIRect3D& box) {
    LineSearchResult r;
    r.alpha = alpha;
    r.likelihood = std::numeric_limits<double>::lowest();
    const auto nearsBound = [&] {
        r.boundMargin = std::min(r.boundMargin, std::abs(r.alpha - alphaMax) / r.alpha);
    };
    double bestGain = std::numeric_limits<double>::lowest();
    while (r.alpha <= alphaMax && r.alpha < 8192) {
        if (!r.trials.empty()) nearsBound();
        const LineSearchTrial trial = EvaluateTrial(r.alpha, observed, blurredNew, blurredOld, c, N, box);
        r.trials.push_back(trial);
        if (r.trials.size() > 1) {
            r.gainMargin = std::min(r.gainMargin, std::abs(trial.gain - bestGain) / trial.rounding);
        }
        r.lostGain = trial.gain < bestGain;
        if (r.lostGain) break;
        bestGain = trial.gain;
        r.likelihood = trial.likelihood;
        r.alpha *= 2;
    }
    if (!r.lostGain && r.alpha < 8192) nearsBound();
    r.alpha = std::max(r.alpha / 2, 1.0);
    return r;
}

}  // namespace gnr::ref
