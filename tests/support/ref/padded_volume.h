// SPDX-License-Identifier: MIT
#pragma once

// Small volumes in padded rows, in double. Padding is modelled because two rules look at it: the pedestal of
// the accelerated restoration scans it, and the damping field of a fixed-count restoration reads it beside
// the last image column.

#include <cstddef>
#include <vector>

#include "support/ref/direct_dft.h"

namespace gnr::ref {

/// Rows of nx samples and two padding values, ny rows a plane, nz planes.
struct PaddedVolume {
    PaddedVolume(int x, int y, int z)
        : nx(x),
          ny(y),
          nz(z),
          values(static_cast<std::size_t>(x + 2) * static_cast<std::size_t>(y) *
                 static_cast<std::size_t>(z)) {}

    int RowLength() const { return nx + 2; }
    int PlaneStride() const { return RowLength() * ny; }
    std::size_t Index(int i, int j, int k) const {
        return static_cast<std::size_t>(k) * static_cast<std::size_t>(PlaneStride()) +
               static_cast<std::size_t>(j) * static_cast<std::size_t>(RowLength()) +
               static_cast<std::size_t>(i);
    }
    double& at(int i, int j, int k) { return values[Index(i, j, k)]; }
    const double& at(int i, int j, int k) const { return values[Index(i, j, k)]; }

    int nx;
    int ny;
    int nz;
    std::vector<double> values;
};

/// visit(i, j, k) for every image sample.
template <class Visit>
void ForImageColumns(const PaddedVolume& v, Visit visit) {
    for (int k = 0; k < v.nz; ++k) {
        for (int j = 0; j < v.ny; ++j) {
            for (int i = 0; i < v.nx; ++i) visit(i, j, k);
        }
    }
}

inline RealVolume ImageColumns(const PaddedVolume& v) {
    RealVolume columns(v.nx, v.ny, v.nz);
    ForImageColumns(v, [&](int i, int j, int k) { columns.at(i, j, k) = v.at(i, j, k); });
    return columns;
}

inline double SumOfImageColumns(const PaddedVolume& v) {
    double sum = 0;
    ForImageColumns(v, [&](int i, int j, int k) { sum += v.at(i, j, k); });
    return sum;
}

inline void Scale(PaddedVolume& v, double factor) {
    for (double& value : v.values) value *= factor;
}

inline void MultiplyBy(PaddedVolume& v, const PaddedVolume& factor) {
    for (std::size_t n = 0; n < v.values.size(); ++n) v.values[n] *= factor.values[n];
}

/// Negative values become 0, padding included.
inline void ClipNegative(PaddedVolume& v) {
    for (double& value : v.values) {
        if (value < 0) value = 0;
    }
}

inline ComplexVolume Spectrum(const PaddedVolume& v) {
    return Forward(ImageColumns(v));
}

/// Image columns from the spectrum; padding becomes 0. A backward transform promises finite padding only, so
/// cases that compare samples must not depend on this choice.
inline PaddedVolume FromSpectrum(const ComplexVolume& spectrum) {
    const RealVolume columns = Inverse(spectrum);
    PaddedVolume v(spectrum.nx, spectrum.ny, spectrum.nz);
    ForImageColumns(v, [&](int i, int j, int k) { v.at(i, j, k) = columns.at(i, j, k); });
    return v;
}

/// Circular convolution with the PSF of this spectrum.
inline PaddedVolume Blur(const PaddedVolume& v, const ComplexVolume& otf) {
    ComplexVolume spectrum = Spectrum(v);
    for (std::size_t n = 0; n < spectrum.values.size(); ++n) spectrum.values[n] *= otf.values[n];
    return FromSpectrum(spectrum);
}

/// Circular correlation with the PSF of this spectrum: the adjoint of Blur.
inline PaddedVolume BlurAdjoint(const PaddedVolume& v, const ComplexVolume& otf) {
    ComplexVolume spectrum = Spectrum(v);
    for (std::size_t n = 0; n < spectrum.values.size(); ++n) spectrum.values[n] *= std::conj(otf.values[n]);
    return FromSpectrum(spectrum);
}

}  // namespace gnr::ref
