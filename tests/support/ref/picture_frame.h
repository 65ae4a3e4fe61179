// SPDX-License-Identifier: MIT
#pragma once

// How a picture becomes a frame and back, pixel by pixel, in double; coordinates as signed numbers.

#include <cmath>
#include <cstddef>
#include <functional>
#include <vector>

namespace gnr::ref {

/// W by H numbers, rows adjacent.
struct Picture {
    Picture(int width, int height, double fill = 0.0)
        : W(width),
          H(height),
          values(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), fill) {}

    double& at(int x, int y) { return values[Index(x, y)]; }
    double at(int x, int y) const { return values[Index(x, y)]; }

    int W;
    int H;
    std::vector<double> values;

  private:
    std::size_t Index(int x, int y) const {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(W) + static_cast<std::size_t>(x);
    }
};

/// The frame of a picture of w by h samples: at (m, m), its border repeated over m pixels around, else 0.
inline Picture FrameOf(int w, int h, int m, int W, int H, const std::function<double(int, int)>& sample) {
    Picture frame(W, H);
    const auto inside = [](int i, int n) { return i < 0 ? 0 : i >= n ? n - 1 : i; };
    for (int y = 0; y < h + 2 * m; ++y) {
        for (int x = 0; x < w + 2 * m; ++x) frame.at(x, y) = sample(inside(x - m, w), inside(y - m, h));
    }
    return frame;
}

/// The PSF of n by n samples around the origin of a frame, quadrant after quadrant.
inline Picture WrappedPsf(int W, int H, const std::vector<float>& psf, int n) {
    Picture frame(W, H);
    const int c = n / 2;
    const auto at = [&](int x, int y) {
        return static_cast<double>(
            psf[static_cast<std::size_t>(y) * static_cast<std::size_t>(n) + static_cast<std::size_t>(x)]);
    };
    for (int quadrant = 0; quadrant < 4; ++quadrant) {
        const bool left = quadrant % 2 == 1;
        const bool above = quadrant / 2 == 1;
        for (int y = 0; y < c && y <= H / 2; ++y) {
            for (int x = 0; x < c && x <= W / 2; ++x) {
                frame.at(left ? W - 1 - x : x, above ? H - 1 - y : y) =
                    at(left ? c - 1 - x : c + x, above ? c - 1 - y : c + y);
            }
        }
    }
    return frame;
}

/// What a restored value becomes as a sample of an integer picture.
inline double AsInteger(double v, double greatest) {
    return v <= 0 ? 0 : v >= greatest ? greatest : std::trunc(v);
}

/// What it becomes as a float sample.
inline double AsFloat(double v) {
    return v < 0 ? 0 : v;
}

/// Smallest power of two not below n.
inline int PowerOfTwo(int n) {
    int power = 1;
    while (power < n) power *= 2;
    return power;
}

}  // namespace gnr::ref
