// SPDX-License-Identifier: MIT
#pragma once

// Circular convolution and correlation of frames by their sums, in double.

#include "support/ref/picture_frame.h"

namespace gnr::ref {

/// sum over q of h(q) x(p - q)
inline Picture Convolve(const Picture& x, const Picture& h) {
    Picture out(x.W, x.H);
    for (int v = 0; v < x.H; ++v) {
        for (int u = 0; u < x.W; ++u) {
            const double weight = h.at(u, v);
            if (weight == 0.0) continue;
            for (int j = 0; j < x.H; ++j) {
                for (int i = 0; i < x.W; ++i) out.at((i + u) % x.W, (j + v) % x.H) += weight * x.at(i, j);
            }
        }
    }
    return out;
}

/// sum over q of h(q) x(p + q)
inline Picture Correlate(const Picture& x, const Picture& h) {
    Picture mirrored(h.W, h.H);
    for (int v = 0; v < h.H; ++v) {
        for (int u = 0; u < h.W; ++u) mirrored.at((h.W - u) % h.W, (h.H - v) % h.H) = h.at(u, v);
    }
    return Convolve(x, mirrored);
}

inline double SumOf(const Picture& v) {
    double sum = 0.0;
    for (const double sample : v.values) sum += sample;
    return sum;
}

/// 1 / sum, or 1 where the sum is below `least`.
inline double InverseSum(const Picture& v, double least = 1e-5) {
    const double sum = SumOf(v);
    return sum >= least ? 1.0 / sum : 1.0;
}

/// The small Gaussian around the origin of a frame whose sides are 8 or more: 7 by 7, sum 1.
inline Picture PrefilterFrame(int W, int H) {
    double taps[7];
    double sum = 0.0;
    for (int i = -3; i <= 3; ++i) {
        taps[i + 3] = std::exp(-0.5 * (i / 0.8) * (i / 0.8)) / std::sqrt(6.2831853071796) / 0.8;
        sum += taps[i + 3];
    }
    Picture kernel(W, H);
    for (int j = -3; j <= 3; ++j) {
        for (int i = -3; i <= 3; ++i) {
            kernel.at((i + W) % W, (j + H) % H) = taps[i + 3] / sum * (taps[j + 3] / sum);
        }
    }
    return kernel;
}

/// The frame blurred by it, negatives cut.
inline Picture Prefiltered(const Picture& x) {
    Picture out = Convolve(x, PrefilterFrame(x.W, x.H));
    for (double& v : out.values) v = v < 0 ? 0 : v;
    return out;
}

}  // namespace gnr::ref
