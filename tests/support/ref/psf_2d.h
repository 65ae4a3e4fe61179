// SPDX-License-Identifier: MIT
#pragma once

// The helpers around 2D PSFs by their formulas: plain loops, every sample by itself.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace gnr::ref {

/// Intensity of the focal field at axial coordinate u and radial coordinate v, in double throughout.
inline double FocalIntensity(double u, double v, double alpha, double waveNumber, unsigned steps) {
    const double k = waveNumber * 6.2831853071796;
    double re[3] = {};
    double im[3] = {};
    for (unsigned i = 0; i < steps; ++i) {
        const double theta = i * alpha / steps;
        const double s = std::sin(theta);
        const double c = std::cos(theta);
        const double a[3] = {::jn(0, k * v * s) * std::sqrt(c) * s * (c + 1.0),
                             ::jn(1, k * v * s) * std::sqrt(c) * s * s,
                             ::jn(2, k * v * s) * std::sqrt(c) * s * (1.0 - c)};
        for (int m = 0; m < 3; ++m) {
            re[m] += std::cos(k * u * c) * a[m];
            im[m] += std::sin(k * u * c) * a[m];
        }
    }
    const auto power = [&](int m) {
        return std::pow(re[m] * alpha / steps, 2) + std::pow(im[m] * alpha / steps, 2);
    };
    return 2.0 * power(1) + power(0) + power(2);
}

inline std::vector<double> FocalPlane(unsigned w, unsigned h, double span, double alpha, double waveNumber,
                                      unsigned steps) {
    std::vector<double> plane;
    for (unsigned y = 0; y < h; ++y) {
        for (unsigned x = 0; x < w; ++x) {
            const double u = (x - w * 0.5) * span / w;
            const double v = (y - h * 0.5) * span / h;
            plane.push_back(x > w / 2 ? 0.0 : FocalIntensity(u, v, alpha, waveNumber, steps));
        }
    }
    return plane;
}

/// One column of a plane turned about the middle, before the division by the sum.
inline std::vector<double> TurnedColumn(const std::vector<float>& plane, int w, int h, int column) {
    const int c = w / 2 - (column < w / 2 ? column : w / 2);
    const auto at = [&](int j) {
        return j < w && j < h ? double{plane[static_cast<std::size_t>(c + j * w)]} : 0.0;
    };
    std::vector<double> out;
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            const double r = std::sqrt(std::pow(x - w / 2, 2) + std::pow(y - h / 2, 2));
            if (!(r < h / 2 - 1)) {
                out.push_back(0.0);
                continue;
            }
            const double t = h / 2 - r;
            const double f = std::ceil(t) - t;
            out.push_back(at(static_cast<int>(std::floor(t))) * f +
                          at(static_cast<int>(std::ceil(t))) * (1 - f));
        }
    }
    return out;
}

}  // namespace gnr::ref
