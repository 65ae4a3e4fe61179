// SPDX-License-Identifier: MIT
#include "optics/widths.h"

#include <math.h>

#include <cmath>
#include <functional>
#include <numbers>

namespace rydecon {

namespace {

using enum Quantity;
using Profile = std::function<double(double)>;

/// Distance from the peak, in samples, at which the profile falls to its half in direction `step`.
std::optional<double> HalfWidth(const std::vector<double>& profile, int peak, int step) {
    const auto at = [&](int n) { return profile[static_cast<std::size_t>(n)]; };
    const double half = 0.5 * at(peak);
    for (int n = peak + step; n >= 0 && n < static_cast<int>(profile.size()); n += step) {
        if (at(n) > half) continue;
        const double outer = std::abs(n - peak);
        const double inner = outer - 1.0;
        const double above = at(n - step);
        if (!(at(n) > 0.0)) return inner + (above - half) / (above - at(n));
        const double part = std::log(above / half) / std::log(above / at(n));
        return std::sqrt(inner * inner + part * (outer * outer - inner * inner));
    }
    return std::nullopt;
}

double AiryDisc(double v) {
    if (std::abs(v) < 1e-6) return 1.0;
    const double a = 2.0 * ::j1(v) / v;
    return a * a;
}

double SquaredSinc(double half) {
    if (std::abs(half) < 1e-6) return 1.0;
    const double s = std::sin(half) / half;
    return s * s;
}

/// Twice the distance, up to `zero`, at which a falling profile of peak 1 is 1/2; by bisection.
double FullWidth(const Profile& profile, double zero) {
    double inside = 0.0;
    double outside = zero;
    for (int n = 0; n < 60; ++n) {
        const double middle = 0.5 * (inside + outside);
        (profile(middle) > 0.5 ? inside : outside) = middle;
    }
    return inside + outside;
}

/// The closed forms at one wavelength.
struct Diffraction {
    double lateral;  // v = lateral r
    double axial;    // u / 2 = axial z

    Diffraction(const Optics& optics, Quantity wavelength) {
        const double na = optics.Value(NumericalAperture);
        const double n = optics.Value(RefractiveIndex);
        const double k = 2.0 * std::numbers::pi / optics.Value(wavelength);
        lateral = k * na;
        axial = 0.5 * k * (n - std::sqrt(n * n - na * na));
    }
    double X(double r) const { return AiryDisc(lateral * r); }
    double Z(double z) const { return SquaredSinc(axial * z); }
    double FirstZeroX() const { return 3.8317 / lateral; }
    double FirstZeroZ() const { return std::numbers::pi / axial; }
};

/// Widths of the product of the patterns of two wavelengths.
Widths WidthsOfProduct(const Diffraction& a, const Diffraction& b) {
    return {FullWidth([&](double r) { return a.X(r) * b.X(r); }, a.FirstZeroX()),
            FullWidth([&](double z) { return a.Z(z) * b.Z(z); }, a.FirstZeroZ())};
}

}  // namespace

std::optional<double> WidthOfProfile(const std::vector<double>& profile, int peak, double pitch) {
    const auto below = HalfWidth(profile, peak, -1);
    const auto above = HalfWidth(profile, peak, 1);
    if (!below || !above) return std::nullopt;
    return (*below + *above) * pitch;
}

Widths TheoreticalWidths(const Optics& optics) {
    const std::string& name = optics.modality->name;
    if (name == "two-photon") {
        const Diffraction excitation(optics, Excitation);
        return WidthsOfProduct(excitation, excitation);
    }
    const Diffraction emission(optics, Emission);
    const bool confocal = name == "confocal" || name == "confocal-1um";
    if (confocal && optics[Excitation]) return WidthsOfProduct(emission, Diffraction(optics, Excitation));
    return {FullWidth([&](double r) { return emission.X(r); }, emission.FirstZeroX()),
            FullWidth([&](double z) { return emission.Z(z); }, emission.FirstZeroZ())};
}

}  // namespace rydecon
