// SPDX-License-Identifier: MIT
#pragma once

// Direct transforms of pictures, in double, and the packed format of their spectra.

#include <cstddef>
#include <vector>

#include "support/ref/direct_dft.h"

namespace gnr::ref {

/// All frequencies of a picture of W by H samples, rows adjacent; exponent exp(-i ...), unscaled.
template <class Sample>
ComplexVolume Spectrum(const std::vector<Sample>& picture, int W, int H) {
    RealVolume volume(W, H, 1);
    for (std::size_t n = 0; n < volume.values.size(); ++n) volume.values[n] = picture[n];
    return Forward(volume);
}

/// The real part of the inverse, divided by the number of samples.
inline std::vector<double> FromSpectrum(const ComplexVolume& spectrum) {
    return Inverse(spectrum).values;
}

/// The packed real format, place by place. W and H are even or 1.
template <class Sample>
std::vector<double> PackedSpectrum(const std::vector<Sample>& picture, int W, int H) {
    const ComplexVolume F = Spectrum(picture, W, H);
    std::vector<double> packed(picture.size());
    const auto put = [&](int column, int row, double v) {
        packed[static_cast<std::size_t>(row) * static_cast<std::size_t>(W) +
               static_cast<std::size_t>(column)] = v;
    };
    const auto realColumn = [&](int u, int column) {
        put(column, 0, F.at(u, 0, 0).real());
        for (int v = 1; v < H / 2; ++v) {
            put(column, 2 * v - 1, F.at(u, v, 0).real());
            put(column, 2 * v, F.at(u, v, 0).imag());
        }
        if (H > 1) put(column, H - 1, F.at(u, H / 2, 0).real());
    };
    realColumn(0, 0);
    if (W > 1) realColumn(W / 2, W - 1);
    for (int v = 0; v < H; ++v) {
        for (int u = 1; u < W / 2; ++u) {
            put(2 * u - 1, v, F.at(u, v, 0).real());
            put(2 * u, v, F.at(u, v, 0).imag());
        }
    }
    return packed;
}

}  // namespace gnr::ref
