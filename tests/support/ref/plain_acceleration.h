// SPDX-License-Identifier: MIT
#pragma once

// The exponent of the accelerated loops as a plain loop, its stale scratch included.

#include <gnr_deconvolution/kernels_3d.h>

#include <cmath>
#include <cstdint>
#include <vector>

namespace gnr::ref {

inline float ExponentOfNextStep(const DFT3D& s, const float* a, const float* b, const float* c,
                                const float* d) {
    std::vector<float> first(static_cast<std::size_t>(s.planeStride), 0.0f);
    std::vector<float> second(first);
    double numerator = 0.0;
    double denominator = 0.0;
    for (std::int64_t k = 0; k < s.planes; ++k) {
        const std::int64_t plane = k * s.planeStride;
        for (std::int64_t i = 0; i < s.planeStride; ++i) {
            if (i % s.rowLength >= s.rowLength - 2) continue;
            if (!(static_cast<double>(c[plane + i]) > 1e-10)) continue;
            if (!(static_cast<double>(d[plane + i]) > 1e-10)) continue;
            const float tFloat = log10f(d[plane + i]) * b[plane + i];
            const float uFloat = log10f(c[plane + i]) * a[plane + i];
            const double t = tFloat;
            const double u = uFloat;
            first[static_cast<std::size_t>(i)] = static_cast<float>(u * t);
            second[static_cast<std::size_t>(i)] = static_cast<float>(t * t);
        }
        for (const float term : first) numerator += term;
        for (const float term : second) denominator += term;
    }
    if (!(denominator > 1e-10)) return 0.0f;
    const double alpha = numerator / denominator;
    if (!(alpha > 0.0)) return 0.0f;
    if (!(alpha < 1.0)) return 1.0f;
    return static_cast<float>(alpha);
}

}  // namespace gnr::ref
