// SPDX-License-Identifier: MIT
#pragma once

// The direct Wiener restoration, in double, step by step as it is defined.

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>

#include "support/ref/direct_dft.h"

namespace gnr::ref {

/// Noise constant K from the integer part of the regularisation setting.
inline double WienerConstant(double regularization) {
    const double part = std::trunc(regularization);
    if (part == 1) return 0.03;
    if (part == 2) return 0.08;
    if (part == 3) return 0.2;
    if (part == 4) return 0.5;
    return 0.01;
}

inline double Sum(const RealVolume& volume) {
    double sum = 0.0;
    for (const double v : volume.values) sum += v;
    return sum;
}

/// The restored volume before its negative samples are cut. The PSF's peak is at sample (0, 0, 0).
inline RealVolume WienerUncut(const RealVolume& image, const RealVolume& psf, double regularization) {
    constexpr double kGuard = 1e-10;
    const double K = WienerConstant(regularization);
    const double sum = Sum(image);

    RealVolume normalised = image;
    for (double& v : normalised.values) v *= 1 / (sum + kGuard);
    ComplexVolume A = Forward(normalised);
    const ComplexVolume B = Forward(psf);
    const double e0 = std::norm(A.at(0, 0, 0));
    for (std::size_t n = 0; n < A.values.size(); ++n) {
        A.values[n] *= e0 * std::conj(B.values[n]) / (e0 * std::norm(B.values[n]) + K);
    }
    RealVolume restored = Inverse(A);
    const double scale = (sum + kGuard) / (Sum(restored) + kGuard);
    for (double& v : restored.values) v *= scale;
    return restored;
}

/// The restored volume.
inline RealVolume Wiener(const RealVolume& image, const RealVolume& psf, double regularization) {
    RealVolume restored = WienerUncut(image, psf, regularization);
    for (double& v : restored.values) v = v > 0 ? v : 0.0;
    return restored;
}

/// Largest magnitude, the yardstick of comparisons.
inline double Largest(const RealVolume& volume) {
    double largest = 0.0;
    for (const double v : volume.values) largest = std::max(largest, std::abs(v));
    return largest;
}

}  // namespace gnr::ref
