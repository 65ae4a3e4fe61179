// SPDX-License-Identifier: MIT
#pragma once

// The fast PSF model by plain loops in double: every radius integrates its own nodes, every sample takes its
// own root.

#include <gnr_deconvolution/psf_3d.h>
#include <math.h>

#include <algorithm>
#include <complex>
#include <cstdint>
#include <vector>

namespace gnr::ref {

/// One entry of the radial table: composite Simpson rule over the pupil, planes from the focus, radius in
/// samples.
inline double AiryEntry(const SDiffractionParams& p, int planes, int radius, double scale) {
    const double s = p.dNA / p.dRefractiveIndex < 1 ? p.dNA / p.dRefractiveIndex : 1.0;
    const double T = std::tan(std::asin(s));
    const double k = p.dRefractiveIndex * 6.283185307179586 / p.dWavelength;
    const double v = radius * k * p.dXYPitch * scale;
    const double D = planes * p.dZPitch;
    const int n1 = 1 + static_cast<int>(0.36 * std::abs(planes * k * p.dZPitch) * T / 6.0);
    const int n2 = 1 + static_cast<int>(T * v / 3.0);
    const int M = 8 * std::max(n1, n2) * 2;
    const double h = T / M;
    const auto g = [&](double t) {
        const double c = std::sqrt(t * t + 1);
        const double phase = (p.dSphericalAberration * std::pow(t / T, 4) + D) * k / c;
        return 0.5 * t * ::j0(t * v / c) * std::polar(1.0, phase);
    };
    std::complex<double> sum = 0;
    for (int j = 2; j < M; j += 2) sum += 2.0 * g(j * h);
    for (int j = 1; j < M; j += 2) sum += 4.0 * g(j * h);
    sum += g(T);
    return std::norm(sum) * h * h / 9.0;
}

/// Writes what KERNEL3D_Airy writes into volume, which holds s.total floats, and nothing else.
inline void AiryPattern(const DFT3D& s, float* volume, const SDiffractionParams& p, bool centered,
                        float scale, bool padded) {
    const int X = s.rowLength;
    const int Y = s.rows;
    const int Z = s.planes;
    const int W = X - (padded ? 2 : 0);
    const int Xh = W / 2;
    const int Yh = Y / 2;
    const int Zh = Z / 2;
    const double sine = p.dNA / p.dRefractiveIndex < 1 ? p.dNA / p.dRefractiveIndex : 1.0;
    const double T = std::tan(std::asin(sine));
    const int N = static_cast<int>(std::sqrt(Yh * Yh + Xh * Xh) + 2);
    const double R0 = ((p.dWavelength * 0.61) / (scale * p.dXYPitch * p.dNA)) * 20.0;
    const int w = static_cast<int>(std::max(1.5 - p.dNA, 0.0) * 10.0 + 2.0 + 0.5);
    const int zLow = std::max(Zh - w, 0);
    const int zHigh = std::min(Zh + w, Z);
    std::vector<double> table(static_cast<std::size_t>(N));

    for (int z = 0; z < Z; ++z) {
        if (z < zLow || z > zHigh) continue;
        const double R = std::max(std::abs((z - Zh) * p.dZPitch) * T / p.dXYPitch + R0, 2.0);
        for (int i = 0; i < N; ++i) {
            table[static_cast<std::size_t>(i)] = i > R ? 0.0 : AiryEntry(p, z - Zh, i, scale);
        }
        const auto at = [&](int dx, int dy) {
            const double r = std::sqrt(dx * dx + dy * dy);
            const auto q = static_cast<std::size_t>(r);
            const double f = r - static_cast<double>(q);
            return static_cast<float>((1 - f) * table[q] + f * table[q + 1]);
        };
        const auto put = [&](int x, int y, int plane, float v) {
            volume[std::int64_t{plane} * s.planeStride + std::int64_t{y} * X + x] = v;
        };
        if (centered) {
            for (int y = 0; y < Y; ++y) {
                for (int x = 0; x < W; ++x) put(x, y, z, at(x - Xh, y - Yh));
            }
            continue;
        }
        const int zw = ((Z - Zh) + z) % Z;
        for (int y = 0; y < (Y + 1) / 2; ++y) {
            for (int x = 0; x < (W + 1) / 2; ++x) {
                const float v = at(x, y);
                put(x, y, zw, v);
                if (x >= 1) put(W - x, y, zw, v);
                if (y >= 1) put(x, Y - y, zw, v);
                if (x >= 1 && y >= 1) put(W - x, Y - y, zw, v);
            }
        }
    }
}

/// The three-eighths rule of GenerateAiry1D; pd: its twelve tables.
inline std::vector<double> Airy1D(unsigned n, double radiusStep, const std::vector<std::vector<double>>& pd,
                                  unsigned m, double step, double factor) {
    std::vector<double> out(n);
    const double e = step / 3.0;
    for (unsigned i = 0; i < n; ++i) {
        const double b = factor * (i * radiusStep);
        const auto term = [&](double phase, double s) { return std::polar(::j0(b * s) * s, phase); };
        std::complex<double> ends = 0;
        std::complex<double> inner = 0;
        for (unsigned j = 0; j < m; ++j) {
            const double s = j * step;
            ends += term(pd[9][j] * pd[5][j], s + step) + term(pd[4][j] * pd[8][j], s);
            inner += term(pd[11][j] * pd[7][j], s + 2 * e) + term(pd[10][j] * pd[6][j], s + e);
        }
        out[i] = std::norm(ends + 3.0 * inner) * step * 0.125;
    }
    return out;
}

}  // namespace gnr::ref
