// SPDX-License-Identifier: MIT
#pragma once

// The scalar defocus integral of KERNEL3D_GibsonLani and KERNEL3D_2Photon by plain loops in double.

#include <gnr_deconvolution/psf_3d.h>
#include <math.h>

#include <algorithm>
#include <complex>
#include <cstdint>
#include <vector>

namespace gnr::ref {

/// The whole volume of s.total floats; twoPhoton: half the wave number and one square root.
inline std::vector<float> DefocusIntegralPattern(const DFT3D& s, const SDiffractionParams& p, bool twoPhoton,
                                                 bool centered, bool padded) {
    const int X = s.rowLength;
    const int Y = s.rows;
    const int Z = s.planes;
    const int P = padded ? 2 : 0;
    const int W = X - P;
    const double two = twoPhoton ? 1.0 : 2.0;
    const double pitch = p.dXYPitch * 1e-5;
    const double alpha = std::asin(p.dNA / p.dRefractiveIndex);
    const double K = 6.2831853071796 / (p.dWavelength * 1e-5);
    std::vector<float> volume(static_cast<std::size_t>(s.total), 0.0f);

    for (int z = 0; z < Z; ++z) {
        const int a = std::abs(z - Z / 2);
        if (a * p.dZPitch * 0.25 + 1.0 > 10.0) continue;
        const double u = X - (X - 1) * 0.5;
        const double v = Y - (Y - 1) * 0.5;
        const int L = 2 * static_cast<int>(std::floor(std::sqrt(u * u + v * v))) + 2;
        const int C = std::min(
            L,
            static_cast<int>((std::tan(alpha) * (a * p.dZPitch + 1.0)) / (pitch * 1000000.0) * 2.0 + 10.0));
        const int E = Z % 2 == 0 ? Z : Z - 1;
        const double D = (z - E * 0.5) * p.dZPitch * 1e-5;
        std::vector<double> table(static_cast<std::size_t>(L), 0.0);
        for (int j = 0; j < C; ++j) {
            std::complex<double> sum = 0;
            for (int q = 0; q < 1024; ++q) {
                const double rho = q * 0.0009765625;
                const double b = ::j0(std::sin(alpha) * K * j * 0.5 * pitch * two * rho * 0.5);
                const double phase =
                    K * 4.0 * std::pow(std::sin(alpha / 2), 2) * D * two * (-0.5) * rho * rho * 0.5;
                sum += std::polar(1.0, phase) * b * rho;
            }
            const double once = std::sqrt(std::norm(sum));
            table[static_cast<std::size_t>(j)] = twoPhoton ? once : std::sqrt(once);
        }
        const auto at = [&](int dx, int dy) {
            const double x = 2 * std::sqrt(dx * dx + dy * dy);
            if (x >= L - 1) return 0.0f;
            const double i = std::floor(x);
            const double g = x - i;
            const auto n = static_cast<std::size_t>(i);
            return static_cast<float>(g * table[n + 1] + (1 - g) * table[n]);
        };
        const auto put = [&](int x, int y, int plane, float value) {
            volume[static_cast<std::size_t>(std::int64_t{plane} * s.planeStride + std::int64_t{y} * X + x)] =
                value;
        };
        if (centered) {
            for (int y = 0; y < Y; ++y) {
                for (int x = 0; x < W; ++x) put(x, y, z, at(x - W / 2, y - Y / 2));
            }
            continue;
        }
        const int zw = ((Z - Z / 2) + z) % Z;
        for (int y = 0; y < Y / 2; ++y) {
            for (int x = 0; x < X / 2 - P; ++x) {
                const float value = at(x, y);
                put(x, y, zw, value);
                if (x >= 1) put(W - x, y, zw, value);
                if (y >= 1) put(x, Y - y, zw, value);
                if (x >= 1 && y >= 1) put(W - x, Y - y, zw, value);
            }
        }
    }
    return volume;
}

}  // namespace gnr::ref
