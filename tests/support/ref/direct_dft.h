// SPDX-License-Identifier: MIT
#pragma once

// Direct discrete Fourier transform of small volumes, in double, by its definition.

#include <complex>
#include <cstddef>
#include <numbers>
#include <vector>

namespace gnr::ref {

/// Dense volume of x * y * z values, x fastest.
template <class T>
struct Dense {
    Dense(int x, int y, int z)
        : nx(x),
          ny(y),
          nz(z),
          values(static_cast<std::size_t>(x) * static_cast<std::size_t>(y) * static_cast<std::size_t>(z)) {}
    T& at(int i, int j, int k) { return values[Index(i, j, k)]; }
    const T& at(int i, int j, int k) const { return values[Index(i, j, k)]; }

    int nx;
    int ny;
    int nz;
    std::vector<T> values;

  private:
    std::size_t Index(int i, int j, int k) const {
        return (static_cast<std::size_t>(k) * static_cast<std::size_t>(ny) + static_cast<std::size_t>(j)) *
                   static_cast<std::size_t>(nx) +
               static_cast<std::size_t>(i);
    }
};

using Complex = std::complex<double>;
using RealVolume = Dense<double>;
using ComplexVolume = Dense<Complex>;

/// exp(sign 2 pi i t / N) for t from 0 to N - 1.
inline std::vector<Complex> RootsOfUnity(int length, int sign) {
    std::vector<Complex> roots;
    for (int t = 0; t < length; ++t) {
        roots.push_back(std::polar(1.0, sign * 2 * std::numbers::pi * (static_cast<double>(t) / length)));
    }
    return roots;
}

/// One axis after the other: sum over the axis of v exp(sign 2 pi i u n / N), axis lengths taken one by one.
inline ComplexVolume DirectDft(const ComplexVolume& in, int sign) {
    ComplexVolume volume = in;
    std::vector<Complex> roots;
    const auto along = [&](int length, auto get) {
        std::vector<Complex> line(static_cast<std::size_t>(length));
        for (int u = 0; u < length; ++u) {
            Complex sum = 0;
            for (int n = 0; n < length; ++n) {
                sum += get(n) * roots[static_cast<std::size_t>((static_cast<long long>(u) * n) % length)];
            }
            line[static_cast<std::size_t>(u)] = sum;
        }
        for (int u = 0; u < length; ++u) get(u) = line[static_cast<std::size_t>(u)];
    };
    roots = RootsOfUnity(in.nx, sign);
    for (int k = 0; k < in.nz; ++k) {
        for (int j = 0; j < in.ny; ++j) along(in.nx, [&](int n) -> Complex& { return volume.at(n, j, k); });
    }
    roots = RootsOfUnity(in.ny, sign);
    for (int k = 0; k < in.nz; ++k) {
        for (int i = 0; i < in.nx; ++i) along(in.ny, [&](int n) -> Complex& { return volume.at(i, n, k); });
    }
    roots = RootsOfUnity(in.nz, sign);
    for (int j = 0; j < in.ny; ++j) {
        for (int i = 0; i < in.nx; ++i) along(in.nz, [&](int n) -> Complex& { return volume.at(i, j, n); });
    }
    return volume;
}

/// Unscaled forward transform, exponent exp(-i ...), all frequencies.
inline ComplexVolume Forward(const RealVolume& in) {
    ComplexVolume volume(in.nx, in.ny, in.nz);
    for (std::size_t n = 0; n < in.values.size(); ++n) volume.values[n] = in.values[n];
    return DirectDft(volume, -1);
}

/// Backward transform divided by the number of samples; real part.
inline RealVolume Inverse(const ComplexVolume& in) {
    const ComplexVolume volume = DirectDft(in, +1);
    RealVolume out(in.nx, in.ny, in.nz);
    for (std::size_t n = 0; n < in.values.size(); ++n) {
        out.values[n] = volume.values[n].real() / static_cast<double>(in.values.size());
    }
    return out;
}

}  // namespace gnr::ref
