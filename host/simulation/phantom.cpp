// SPDX-License-Identifier: MIT

#include "simulation/phantom.h"

#include <algorithm>
#include <cmath>

#include "random/random_numbers.h"

namespace rydecon {
namespace {

constexpr int kFilaments = 12;
constexpr int kShells = 5;
constexpr float kShellBrightness = 0.25f;
constexpr float kBrightestPoint = 16.0f;
constexpr std::uint64_t kGeometryStream = 0;

struct Position {  // in samples
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
};

struct Region {
    Position low;
    Position high;
};

/// Where filaments and shells may be: clear of the faces and of the points.
Region RegionFor(const Extent& size) {
    const Position last = {size.x - 1.0, size.y - 1.0, size.z - 1.0};
    return {{0.12 * last.x, 0.28 * last.y, 0.15 * last.z}, {0.88 * last.x, 0.88 * last.y, 0.85 * last.z}};
}

Position RandomPosition(const Region& region, RandomNumbers& random) {
    const double x = random.Uniform(region.low.x, region.high.x);
    const double y = random.Uniform(region.low.y, region.high.y);
    const double z = random.Uniform(region.low.z, region.high.z);
    return {x, y, z};
}

double Distance(const Position& a, const Position& b, const Pitch& pitch) {
    const double x = (a.x - b.x) * pitch.x;
    const double y = (a.y - b.y) * pitch.y;
    const double z = (a.z - b.z) * pitch.z;
    return std::sqrt(x * x + y * y + z * z);
}

/// Shares `amount` among the eight samples around a position, so that their centroid is there.
void Deposit(SampleBox& box, const Position& at, double amount) {
    const Extent& size = box.size();
    const int i = std::clamp(static_cast<int>(at.x), 0, size.x - 2);
    const int j = std::clamp(static_cast<int>(at.y), 0, size.y - 2);
    const int k = std::clamp(static_cast<int>(at.z), 0, size.z - 2);
    const double x[] = {1.0 - (at.x - i), at.x - i};
    const double y[] = {1.0 - (at.y - j), at.y - j};
    const double z[] = {1.0 - (at.z - k), at.z - k};
    for (int n = 0; n < 8; ++n) {
        const int right = n & 1;
        const int down = (n >> 1) & 1;
        const int deeper = n >> 2;
        box.At(i + right, j + down, k + deeper) +=
            static_cast<float>(amount * x[right] * y[down] * z[deeper]);
    }
}

/// Bezier curve of four control points, which stays within their hull.
Position OnCurve(const std::array<Position, 4>& control, double t) {
    const double s = 1.0 - t;
    const double weights[] = {s * s * s, 3.0 * s * s * t, 3.0 * s * t * t, t * t * t};
    Position at;
    for (std::size_t n = 0; n < control.size(); ++n) {
        at.x += weights[n] * control[n].x;
        at.y += weights[n] * control[n].y;
        at.z += weights[n] * control[n].z;
    }
    return at;
}

void AddFilament(SampleBox& box, const Region& region, const Pitch& pitch, RandomNumbers& random) {
    std::array<Position, 4> control;
    for (auto& position : control) position = RandomPosition(region, random);
    const double brightness = random.Uniform(1.0, 2.0);

    double longest = 0.0;
    for (std::size_t n = 1; n < control.size(); ++n) longest += Distance(control[n - 1], control[n], pitch);
    const double finest = std::min({pitch.x, pitch.y, pitch.z});
    const int steps = static_cast<int>(std::clamp(4.0 * longest / finest, 8.0, 1.0e6));

    Position previous = control.front();
    for (int n = 1; n <= steps; ++n) {
        const Position next = OnCurve(control, static_cast<double>(n) / steps);
        Deposit(box, next, brightness * Distance(previous, next, pitch) / finest);
        previous = next;
    }
}

/// Adds a hollow ball; `wall` is half the thickness of its wall, in micrometres as the radius.
void AddShell(SampleBox& box, const Position& centre, double radius, double wall, const Pitch& pitch) {
    const Extent& size = box.size();
    const auto first = [&](double c, double p) {
        return std::max(0, static_cast<int>(c - (radius + wall) / p));
    };
    const auto last = [&](double c, double p, int side) {
        return static_cast<int>(std::min(side - 1.0, c + (radius + wall) / p + 1.0));
    };
    for (int k = first(centre.z, pitch.z); k <= last(centre.z, pitch.z, size.z); ++k) {
        for (int j = first(centre.y, pitch.y); j <= last(centre.y, pitch.y, size.y); ++j) {
            for (int i = first(centre.x, pitch.x); i <= last(centre.x, pitch.x, size.x); ++i) {
                const Position at = {static_cast<double>(i), static_cast<double>(j), static_cast<double>(k)};
                const double fromWall = std::abs(Distance(at, centre, pitch) - radius);
                const double weight = std::max(0.0, 1.0 - fromWall / wall);
                box.At(i, j, k) += static_cast<float>(kShellBrightness * weight);
            }
        }
    }
}

void AddRandomShell(SampleBox& box, const Region& region, const Pitch& pitch, RandomNumbers& random) {
    const Position side = {(region.high.x - region.low.x) * pitch.x, (region.high.y - region.low.y) * pitch.y,
                           (region.high.z - region.low.z) * pitch.z};
    const double radius = random.Uniform(0.08, 0.2) * std::min({side.x, side.y, side.z});
    const double wall = std::max({pitch.x, pitch.y, pitch.z});  // so that no plane slips through it

    // The centre keeps the whole shell in the region; where that is too narrow, it is in the middle.
    const auto shrink = [&](double& low, double& high, double p) {
        const double inset = std::min((radius + wall) / p, (high - low) / 2.0);
        low += inset;
        high -= inset;
    };
    Region centres = region;
    shrink(centres.low.x, centres.high.x, pitch.x);
    shrink(centres.low.y, centres.high.y, pitch.y);
    shrink(centres.low.z, centres.high.z, pitch.z);
    AddShell(box, RandomPosition(centres, random), radius, wall, pitch);
}

}  // namespace

std::array<PhantomPoint, 4> PhantomPoints(const Extent& size) {
    std::array<PhantomPoint, 4> points;
    float brightness = kBrightestPoint;
    for (int n = 0; n < 4; ++n) {
        points[static_cast<std::size_t>(n)] = {(n + 1) * size.x / 5, size.y / 8, size.z / 2, brightness};
        brightness /= 2.0f;
    }
    return points;
}

SampleBox MakePhantom(const Extent& size, const Pitch& pitch, std::uint64_t seed) {
    SampleBox box(size);
    RandomNumbers random(seed, kGeometryStream);
    const Region region = RegionFor(size);
    for (int n = 0; n < kFilaments; ++n) AddFilament(box, region, pitch, random);
    for (int n = 0; n < kShells; ++n) AddRandomShell(box, region, pitch, random);
    for (const auto& point : PhantomPoints(size)) box.At(point.x, point.y, point.z) = point.brightness;
    return box;
}

}  // namespace rydecon
