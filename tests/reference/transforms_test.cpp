// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/kernels_3d.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <tuple>

#include "support/dense.h"
#include "support/ref/direct_dft.h"
#include "support/tolerances.h"
#include "support/volumes.h"

namespace {

using Low = CRy3DDeconvolutionLow;
using gnr::test::Volume;

/// Even and odd sides, primes, sides of one sample.
class TransformsAgainstDirectDft : public testing::TestWithParam<std::tuple<int, int, int>> {
  protected:
    Volume Random() const {
        const auto [x, y, z] = GetParam();
        Volume v(x, y, z);
        v.FillRandom(7, -1.0f, 2.0f).FillPadding(gnr::test::kSentinel);
        return v;
    }
    static double Tolerance(const Volume& v) {
        const double samples = 1.0 * v.x() * v.y() * v.z();
        return gnr::test::TransformTolerance(samples, 2.0 * samples);
    }
};

/// The half spectrum where the layout puts it: complex rows of rowLength / 2, planes of planeStride / 2.
void ExpectSpectrum(const Volume& v, const gnr::ref::ComplexVolume& expected, double tolerance) {
    for (int w = 0; w < v.z(); ++w) {
        for (int r = 0; r < v.y(); ++r) {
            for (int u = 0; u <= v.x() / 2; ++u) {
                const long long n = 2LL * (w * (v.sizes.planeStride / 2) + r * (v.sizes.rowLength / 2) + u);
                ASSERT_NEAR(v.get()[n], expected.at(u, r, w).real(), tolerance) << u << ' ' << r << ' ' << w;
                ASSERT_NEAR(v.get()[n + 1], expected.at(u, r, w).imag(), tolerance)
                    << u << ' ' << r << ' ' << w;
            }
        }
    }
}

TEST_P(TransformsAgainstDirectDft, Forward) {
    const Volume v = Random();
    const auto expected = gnr::ref::Forward(gnr::test::ToDense(v));
    ASSERT_EQ(Low::DFT3D_Transform(&v.sizes, v), 0);
    ExpectSpectrum(v, expected, Tolerance(v));
}

TEST_P(TransformsAgainstDirectDft, ForwardAndBackwardGiveTheImageBackAndFinitePadding) {
    const Volume before = Random();
    Volume v = before;
    v.FillPadding(std::numeric_limits<float>::quiet_NaN());
    ASSERT_EQ(Low::DFT3D_Transform(&v.sizes, v), 0);
    ASSERT_EQ(Low::DFT3D_Inversion(&v.sizes, v), 0);
    for (int k = 0; k < v.z(); ++k) {
        for (int j = 0; j < v.y(); ++j) {
            for (int i = 0; i < v.x(); ++i) ASSERT_NEAR(v.at(i, j, k), before.at(i, j, k), 4e-6);
            ASSERT_TRUE(std::isfinite(v.at(v.x(), j, k)));
            ASSERT_TRUE(std::isfinite(v.at(v.x() + 1, j, k)));
        }
    }
}

/// Each plane by itself, in widths that the layout supports.
class PlaneTransformsAgainstDirectDft : public TransformsAgainstDirectDft {};

TEST_P(PlaneTransformsAgainstDirectDft, Forward) {
    const Volume v = Random();
    gnr::ref::ComplexVolume expected(v.x(), v.y(), v.z());
    for (int k = 0; k < v.z(); ++k) {
        gnr::ref::RealVolume plane(v.x(), v.y(), 1);
        for (int j = 0; j < v.y(); ++j) {
            for (int i = 0; i < v.x(); ++i) plane.at(i, j, 0) = v.at(i, j, k);
        }
        const auto spectrum = gnr::ref::Forward(plane);
        for (int j = 0; j < v.y(); ++j) {
            for (int i = 0; i < v.x(); ++i) expected.at(i, j, k) = spectrum.at(i, j, 0);
        }
    }
    ASSERT_EQ(Low::DFT2D_Transform(&v.sizes, v), 0);
    ExpectSpectrum(v, expected, Tolerance(v));
}

/// Volumes on both sides of what a cache holds, with rows that do not divide into equal chunks: one cosine a
/// frequency, which plain arithmetic gives.
TEST(LargeTransforms, SparseSpectraGiveTheirCosines) {
    struct Wave {
        int u, v, w;
        double amplitude;
    };
    constexpr std::array waves = {Wave{3, 1, 2, 1.0}, Wave{0, 70, 5, -0.5}, Wave{64, 11, 0, 2.0}};
    for (const int planes : {90, 121}) {
        Volume volume(130, 75, planes);
        const DFT3D& s = volume.sizes;
        const double samples = 130.0 * 75.0 * planes;
        for (const Wave& wave : waves) {
            const auto put = [&](int v, int w) {
                volume.get()[std::int64_t{w} * s.planeStride + std::int64_t{v} * s.rowLength + 2 * wave.u] =
                    static_cast<float>(wave.amplitude * samples / 2);
            };
            put(wave.v, wave.w);
            // In the plane u = 0 the half spectrum holds the conjugate frequency too.
            if (wave.u == 0) put((75 - wave.v) % 75, (planes - wave.w) % planes);
        }
        ASSERT_EQ(Low::DFT3D_Inversion(&s, volume), 0);
        double worst = 0.0;
        for (int k = 0; k < planes; ++k) {
            for (int j = 0; j < 75; ++j) {
                for (int i = 0; i < 130; ++i) {
                    double expected = 0.0;
                    for (const Wave& wave : waves) {
                        const double turns =
                            wave.u * i / 130.0 + wave.v * j / 75.0 + 1.0 * wave.w * k / planes;
                        expected += wave.amplitude * std::cos(2 * std::numbers::pi * turns);
                    }
                    worst = std::max(worst, std::abs(volume.at(i, j, k) - expected));
                }
                ASSERT_EQ(volume.at(130, j, k), 0.0f);
                ASSERT_EQ(volume.at(131, j, k), 0.0f);
            }
        }
        EXPECT_LT(worst, gnr::test::TransformTolerance(samples, 3.5)) << planes;
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, TransformsAgainstDirectDft,
                         testing::Values(std::tuple(2, 1, 1), std::tuple(1, 1, 1), std::tuple(4, 3, 5),
                                         std::tuple(6, 4, 3), std::tuple(3, 5, 2), std::tuple(7, 1, 4),
                                         std::tuple(16, 8, 4), std::tuple(38, 17, 2), std::tuple(2, 37, 3),
                                         std::tuple(5, 1, 1), std::tuple(94, 3, 1), std::tuple(2, 3, 127),
                                         std::tuple(194, 1, 2)));

INSTANTIATE_TEST_SUITE_P(Sizes, PlaneTransformsAgainstDirectDft,
                         testing::Values(std::tuple(2, 1, 1), std::tuple(4, 3, 5), std::tuple(6, 4, 3),
                                         std::tuple(38, 17, 2), std::tuple(2, 37, 3), std::tuple(94, 1, 4)));

}  // namespace
