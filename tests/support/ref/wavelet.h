// SPDX-License-Identifier: MIT
#pragma once

// Separable orthogonal wavelet transform of small volumes by its definition, in double: periodic borders, the
// eight-tap Daubechies pair with four vanishing moments, pyramids of several levels.
//
//   low(k)  = sum over n of father(n) v((2k + n) mod N)
//   high(k) = sum over n of mother(n) v((2k + n) mod N),   mother(n) = (-1)^n father(7 - n)
//
// The inverse is the transpose. Bit 0, 1, 2 of a band's number is set where it is low-pass along x, y, z.

#include <array>
#include <cstddef>
#include <utility>
#include <vector>

#include "support/ref/direct_dft.h"

namespace gnr::ref {

/// Daubechies 1992, table 6.1, N = 4.
inline constexpr std::array<double, 8> kFather = {
    0.23037781330889650086,  0.71484657055291564709,  0.63088076792985890788,  -0.027983769416859854211,
    -0.18703481171909308408, 0.030841381835560763627, 0.032883011666885199735, -0.010597401785069032105};

constexpr double Tap(bool low, int n) {
    if (low) return kFather[static_cast<std::size_t>(n)];
    return (n % 2 == 0 ? 1 : -1) * kFather[static_cast<std::size_t>(7 - n)];
}

enum class Axis { kX, kY, kZ };

namespace wavelet_detail {

/// get(volume, n, a, b): sample n of the line (a, b) along the axis.
template <class Volume>
auto& OnLine(Volume& v, Axis axis, int n, int a, int b) {
    if (axis == Axis::kX) return v.at(n, a, b);
    if (axis == Axis::kY) return v.at(a, n, b);
    return v.at(a, b, n);
}

inline std::array<int, 3> Sides(const RealVolume& v) {
    return {v.nx, v.ny, v.nz};
}

/// Same sides, one of them replaced.
inline RealVolume WithSide(const RealVolume& v, Axis axis, int side) {
    std::array<int, 3> sides = Sides(v);
    sides[static_cast<std::size_t>(axis)] = side;
    return {sides[0], sides[1], sides[2]};
}

/// visit(a, b) for every line along the axis.
template <class Visit>
void ForLines(const RealVolume& v, Axis axis, Visit visit) {
    const int across = axis == Axis::kX ? v.ny : v.nx;
    const int deep = axis == Axis::kZ ? v.ny : v.nz;
    for (int b = 0; b < deep; ++b) {
        for (int a = 0; a < across; ++a) visit(a, b);
    }
}

inline RealVolume FilterDown(const RealVolume& v, Axis axis, bool low) {
    const int N = Sides(v)[static_cast<std::size_t>(axis)];
    RealVolume out = WithSide(v, axis, N / 2);
    ForLines(v, axis, [&](int a, int b) {
        for (int k = 0; k < N / 2; ++k) {
            for (int n = 0; n < 8; ++n) {
                OnLine(out, axis, k, a, b) += Tap(low, n) * OnLine(v, axis, (2 * k + n) % N, a, b);
            }
        }
    });
    return out;
}

/// The transpose of FilterDown, added to `out`.
inline void AddFilteredUp(const RealVolume& band, Axis axis, bool low, RealVolume& out) {
    const int half = Sides(band)[static_cast<std::size_t>(axis)];
    ForLines(band, axis, [&](int a, int b) {
        for (int k = 0; k < half; ++k) {
            for (int n = 0; n < 8; ++n) {
                OnLine(out, axis, (2 * k + n) % (2 * half), a, b) +=
                    Tap(low, n) * OnLine(band, axis, k, a, b);
            }
        }
    });
}

}  // namespace wavelet_detail

/// The eight bands of one level.
using Bands = std::vector<RealVolume>;
/// Bands of every level, finest first; band 7 of a level is what the next one came from.
using Pyramid = std::vector<Bands>;

inline Bands DecomposeOnce(const RealVolume& v) {
    Bands bands;
    for (unsigned b = 0; b < 8; ++b) {
        using wavelet_detail::FilterDown;
        bands.push_back(FilterDown(FilterDown(FilterDown(v, Axis::kX, (b & 1) != 0), Axis::kY, (b & 2) != 0),
                                   Axis::kZ, (b & 4) != 0));
    }
    return bands;
}

inline RealVolume ReconstructOnce(const Bands& bands) {
    using wavelet_detail::AddFilteredUp;
    using wavelet_detail::WithSide;
    RealVolume out(2 * bands[0].nx, 2 * bands[0].ny, 2 * bands[0].nz);
    for (unsigned b = 0; b < 8; ++b) {
        RealVolume alongZ = WithSide(bands[b], Axis::kZ, out.nz);
        AddFilteredUp(bands[b], Axis::kZ, (b & 4) != 0, alongZ);
        RealVolume alongY = WithSide(alongZ, Axis::kY, out.ny);
        AddFilteredUp(alongZ, Axis::kY, (b & 2) != 0, alongY);
        AddFilteredUp(alongY, Axis::kX, (b & 1) != 0, out);
    }
    return out;
}

inline Pyramid Decompose(const RealVolume& v, unsigned levels) {
    Pyramid pyramid;
    for (unsigned l = 0; l < levels; ++l) pyramid.push_back(DecomposeOnce(l == 0 ? v : pyramid[l - 1][7]));
    return pyramid;
}

/// Each level's volume replaces band 7 of the level above.
inline RealVolume Reconstruct(Pyramid pyramid) {
    for (std::size_t l = pyramid.size() - 1; l > 0; --l) pyramid[l - 1][7] = ReconstructOnce(pyramid[l]);
    return ReconstructOnce(pyramid[0]);
}

/// Towards 0 by the threshold; what lies within it becomes 0.
inline double SoftThreshold(double v, double threshold) {
    if (v > threshold) return v - threshold;
    if (v < -threshold) return v + threshold;
    return 0;
}

inline void Shrink(RealVolume& band, double threshold) {
    for (double& v : band.values) v = SoftThreshold(v, threshold);
}

/// out(i, j, k) = v((i - dx) mod X, (j - dy) mod Y, (k - dz) mod Z), each shift within one period.
inline RealVolume CyclicShift(const RealVolume& v, int dx, int dy, int dz) {
    RealVolume out(v.nx, v.ny, v.nz);
    for (int k = 0; k < v.nz; ++k) {
        for (int j = 0; j < v.ny; ++j) {
            for (int i = 0; i < v.nx; ++i) {
                out.at(i, j, k) =
                    v.at((i - dx + v.nx) % v.nx, (j - dy + v.ny) % v.ny, (k - dz + v.nz) % v.nz);
            }
        }
    }
    return out;
}

}  // namespace gnr::ref
