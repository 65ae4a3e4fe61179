// SPDX-License-Identifier: MIT
#pragma once

// The one-call direct Wiener restoration, in double: the conjugate of the PSF's spectrum goes into a filter
// that conjugates once more.

#include "support/ref/wiener.h"

namespace gnr::ref {

/// The restored volume before its negative samples are cut.
inline RealVolume WienerEntryUncut(const RealVolume& image, const RealVolume& psf, double K) {
    constexpr double kGuard = 1e-10;
    const double sum = Sum(image);
    RealVolume normalised = image;
    for (double& v : normalised.values) v /= sum + kGuard;
    ComplexVolume spectrum = Forward(normalised);
    const ComplexVolume H = Forward(psf);
    const double e0 = std::norm(spectrum.at(0, 0, 0));
    for (std::size_t n = 0; n < spectrum.values.size(); ++n) {
        spectrum.values[n] *= e0 * H.values[n] / (e0 * std::norm(H.values[n]) + K);
    }
    RealVolume restored = Inverse(spectrum);
    const double scale = (sum + kGuard) / (Sum(restored) + kGuard);
    for (double& v : restored.values) v *= scale;
    return restored;
}

inline RealVolume WienerEntry(const RealVolume& image, const RealVolume& psf, double K) {
    RealVolume restored = WienerEntryUncut(image, psf, K);
    for (double& v : restored.values) v = v > 0 ? v : 0.0;
    return restored;
}

}  // namespace gnr::ref
