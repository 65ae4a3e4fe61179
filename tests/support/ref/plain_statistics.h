// SPDX-License-Identifier: MIT
#pragma once

// Sums, energies and divergences as plain loops in double over the image columns.

#include <gnr_deconvolution/kernels_3d.h>

#include <cmath>
#include <cstdint>

namespace gnr::ref {

/// Calls visit(float index) for each image sample, plane by plane, row by row.
template <class Visit>
void EachImageSample(const DFT3D& s, Visit visit) {
    for (std::int64_t k = 0; k < s.planes; ++k) {
        for (std::int64_t j = 0; j < s.rows; ++j) {
            for (std::int64_t i = 0; i < s.rowLength - 2; ++i) visit(k * s.planeStride + j * s.rowLength + i);
        }
    }
}

struct Sums {
    double sum = 0.0;
    double squares = 0.0;    ///< each square rounded to float
    double magnitude = 0.0;  ///< sum of |v|, the scale of the sum's rounding
};

inline Sums SumsOf(const DFT3D& s, const float* p) {
    Sums sums;
    EachImageSample(s, [&](std::int64_t n) {
        const float square = p[n] * p[n];
        sums.sum += p[n];
        sums.squares += square;
        sums.magnitude += std::fabs(p[n]);
    });
    return sums;
}

/// Mean I-divergence of a from b over a box, in long double.
struct Box {
    int minX, maxX, minY, maxY, minZ, maxZ;
};
inline double IDivergence(const DFT3D& s, const float* a, const float* b, const Box& box) {
    long double sum = 0.0L;
    for (int z = box.minZ; z < box.maxZ; ++z) {
        for (int y = box.minY; y < box.maxY; ++y) {
            for (int x = box.minX; x < box.maxX; ++x) {
                const std::int64_t n = std::int64_t{z} * s.planeStride + std::int64_t{y} * s.rowLength + x;
                const long double u = a[n];
                const long double v = b[n];
                sum += std::log((u + 1e-20L) / (v + 1e-20L)) * u - u + v;
            }
        }
    }
    const double samples = 1.0 * (box.maxX - box.minX) * (box.maxY - box.minY) * (box.maxZ - box.minZ);
    return static_cast<double>(sum / samples);
}

}  // namespace gnr::ref
