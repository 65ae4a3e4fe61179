// SPDX-License-Identifier: MIT
#pragma once

// What happens to the frame of a picture, by plain loops in double: small Gaussian, circular convolution,
// ratio. Frames have one plane.

#include <cmath>
#include <vector>

#include "support/ref/direct_dft.h"
#include "support/ref/picture_frame.h"

namespace gnr::ref {

constexpr int kPictureMargin = 40;

/// One plane of the same numbers.
inline RealVolume PlaneOf(const Picture& picture) {
    RealVolume plane(picture.W, picture.H, 1);
    plane.values = picture.values;
    return plane;
}

/// The picture at (margin, margin), its border replicated over the margin, 0 elsewhere.
inline RealVolume FrameOfPicture(const RealVolume& picture, int margin = kPictureMargin) {
    return PlaneOf(FrameOf(picture.nx, picture.ny, margin, PowerOfTwo(picture.nx + 2 * margin),
                           PowerOfTwo(picture.ny + 2 * margin),
                           [&](int x, int y) { return picture.at(x, y, 0); }));
}

/// The picture's place in the frame.
inline RealVolume PictureOfFrame(const RealVolume& frame, int w, int h, int margin = kPictureMargin) {
    RealVolume picture(w, h, 1);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) picture.at(x, y, 0) = frame.at(x + margin, y + margin, 0);
    }
    return picture;
}

/// The PSF of n by n samples around the origin.
inline RealVolume FrameOfPsf(int W, int H, const std::vector<float>& psf, int n) {
    return PlaneOf(WrappedPsf(W, H, psf, n));
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
    return bits == 0 ? AsFloat(v) : AsInteger(v, bits == 8 ? 255 : std::pow(2.0, bits) - 1);
}

}  // namespace gnr::ref
