// SPDX-License-Identifier: MIT
#pragma once

// The layered PSF model by its plain triple loop: plane, radius, pupil node, every factor evaluated for every
// triple.

#include <gnr_deconvolution/psf_3d.h>
#include <math.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <vector>

namespace gnr::ref {

class LayeredModel {
  public:
    LayeredModel(const DFT3D& s, const SDiffractionParamsEx& p, bool centered, bool padded)
        : s_(s), p_(p), centered_(centered), W_(s.rowLength - (padded ? 2 : 0)) {
        const bool wide = p.iModality == 0 || p.iModality == 7;
        const double nm = p.dEmissionWavelength / 0.001;
        nz = static_cast<int>(std::min<unsigned long long>(
            FloatPSF3D::GetRecommendedZSize(nm, p.dRefractiveIndex, p.dNA, p.dZPitch, wide),
            p.uiMaxZSamples));
        const int nxy = static_cast<int>(
            std::min<unsigned long long>(FloatPSF3D::GetRecommendedXYSize(nm, p.dNA, p.dXYPitch, wide),
                                         static_cast<unsigned long long>(s.rows)));
        nR = std::min(static_cast<int>(std::ceil(std::sqrt(s.rows * s.rows + W_ * W_) * 0.5 + 1.0)), nxy / 2);
    }

    std::complex<double> Phasor(double rho, double z) const {
        const double A = p_.dSampleRefractiveIndex * p_.dSampleRefractiveIndex - p_.dNA * p_.dNA * rho * rho;
        const double B = p_.dRefractiveIndex * p_.dRefractiveIndex - p_.dNA * p_.dNA * rho * rho;
        if (A >= 0 && B >= 0) return std::polar(1.0, (std::sqrt(A) * d_ - std::sqrt(B) * z) * k_);
        const std::complex<double> i(0.0, 1.0);
        return std::exp(i * k_ *
                        (d_ * std::sqrt(std::complex<double>(A)) - z * std::sqrt(std::complex<double>(B))));
    }

    std::complex<double> OnAxis(double z) const {
        std::complex<double> sum = 0;
        for (int q = 0; q < 256; ++q) sum += Phasor(q * 0.00390625, z) * (q * 0.00390625);
        return 1.0 / 256 * sum * 1.0 / g_;
    }

    double Focus() const {
        if (d_ == 0) return 0.0;
        double focus = d_;
        double best = 0;
        const int coarse = static_cast<int>(std::ceil(d_ * 4.0 / dz_));
        for (int i = 0; i < coarse; ++i) {
            const double z = Sign() * (i - coarse / 2) * dz_ + d_;
            const double a = std::abs(OnAxis(z));
            if (a > best) {
                best = a;
                focus = z;
            }
        }
        const double z0 = focus;
        double sum = 0;
        double moment = 0;
        for (int i = 0; i < 2 * nz; ++i) {
            const double z = Sign() * (i - nz) * dz_ + z0;
            const double w = std::norm(OnAxis(z));
            sum += w;
            moment += w * z;
        }
        return moment / sum;
    }

    std::vector<double> RadialTable(double z) const {
        std::vector<double> table(static_cast<std::size_t>(nR));
        for (int i = 0; i < nR; ++i) {
            std::complex<double> sum = 0;
            for (int q = 0; q < 1024; ++q) {
                const double rho = q * 0.0009765625;
                const double w = (alpha_ * k_ * rho * i * dxy_) / g_;
                sum += Phasor(rho, z) * ::j0(w) * rho;
            }
            table[static_cast<std::size_t>(i)] = std::norm((sum / 1024.0) * 1.0 / g_);
        }
        return table;
    }

    std::vector<float> Pattern(double focus) const {
        const int Y = s_.rows;
        const int Z = s_.planes;
        std::vector<float> volume(static_cast<std::size_t>(s_.total), 0.0f);
        for (int p = 0; p < Z; ++p) {
            if (std::abs(p - Z / 2) > nz / 2) continue;
            const std::vector<double> table = RadialTable(Sign() * (p - Z / 2) * dz_ + focus);
            for (int y = 0; y < Y; ++y) {
                for (int x = 0; x < W_; ++x) {
                    const double u = centered_ ? x - W_ / 2 : std::min(x, W_ - x);
                    const double v = centered_ ? y - Y / 2 : std::min(y, Y - y);
                    const int target = centered_ ? p : (Z / 2 + p) % Z;
                    const double r = std::sqrt(u * u + v * v);
                    const int i = static_cast<int>(std::floor(r));
                    const double f = r - i;
                    if (i > nR - 2) continue;
                    const double value = (1 - f) * table[static_cast<std::size_t>(i)] +
                                         f * table[static_cast<std::size_t>(std::min(i + 1, nR - 1))];
                    volume[static_cast<std::size_t>(std::int64_t{target} * s_.planeStride +
                                                    std::int64_t{y} * s_.rowLength + x)] =
                        static_cast<float>(value);
                }
            }
        }
        return volume;
    }

    int nz = 0;
    int nR = 0;

  private:
    double Sign() const { return p_.bInvertZ ? -1.0 : 1.0; }

    DFT3D s_;
    SDiffractionParamsEx p_;
    bool centered_;
    int W_;
    double dxy_ = p_.dXYPitch * 1e-06;
    double dz_ = p_.dZPitch * 1e-06;
    double d_ = p_.dDepthNm * 1e-09;
    double alpha_ = std::asin(p_.dNA / p_.dRefractiveIndex);
    double g_ = alpha_ / p_.dNA;
    double k_ = 6.2831853071796 / (p_.dEmissionWavelength * 1e-06);
};

/// Samples of the disc of a pinhole around the origin of a wrapped plane.
inline bool InPinhole(int x, int y, int W, int Y, double radius) {
    const int u = std::min(x, W - x);
    const int v = std::min(y, Y - y);
    return u * u + v * v < radius * radius;
}

/// Circular convolution of the usable part of each plane with the pinhole's disc, by direct sums in double.
inline std::vector<double> BlurredByPinhole(const DFT3D& s, const std::vector<double>& volume, double radius,
                                            bool padded) {
    const int W = s.rowLength - (padded ? 2 : 0);
    const int Y = s.rows;
    std::vector<double> blurred(volume.size(), 0.0);
    const auto index = [&](int x, int y, int z) {
        return static_cast<std::size_t>(std::int64_t{z} * s.planeStride + std::int64_t{y} * s.rowLength + x);
    };
    for (int z = 0; z < s.planes; ++z) {
        for (int y = 0; y < Y; ++y) {
            for (int x = 0; x < W; ++x) {
                for (int v = 0; v < Y; ++v) {
                    for (int u = 0; u < W; ++u) {
                        if (!InPinhole(u, v, W, Y, radius)) continue;
                        blurred[index(x, y, z)] += volume[index((x - u + W) % W, (y - v + Y) % Y, z)];
                    }
                }
            }
        }
    }
    return blurred;
}

}  // namespace gnr::ref
