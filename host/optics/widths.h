// SPDX-License-Identifier: MIT
#pragma once

// Full widths at half maximum: of a computed PSF, and of the closed forms of scalar diffraction.

#include <optional>
#include <vector>

#include "optics/optics.h"

namespace rydecon {

/// In micrometres; empty where a profile does not fall to its half.
struct Widths {
    std::optional<double> x;
    std::optional<double> z;
};

/// Width of a sampled profile about its peak at `peak`, in micrometres. Between samples ln I is taken as
/// linear in the squared distance, which is exact for a Gaussian.
std::optional<double> WidthOfProfile(const std::vector<double>& profile, int peak, double pitch);

/// Closed forms: laterally Airy's disc (2 J1(v) / v)^2, v = 2 pi NA r / lambda; axially sinc^2(u / 2),
/// u = 2 pi z (n - sqrt(n^2 - NA^2)) / lambda. Two-photon takes their squares at the excitation wavelength,
/// confocal the product of excitation and emission, as with a closed pinhole.
/// Source: Born and Wolf 1999, section 8.8
Widths TheoreticalWidths(const Optics& optics);

}  // namespace rydecon
