// SPDX-License-Identifier: MIT
#include "cleaning/photon_scale.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>

#include "cleaning/plane_filters.h"
#include "io/file_error.h"

namespace rydecon {

namespace {

constexpr std::size_t kGroups = 128;
constexpr double kLeastSamples = 200.0;
constexpr double kMostStructure = 1.5;
constexpr double kLeastSlopePerError = 4.0;
constexpr double kMostPhotons = 1.0e9;

/// Neighbouring samples of the high-pass part share noise: so many make one independent one.
constexpr double kShared = 3.78;
/// Sum of the fourth powers of its taps, which scales the fourth cumulant of the noise.
constexpr double kFourth = (4.0 * 1.0 + 4.0 * 16.0 + 256.0) / 1296.0;

struct Line {
    double slope = 0.0;
    double at0 = 0.0;
    double slopeError = 0.0;
};

/// Weighted least squares of v = at0 + slope m; at0 = -slope offset where the offset is told.
Line FitLine(const std::vector<TransferPoint>& points, const std::vector<double>& weights,
             std::optional<double> offset) {
    double w = 0.0;
    double m = 0.0;
    double v = 0.0;
    for (std::size_t n = 0; n < points.size(); ++n) {
        w += weights[n];
        m += weights[n] * points[n].mean;
        v += weights[n] * points[n].variance;
    }
    m = offset ? *offset : m / w;
    v = offset ? 0.0 : v / w;
    double mm = 0.0;
    double mv = 0.0;
    for (std::size_t n = 0; n < points.size(); ++n) {
        mm += weights[n] * (points[n].mean - m) * (points[n].mean - m);
        mv += weights[n] * (points[n].mean - m) * (points[n].variance - v);
    }
    const double slope = mv / mm;
    return {slope, v - slope * m, 1.0 / std::sqrt(mm)};
}

/// What the variance of a group scatters by: that of Poisson counts of this slope.
double Scatter(const TransferPoint& point, double variance, double slope) {
    return kShared * (2.0 * variance * variance + kFourth * slope * slope * variance) / point.samples;
}

std::vector<TransferPoint> WithoutStructure(const std::vector<TransferPoint>& points) {
    std::vector<TransferPoint> kept;
    for (const TransferPoint& point : points) {
        if (point.samples >= kLeastSamples && point.variance > 0.0 &&
            point.coarseVariance <= kMostStructure * point.variance) {
            kept.push_back(point);
        }
    }
    return kept;
}

struct Bounds {
    float least = std::numeric_limits<float>::infinity();
    float largest = -std::numeric_limits<float>::infinity();
    bool finite = true;
};

Bounds BoundsOf(PlaneSource& from) {
    const Extent shape = from.shape();
    Bounds bounds;
    ForEachPlane(from, [&](const float* plane, int) {
        const std::ptrdiff_t samples = std::ptrdiff_t{shape.x} * shape.y;
        for (const float* sample = plane; sample != plane + samples; ++sample) {
            bounds.least = std::min(bounds.least, *sample);
            bounds.largest = std::max(bounds.largest, *sample);
            bounds.finite = bounds.finite && std::isfinite(*sample);
        }
    });
    return bounds;
}

UserError Refusal(const std::filesystem::path& path, const char* text, double a = 0.0, double b = 0.0) {
    char line[240];
    std::snprintf(line, sizeof line, text, a, b);
    return UserError("--stop split cannot count the photons of " + Quoted(path) + ": " + line);
}

}  // namespace

std::vector<TransferPoint> MeasureTransfer(PlaneSource& from, double least, double largest) {
    const Extent shape = from.shape();
    std::array<TransferPoint, kGroups> sums{};
    if (!(largest > least)) return {};
    ForEachPlane(from, [&](const float* plane, int) {
        const std::vector<float> means = LocalMeans(plane, shape.x, shape.y);
        for (int j = 2; j + 2 < shape.y; ++j) {
            for (int i = 2; i + 2 < shape.x; ++i) {
                const double mean =
                    double{means[static_cast<std::size_t>(j) * static_cast<std::size_t>(shape.x) +
                                 static_cast<std::size_t>(i)]};
                // Roots spread the groups as the noise spreads with light.
                const double group = std::sqrt(std::max(0.0, (mean - least) / (largest - least))) * kGroups;
                TransferPoint& sum = sums[std::min(static_cast<std::size_t>(group), kGroups - 1)];
                const double fine = HighPass(plane, shape.x, i, j, 1);
                const double coarse = HighPass(plane, shape.x, i, j, 2);
                sum.mean += MeanOfHighPass(plane, shape.x, i, j);
                sum.variance += fine * fine;
                sum.coarseVariance += coarse * coarse;
                sum.samples += 1.0;
            }
        }
    });
    std::vector<TransferPoint> points;
    for (const TransferPoint& sum : sums) {
        if (sum.samples == 0.0) continue;
        points.push_back({sum.mean / sum.samples, sum.variance / sum.samples,
                          sum.coarseVariance / sum.samples, sum.samples});
    }
    return points;
}

std::optional<PhotonScale> FitTransfer(const std::vector<TransferPoint>& points,
                                       std::optional<double> offset) {
    constexpr int kRounds = 8;
    const std::vector<TransferPoint> kept = WithoutStructure(points);
    if (kept.size() < 2) return {};
    const double ground = offset.value_or(kept.front().mean);
    double variance = 0.0;
    double light = 0.0;
    for (const TransferPoint& point : kept) {
        variance += point.samples * point.variance;
        light += point.samples * std::max(0.0, point.mean - ground);
    }
    Line line{light > 0.0 ? variance / light : 0.0, 0.0, 0.0};
    std::vector<double> weights(kept.size());
    for (int round = 0; round < kRounds; ++round) {
        for (std::size_t n = 0; n < kept.size(); ++n) {
            const double fitted = line.at0 + line.slope * kept[n].mean;
            const double v = round == 0 ? kept[n].variance : std::max(fitted, 0.1 * kept[n].variance);
            weights[n] = 1.0 / Scatter(kept[n], v, line.slope);
        }
        line = FitLine(kept, weights, offset);
        if (!(line.slope > 0.0)) return {};
    }
    if (!(line.slope > kLeastSlopePerError * line.slopeError)) return {};
    return PhotonScale{line.slope, offset.value_or(-line.at0 / line.slope), true, !offset};
}

std::optional<PhotonScale> FindPhotonScale(PlaneSource& from, const PhotonChoice& choice,
                                           const std::filesystem::path& path) {
    const Bounds bounds = BoundsOf(from);
    if (!bounds.finite || bounds.least == bounds.largest) return {};
    if (!choice.offset && bounds.least < 0.0f) {
        throw Refusal(
            path, "it has samples below 0 (%g); tell the --offset of the camera, or restore the raw image",
            double{bounds.least});
    }
    PhotonScale scale;
    if (choice.gain) {
        scale = {*choice.gain, choice.offset.value_or(0.0), false, false};
    } else {
        const auto fitted =
            FitTransfer(MeasureTransfer(from, double{bounds.least}, double{bounds.largest}), choice.offset);
        if (!fitted || (double{bounds.largest} - fitted->offset) / fitted->gain > kMostPhotons) {
            throw Refusal(
                path,
                "it shows no noise of its own in each sample that grows with the light; tell --gain, "
                "in units of the image per photon");
        }
        scale = *fitted;
    }
    const double most = (double{bounds.largest} - scale.offset) / scale.gain;
    if (!(most >= 1.0) || most > kMostPhotons) {
        throw Refusal(path, "--gain %g makes its brightest sample %.3g photons; 1 to 1e9 are needed",
                      scale.gain, most);
    }
    return scale;
}

}  // namespace rydecon
