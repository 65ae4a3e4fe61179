// SPDX-License-Identifier: MIT
#pragma once

// The two resumable restorations in plain loops and double: the additive step with a total-variation term,
// and the step along an element-wise conjugate direction.

#include <cmath>
#include <cstdint>
#include <limits>

#include "support/ref/landweber_step.h"
#include "support/ref/padded_volume.h"

namespace gnr::ref {

/// What a run starts from, and how far rounding may carry it.
struct StagedJob {
    int iterations = 1;
    double lambda = 0;
    bool withTerm = true;  ///< additive form
    Disturbance disturbance = {};
};

/// Forward divergence of the normalised forward gradient; the last column, row and plane repeat the ones
/// before, in the gradient and in the result. `smallest` takes the least gradient that was normalised.
inline PaddedVolume TotalVariationTerm(const PaddedVolume& x, double& smallest) {
    PaddedVolume gx(x.nx, x.ny, x.nz);
    PaddedVolume gy = gx;
    PaddedVolume gz = gx;
    PaddedVolume T = gx;
    const auto inner = [&](auto visit) {
        for (int k = 0; k + 1 < x.nz; ++k) {
            for (int j = 0; j + 1 < x.ny; ++j) {
                for (int i = 0; i + 1 < x.nx; ++i) visit(i, j, k);
            }
        }
    };
    const auto repeatBorders = [&](PaddedVolume& v) {
        for (int k = 0; k + 1 < v.nz; ++k) {
            for (int j = 0; j + 1 < v.ny; ++j) v.at(v.nx - 1, j, k) = v.at(v.nx - 2, j, k);
            for (int i = 0; v.ny > 1 && i < v.nx; ++i) v.at(i, v.ny - 1, k) = v.at(i, v.ny - 2, k);
        }
        for (int j = 0; v.nz > 1 && j < v.ny; ++j) {
            for (int i = 0; i < v.nx; ++i) v.at(i, j, v.nz - 1) = v.at(i, j, v.nz - 2);
        }
    };
    inner([&](int i, int j, int k) {
        const double dx = x.at(i + 1, j, k) - x.at(i, j, k);
        const double dy = x.at(i, j + 1, k) - x.at(i, j, k);
        const double dz = x.at(i, j, k + 1) - x.at(i, j, k);
        const double n = std::sqrt(dx * dx + dy * dy + dz * dz);
        if (n <= 1e-20) return;
        smallest = std::min(smallest, n);
        gx.at(i, j, k) = dx / n;
        gy.at(i, j, k) = dy / n;
        gz.at(i, j, k) = dz / n;
    });
    for (PaddedVolume* const component : {&gx, &gy, &gz}) repeatBorders(*component);
    inner([&](int i, int j, int k) {
        T.at(i, j, k) = gx.at(i + 1, j, k) - gx.at(i, j, k) + gy.at(i, j + 1, k) - gy.at(i, j, k) +
                        gz.at(i, j, k + 1) - gz.at(i, j, k);
    });
    repeatBorders(T);
    return T;
}

/// H^T g - H^T H x.
inline PaddedVolume DataTerm(const PaddedVolume& x, const PaddedVolume& g, const ComplexVolume& H,
                             Disturber& disturb) {
    PaddedVolume blurred = BlurAdjoint(Blur(x, H), H);
    disturb(blurred);
    PaddedVolume data = BlurAdjoint(g, H);
    disturb(data);
    return Difference(data, blurred);
}

struct StagedResult {
    PaddedVolume image;
    double smallestGradient = std::numeric_limits<double>::infinity();
};

inline StagedResult AdditiveTotalVariation(const PaddedVolume& image, const PaddedVolume& kernel,
                                           const StagedJob& job) {
    StagedResult r{image};
    Disturber disturb(job.disturbance);
    const ComplexVolume H = Spectrum(kernel);
    for (int k = 0; k < job.iterations; ++k) {
        PaddedVolume step = DataTerm(r.image, image, H, disturb);
        if (job.withTerm) AddScaled(step, -job.lambda, TotalVariationTerm(r.image, r.smallestGradient));
        AddScaled(r.image, 1.0, step);
    }
    return r;
}

inline StagedResult ConjugateTikhonovMiller(const PaddedVolume& image, const PaddedVolume& kernel,
                                            const StagedJob& job) {
    StagedResult r{image};
    PaddedVolume& x = r.image;
    Disturber disturb(job.disturbance);
    const ComplexVolume H = Spectrum(kernel);
    PaddedVolume R(x.nx, x.ny, x.nz);
    PaddedVolume P = R;
    for (int k = 0; k < job.iterations; ++k) {
        const PaddedVolume previous = R;
        R = x;
        Scale(R, job.lambda);
        AddScaled(R, -1.0, DataTerm(x, image, H, disturb));
        for (std::size_t n = 0; n < x.values.size(); ++n) {
            const double now = R.values[n] * R.values[n];
            const double old = previous.values[n] * previous.values[n];
            const double ratio = now == 0 ? 0 : (old + 1) / (now + 1);
            P.values[n] = k == 0 ? R.values[n] : R.values[n] + ratio * P.values[n];
            x.values[n] += 0.003 * P.values[n];
        }
    }
    return r;
}

}  // namespace gnr::ref
