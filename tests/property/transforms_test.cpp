// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/kernels_3d.h>
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <numbers>
#include <tuple>
#include <vector>

#include "support/threads.h"
#include "support/tolerances.h"
#include "support/volumes.h"

namespace {

using Low = CRy3DDeconvolutionLow;
using gnr::test::Volume;

/// Sizes that a job has, with the thread counts that a machine has.
class TransformLaws : public testing::TestWithParam<std::tuple<std::tuple<int, int, int>, int>> {
  protected:
    TransformLaws() : threads_(std::get<1>(GetParam())) {}

    static Volume Random(unsigned seed) {
        const auto [x, y, z] = std::get<0>(GetParam());
        Volume v(x, y, z);
        v.FillRandom(seed, -1.0f, 2.0f);
        return v;
    }
    static double Samples(const Volume& v) { return 1.0 * v.x() * v.y() * v.z(); }
    /// Relative to the root mean square that a spectrum of samples of about 1 has.
    static double Tolerance(const Volume& v) {
        return gnr::test::TransformTolerance(Samples(v), 4.0 * std::sqrt(Samples(v)));
    }
    static std::complex<double> Frequency(const Volume& v, int u, int r, int w) {
        const float* const pair = &v.at(2 * u, r, w);
        return {pair[0], pair[1]};
    }

  private:
    gnr::test::ThreadCount threads_;
};

TEST_P(TransformLaws, Parseval) {
    const Volume v = Random(1);
    double energy = 0.0;
    for (int k = 0; k < v.z(); ++k) {
        for (int j = 0; j < v.y(); ++j) {
            for (int i = 0; i < v.x(); ++i) energy += std::pow(v.at(i, j, k), 2);
        }
    }
    ASSERT_EQ(Low::DFT3D_Transform(&v.sizes, v), 0);
    double spectral = 0.0;
    for (int w = 0; w < v.z(); ++w) {
        for (int r = 0; r < v.y(); ++r) {
            for (int u = 0; u <= v.x() / 2; ++u) {
                // Every column but the first and the last stands for its conjugate as well.
                const double weight = u == 0 || u == v.x() / 2 ? 1.0 : 2.0;
                spectral += weight * std::norm(Frequency(v, u, r, w));
            }
        }
    }
    EXPECT_NEAR(spectral / Samples(v) / energy, 1.0, 1e-6);
}

TEST_P(TransformLaws, BackwardUndoesForward) {
    const Volume before = Random(2);
    const Volume v = before;
    ASSERT_EQ(Low::DFT3D_Transform(&v.sizes, v), 0);
    ASSERT_EQ(Low::DFT3D_Inversion(&v.sizes, v), 0);
    for (int k = 0; k < v.z(); ++k) {
        for (int j = 0; j < v.y(); ++j) {
            for (int i = 0; i < v.x(); ++i) ASSERT_NEAR(v.at(i, j, k), before.at(i, j, k), 4e-6);
        }
    }
}

TEST_P(TransformLaws, ACircularShiftTurnsThePhase) {
    constexpr int kShiftX = 3;
    constexpr int kShiftY = 1;
    constexpr int kShiftZ = 2;
    const Volume v = Random(3);
    Volume shifted(v.sizes);
    shifted.Fill([&](int i, int j, int k) {
        return v.at((i + v.x() - kShiftX % v.x()) % v.x(), (j + v.y() - kShiftY % v.y()) % v.y(),
                    (k + v.z() - kShiftZ % v.z()) % v.z());
    });
    ASSERT_EQ(Low::DFT3D_Transform(&v.sizes, v), 0);
    ASSERT_EQ(Low::DFT3D_Transform(&shifted.sizes, shifted), 0);
    for (int w = 0; w < v.z(); ++w) {
        for (int r = 0; r < v.y(); ++r) {
            for (int u = 0; u <= v.x() / 2; ++u) {
                const double turns =
                    1.0 * u * kShiftX / v.x() + 1.0 * r * kShiftY / v.y() + 1.0 * w * kShiftZ / v.z();
                const auto expected = Frequency(v, u, r, w) * std::polar(1.0, -2 * std::numbers::pi * turns);
                ASSERT_LT(std::abs(Frequency(shifted, u, r, w) - expected), Tolerance(v))
                    << u << ' ' << r << ' ' << w;
            }
        }
    }
}

TEST_P(TransformLaws, SumsTransformToSums) {
    const Volume a = Random(4);
    const Volume b = Random(5);
    Volume sum(a.sizes);
    sum.Fill([&](int i, int j, int k) { return a.at(i, j, k) - 2.0f * b.at(i, j, k); });
    for (const Volume* v : {&a, &b, &const_cast<const Volume&>(sum)}) {
        ASSERT_EQ(Low::DFT3D_Transform(&v->sizes, *v), 0);
    }
    for (std::int64_t n = 0; n < a.sizes.total; ++n) {
        ASSERT_NEAR(sum.get()[n], a.get()[n] - 2.0f * b.get()[n], 4 * Tolerance(a)) << n;
    }
}

/// The product of two spectra is the spectrum of their circular convolution, with no factor to correct: a
/// shifted impulse moves the other volume and leaves its values.
TEST_P(TransformLaws, AProductWithAnImpulseMovesTheVolume) {
    const Volume v = Random(6);
    const Volume before = v;
    const Volume impulse(v.sizes);
    impulse.at(1, v.y() - 1, 0) = 1.0f;
    ASSERT_EQ(Low::DFT3D_Transform(&v.sizes, v), 0);
    ASSERT_EQ(Low::DFT3D_Transform(&v.sizes, impulse), 0);
    for (std::int64_t n = 0; n < v.sizes.total; n += 2) {
        const std::complex<float> a(v.get()[n], v.get()[n + 1]);
        const std::complex<float> b(impulse.get()[n], impulse.get()[n + 1]);
        v.get()[n] = (a * b).real();
        v.get()[n + 1] = (a * b).imag();
    }
    ASSERT_EQ(Low::DFT3D_Inversion(&v.sizes, v), 0);
    for (int k = 0; k < v.z(); ++k) {
        for (int j = 0; j < v.y(); ++j) {
            for (int i = 0; i < v.x(); ++i) {
                const float expected = before.at((i + v.x() - 1) % v.x(), (j + 1) % v.y(), k);
                ASSERT_NEAR(v.at(i, j, k), expected, 6e-6);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(SizesAndThreads, TransformLaws,
                         testing::Combine(testing::Values(std::tuple(64, 48, 20), std::tuple(30, 1, 9),
                                                          std::tuple(14, 22, 26), std::tuple(202, 13, 3)),
                                          testing::Values(1, 2, 5)));

}  // namespace
