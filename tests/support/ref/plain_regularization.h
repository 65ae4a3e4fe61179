// SPDX-License-Identifier: MIT
#pragma once

// The damping fields as plain loops over single samples, each condition and each operation as it is defined.

#include <gnr_deconvolution/kernels_3d.h>

#include <cmath>
#include <cstdint>
#include <limits>

namespace gnr::ref {

inline float Laplacian(const DFT3D& s, const float* pf, std::int64_t n) {
    float L = pf[n - s.planeStride] + pf[n + s.planeStride];
    L = L + pf[n - s.rowLength];
    L = L + pf[n + s.rowLength];
    L = L + pf[n - 1];
    L = L + pf[n + 1];
    const float six = pf[n] * 6.0f;
    return L - six;
}

/// field(n, k, j, i) for every float in scan order.
template <class Field>
void Scan(const DFT3D& s, float* out, Field field) {
    for (std::int64_t k = 0; k < s.planes; ++k) {
        for (std::int64_t j = 0; j < s.rows; ++j) {
            for (std::int64_t i = 0; i < s.rowLength; ++i) {
                const std::int64_t n = k * s.planeStride + j * s.rowLength + i;
                out[n] = field(n, k, j, i);
            }
        }
    }
}

inline bool PlaneTested(const DFT3D& s, std::int64_t k, std::int64_t j, std::int64_t i) {
    return k >= 1 && k < s.planes - 1 && j >= 1 && k < s.rows - 1 && i >= 1 && k < s.rowLength - 3;
}

inline void Regularization(const DFT3D& s, float* out, const float* pf, float lambda) {
    Scan(s, out, [&](std::int64_t n, std::int64_t k, std::int64_t j, std::int64_t i) {
        if (!PlaneTested(s, k, j, i)) return 1.0f;
        float u = Laplacian(s, pf, n) * lambda;
        if (!(u <= 0.1f)) u = 0.1f;
        if (u < -0.1f) u = -0.1f;
        return 1.0f / (u + 1.0f);
    });
}

/// Returns the number of passes.
inline int RegularizationIterative(const DFT3D& s, float* out, const float* pf, float& lambda) {
    for (int passes = 1;; ++passes) {
        float least = std::numeric_limits<float>::max();
        float greatest = std::numeric_limits<float>::lowest();
        Scan(s, out, [&](std::int64_t n, std::int64_t k, std::int64_t j, std::int64_t i) {
            const bool interior =
                k >= 1 && k < s.planes - 1 && j >= 1 && j < s.rows - 1 && i >= 1 && i < s.rowLength - 3;
            if (!interior) return 1.0f;
            const float u = Laplacian(s, pf, n) * lambda;
            if (u < least) least = u;
            if (u > greatest) greatest = u;
            return 1.0f / (u + 1.0f);
        });
        if (!(least < -0.11f) && !(greatest > 0.11f)) return passes;
        const float m = std::fabs(least) > std::fabs(greatest) ? std::fabs(least) : std::fabs(greatest);
        lambda = (lambda * 0.1f) / m;
    }
}

inline void RegularizationTotalVariation(const DFT3D& s, float* out, const float* pf, float lambda) {
    Scan(s, out, [&](std::int64_t n, std::int64_t k, std::int64_t j, std::int64_t i) {
        if (!PlaneTested(s, k, j, i)) return 1.0f;
        const float gx = pf[n + 1] - pf[n];
        const float gy = pf[n + s.rowLength] - pf[n];
        const float gz = pf[n + s.planeStride] - pf[n];
        const float x2 = gx * gx;
        const float y2 = gy * gy;
        const float z2 = gz * gz;
        const float m = std::sqrt((y2 + x2) + z2);
        if (!(static_cast<double>(m) > 1e-10)) return 1.0f;
        const float direction = ((gy + gx) + gz) / m;
        return 1.0f / (1.0f - direction * lambda);
    });
}

}  // namespace gnr::ref
