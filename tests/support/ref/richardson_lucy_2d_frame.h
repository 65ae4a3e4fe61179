// SPDX-License-Identifier: MIT
#pragma once

// The frame that pictures are restored in, by plain loops in double: margin, wrapped PSF, small Gaussian,
// circular convolution, and what becomes of a sample that is written back. Frames have one plane.

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "support/ref/direct_dft.h"

namespace gnr::ref {

constexpr int kPictureMargin = 40;

/// Smallest power of two not below n.
inline int PowerOfTwoFor(int n) {
    int side = 1;
    while (side < n) side *= 2;
    return side;
}

/// The picture at (margin, margin), its border replicated over the margin, 0 elsewhere.
inline RealVolume FrameOfPicture(const RealVolume& picture, int margin = kPictureMargin) {
    const int width = picture.nx + 2 * margin;
    const int height = picture.ny + 2 * margin;
    RealVolume frame(PowerOfTwoFor(width), PowerOfTwoFor(height), 1);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            frame.at(x, y, 0) = picture.at(std::clamp(x - margin, 0, picture.nx - 1),
                                           std::clamp(y - margin, 0, picture.ny - 1), 0);
        }
    }
    return frame;
}

/// The picture's place in the frame.
inline RealVolume PictureOfFrame(const RealVolume& frame, int w, int h, int margin = kPictureMargin) {
    RealVolume picture(w, h, 1);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) picture.at(x, y, 0) = frame.at(x + margin, y + margin, 0);
    }
    return picture;
}

/// The PSF of n by n samples with its centre at the origin, quadrant by quadrant; the last row and column of
/// an odd n are left out.
inline RealVolume FrameOfPsf(int W, int H, const std::vector<float>& psf, int n) {
    RealVolume frame(W, H, 1);
    const int c = n / 2;
    const auto sample = [&](int row, int column) {
        return static_cast<double>(psf[static_cast<std::size_t>(row) * static_cast<std::size_t>(n) +
                                       static_cast<std::size_t>(column)]);
    };
    for (int quadrant = 0; quadrant < 4; ++quadrant) {
        const bool left = quadrant % 2 == 1;
        const bool above = quadrant >= 2;
        for (int y = 0; y < c && y <= H / 2; ++y) {
            for (int x = 0; x < c && x <= W / 2; ++x) {
                frame.at(left ? W - 1 - x : x, above ? H - 1 - y : y, 0) =
                    sample(above ? c - 1 - y : c + y, left ? c - 1 - x : c + x);
            }
        }
    }
    return frame;
}

inline double SumOf(const RealVolume& frame) {
    double sum = 0;
    for (const double v : frame.values) sum += v;
    return sum;
}

/// 1 / sum of the PSF, or 1 where the sum is below 1e-5.
inline double FactorOfPsf(const RealVolume& psf) {
    const double sum = SumOf(psf);
    return sum >= 1e-05 ? 1 / sum : 1;
}

/// Circular convolution with the separable Gaussian of 7 by 7 taps, deviation 0.8, unit sum; then v < 0 is 0.
inline RealVolume Prefiltered(const RealVolume& frame) {
    double taps[7];
    double sum = 0;
    for (int i = -3; i <= 3; ++i) sum += taps[i + 3] = std::exp(-0.5 * std::pow(i / double{0.8f}, 2.0));
    RealVolume out(frame.nx, frame.ny, 1);
    for (int y = 0; y < frame.ny; ++y) {
        for (int x = 0; x < frame.nx; ++x) {
            double v = 0;
            for (int j = -3; j <= 3; ++j) {
                for (int i = -3; i <= 3; ++i) {
                    v += taps[j + 3] / sum * taps[i + 3] / sum *
                         frame.at((x - i + frame.nx) % frame.nx, (y - j + frame.ny) % frame.ny, 0);
                }
            }
            out.at(x, y, 0) = v < 0 ? 0 : v;
        }
    }
    return out;
}

/// Circular convolution with the PSF of this spectrum, or correlation with it.
enum class Filter { kConvolve, kCorrelate };
inline RealVolume Filtered(const RealVolume& frame, const ComplexVolume& otf, Filter filter) {
    ComplexVolume spectrum = Forward(frame);
    for (std::size_t n = 0; n < spectrum.values.size(); ++n) {
        spectrum.values[n] *= filter == Filter::kConvolve ? otf.values[n] : std::conj(otf.values[n]);
    }
    return Inverse(spectrum);
}

/// v <= 0 becomes 0.
inline void ClipFrame(RealVolume& frame) {
    for (double& v : frame.values) v = v <= 0 ? 0 : v;
}

inline void MultiplyFrames(RealVolume& frame, const RealVolume& by) {
    for (std::size_t n = 0; n < frame.values.size(); ++n) frame.values[n] *= by.values[n];
}

inline void ScaleFrameBy(RealVolume& frame, double factor) {
    for (double& v : frame.values) v *= factor;
}

/// a / b, 0 where |b| <= 1e-20.
inline RealVolume RatioOfFrames(const RealVolume& a, const RealVolume& b) {
    RealVolume ratio = a;
    for (std::size_t n = 0; n < a.values.size(); ++n) {
        ratio.values[n] = std::abs(b.values[n]) <= 1e-20 ? 0 : a.values[n] / b.values[n];
    }
    return ratio;
}

/// The sample that a value is written as; bits 0 stands for float samples.
inline double SampleFor(double v, int bits) {
    if (bits == 0) return v < 0 ? 0 : v;
    const double limit = bits == 8 ? 255 : std::pow(2.0, bits) - 1;
    return v <= 0 ? 0 : v >= limit ? limit : std::trunc(v);
}

}  // namespace gnr::ref
