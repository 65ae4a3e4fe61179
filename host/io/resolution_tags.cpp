// SPDX-License-Identifier: MIT

#include "io/resolution_tags.h"

#include <cmath>
#include <cstdlib>
#include <limits>

#include "io/length_unit.h"

namespace rydecon {
namespace {

// 72 dpi are 353 micrometres, 1200 dpi are 21: no microscope's. Resolutions finer than these 10 micrometres
// (2540 dpi) nobody sets for a screen or a printer.
constexpr double kCoarsestMicroscope = 10.0;
constexpr double kFinestMicroscope = 1e-3;

std::optional<double> MicroscopeDistance(std::optional<double> samplesPerUnit, double micrometresPerUnit) {
    if (!samplesPerUnit || !(*samplesPerUnit > 0.0)) return std::nullopt;
    const double distance = DistanceFrom(*samplesPerUnit, micrometresPerUnit);
    const bool plausible = distance >= kFinestMicroscope && distance <= kCoarsestMicroscope;
    return plausible ? std::optional(distance) : std::nullopt;
}

}  // namespace

double DistanceFrom(double samplesPerUnit, double micrometresPerUnit) {
    const double distance = micrometresPerUnit / samplesPerUnit;
    if (!std::isfinite(distance) || distance == 0.0) return distance;
    const double step = std::pow(10.0, 6.0 - std::floor(std::log10(std::abs(distance))));
    return std::round(distance * step) / step;
}

VoxelSize VoxelFromResolution(const ResolutionTags& tags) {
    if (tags.unit == RESUNIT_CENTIMETER) return VoxelFromPrintResolution(tags, kMicrometresPerCentimetre);
    if (tags.unit == RESUNIT_INCH) return VoxelFromPrintResolution(tags, kMicrometresPerInch);
    return {};
}

VoxelSize VoxelFromPrintResolution(const ResolutionTags& tags, double micrometresPerUnit) {
    VoxelSize voxel;
    voxel.x = MicroscopeDistance(tags.x, micrometresPerUnit);
    voxel.y = MicroscopeDistance(tags.y, micrometresPerUnit);
    return voxel;
}

std::pair<std::uint32_t, std::uint32_t> ResolutionFraction(double micrometres) {
    // Convergents p/q of the continued fraction of r, as long as both fit.
    const double r = 1.0 / micrometres;
    constexpr double kMost = std::numeric_limits<std::int32_t>::max();  // ImageJ reads signed numbers
    double p = 1.0;
    double q = 0.0;
    double previousP = 0.0;
    double previousQ = 1.0;
    double remainder = r;
    for (int term = 0; term < 64; ++term) {
        const double whole = std::floor(remainder);
        const double nextP = whole * p + previousP;
        const double nextQ = whole * q + previousQ;
        if (nextP > kMost || nextQ > kMost) break;
        previousP = std::exchange(p, nextP);
        previousQ = std::exchange(q, nextQ);
        if (p / q == r || remainder == whole) break;
        remainder = 1.0 / (remainder - whole);
    }
    // Beyond the range of such fractions: the nearest end of it.
    if (q == 0.0) return {static_cast<std::uint32_t>(kMost), 1U};
    if (p == 0.0) return {1U, static_cast<std::uint32_t>(kMost)};
    return {static_cast<std::uint32_t>(p), static_cast<std::uint32_t>(q)};
}

}  // namespace rydecon
