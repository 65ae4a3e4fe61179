// SPDX-License-Identifier: MIT
#pragma once

// Accelerated Richardson-Lucy on frames, step by step, in double.

#include <cmath>
#include <cstddef>

#include "support/ref/frame_convolution.h"

namespace gnr::ref {

inline double Alpha(const Picture& x, const Picture& c, const Picture& e, const Picture& f) {
    double num = 0.0;
    double den = 0.0;
    for (std::size_t n = 0; n < x.values.size(); ++n) {
        if (!(e.values[n] > 1e-10) || !(f.values[n] > 1e-10)) continue;
        const double p = std::log10(f.values[n]) * c.values[n];
        den += p * p;
        num += std::log10(e.values[n]) * x.values[n] * p;
    }
    if (den <= 1e-10) return 0.0;
    const double a = num / den;
    return a <= 0 ? 0 : a >= 1 ? 1 : a;
}

/// The loop of `iterations` steps from x against y with the PSF frame h.
class AcceleratedLoop {
  public:
    AcceleratedLoop(const Picture& start, const Picture& psf, const Picture& data)
        : x(start), h(psf), y(data), b(start.W, start.H, 1.0), c(start), e(b), f(b) {}

    void Step() {
        for (double& v : x.values) v = v <= 0 ? 0 : v;
        for (std::size_t n = 0; n < x.values.size(); ++n) x.values[n] *= std::pow(b.values[n], alpha);
        const Picture blurred = Convolve(x, h);
        Picture ratio(x.W, x.H);
        for (std::size_t n = 0; n < x.values.size(); ++n) {
            ratio.values[n] = std::abs(blurred.values[n]) <= 1e-20 ? 0 : y.values[n] / blurred.values[n];
        }
        const Picture d = Correlate(ratio, h);
        const double inverse = InverseSum(h);
        for (std::size_t n = 0; n < x.values.size(); ++n) x.values[n] *= d.values[n] * inverse;
        for (std::size_t n = 0; n < x.values.size(); ++n) {
            b.values[n] = c.values[n] <= 1e-20 ? 1 : x.values[n] / c.values[n];
        }
        alpha = Alpha(x, c, e, f);
        c = x;
        f = e;
        e = d;
    }

    Picture x;
    Picture h;
    Picture y;
    Picture b;
    Picture c;
    Picture e;
    Picture f;
    double alpha = 1.0;
};

}  // namespace gnr::ref
