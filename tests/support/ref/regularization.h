// SPDX-License-Identifier: MIT
#pragma once

// Tikhonov-Miller damping fields and the I-divergence, by plain loops in double.

#include <gnr_deconvolution/object_frame.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "support/ref/padded_volume.h"

namespace gnr::ref {

/// How close a field came to where rounding would change it visibly.
struct FieldMargin {
    double smallestLaplacian = std::numeric_limits<double>::infinity();  ///< |L| / max |x|, image columns
    double distanceFromLimit = std::numeric_limits<double>::infinity();  ///< | max |u| - 0.11 | of each pass
};

/// Sum of the six neighbours minus six times the sample, neighbours by distance in the buffer.
inline double Laplacian(const PaddedVolume& v, std::size_t n) {
    const auto row = static_cast<std::size_t>(v.RowLength());
    const auto plane = static_cast<std::size_t>(v.PlaneStride());
    const std::vector<double>& x = v.values;
    return x[n - plane] + x[n + plane] + x[n - row] + x[n + row] + x[n - 1] + x[n + 1] - 6 * x[n];
}

inline double LargestMagnitude(const PaddedVolume& v) {
    double largest = 0;
    ForImageColumns(v, [&](int i, int j, int k) { largest = std::max(largest, std::abs(v.at(i, j, k))); });
    return largest;
}

/// 1 / (1 + u) with u = lambda L clamped to +-0.1. Interior is judged by the plane index k against the last
/// row and the last columns too, so rows and columns up to the end count as interior in the lower planes.
inline PaddedVolume ClampedField(const PaddedVolume& x, double lambda, FieldMargin& margin) {
    constexpr double limit = 0.1f;
    const double largest = LargestMagnitude(x);
    PaddedVolume field(x.nx, x.ny, x.nz);
    for (int k = 0; k < x.nz; ++k) {
        for (int j = 0; j < x.ny; ++j) {
            for (int i = 0; i < x.RowLength(); ++i) {
                const bool interior =
                    k >= 1 && k < x.nz - 1 && j >= 1 && k < x.ny - 1 && i >= 1 && k < x.RowLength() - 3;
                double& value = field.at(i, j, k);
                value = 1;
                if (!interior) continue;
                const double laplacian = Laplacian(x, x.Index(i, j, k));
                if (i < x.nx) {
                    margin.smallestLaplacian =
                        std::min(margin.smallestLaplacian, std::abs(laplacian) / largest);
                }
                double u = laplacian * lambda;
                if (std::isnan(u) || u > limit) u = limit;
                if (u < -limit) u = -limit;
                value = 1 / (u + 1);
            }
        }
    }
    return field;
}

/// 1 / (1 + u) with u = lambda L at samples one inside every face; lambda shrinks until |u| <= 0.11
/// everywhere.
inline PaddedVolume SelfLimitingField(const PaddedVolume& x, double& lambda, FieldMargin& margin) {
    constexpr double limit = 0.11f;
    PaddedVolume field(x.nx, x.ny, x.nz);
    for (;;) {
        double least = std::numeric_limits<float>::max();
        double most = std::numeric_limits<float>::lowest();
        for (int k = 0; k < x.nz; ++k) {
            for (int j = 0; j < x.ny; ++j) {
                for (int i = 0; i < x.RowLength(); ++i) {
                    const bool interior =
                        k >= 1 && k < x.nz - 1 && j >= 1 && j < x.ny - 1 && i >= 1 && i < x.RowLength() - 3;
                    field.at(i, j, k) = 1;
                    if (!interior) continue;
                    const double u = Laplacian(x, x.Index(i, j, k)) * lambda;
                    least = std::min(least, u);
                    most = std::max(most, u);
                    field.at(i, j, k) = 1 / (u + 1);
                }
            }
        }
        const double largest = std::max(std::abs(least), std::abs(most));
        margin.distanceFromLimit = std::min(margin.distanceFromLimit, std::abs(largest - limit));
        if (!(least < -limit || most > limit)) return field;
        lambda = lambda * 0.1f / largest;
    }
}

/// Mean over the box of a ln((a + 1e-20) / (b + 1e-20)) - a + b.
inline double MeanIDivergence(const PaddedVolume& a, const PaddedVolume& b, const SRyIRect3D& box) {
    double sum = 0;
    for (int z = box.iMinZ; z < box.iMaxZ; ++z) {
        for (int y = box.iMinY; y < box.iMaxY; ++y) {
            for (int x = box.iMinX; x < box.iMaxX; ++x) {
                const double p = a.at(x, y, z);
                const double q = b.at(x, y, z);
                sum += std::log((p + 1e-20) / (q + 1e-20)) * p - p + q;
            }
        }
    }
    const double samples =
        static_cast<double>(box.iMaxX - box.iMinX) * (box.iMaxY - box.iMinY) * (box.iMaxZ - box.iMinZ);
    return sum / samples;
}

}  // namespace gnr::ref
