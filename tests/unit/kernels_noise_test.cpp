// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/kernels_3d.h>
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "support/kernel_access.h"
#include "support/kernel_buffers.h"
#include "support/volumes.h"

namespace {

using Low = CRy3DDeconvolutionLow;
using gnr::test::Buffer;
using gnr::test::KernelAccess;
using gnr::test::kNaN;
using gnr::test::Volume;

double NoiseOf(const Volume& v) {
    return Low::GetMyImmerkaerNoiseEstimationFloat(v, v.sizes.rowLength, v.sizes.rows);
}

// ---- estimator -----------------------------------------------------------------------------------------

TEST(KernelsNoise, ConstantAndLinearPlanesHaveNone) {
    Volume v(8, 6, 1);
    v.Fill([](int, int, int) { return 37.0f; }).FillPadding(kNaN);
    EXPECT_EQ(NoiseOf(v), 0.0);
    v.Fill([](int i, int j, int) { return 5 + 2 * i - 3 * j; });
    EXPECT_EQ(NoiseOf(v), 0.0);
}

TEST(KernelsNoise, PlanesOfTwoRowsOrFewerHaveNone) {
    Volume v(16, 2, 1);
    v.FillRandom(1, 0.0f, 100.0f);
    for (const int rows : {2, 1, 0, -5}) {
        EXPECT_EQ(Low::GetMyImmerkaerNoiseEstimationFloat(v, 18, rows), 0.0) << rows;
    }
}

TEST(KernelsNoise, PlanesOfFourColumnsHaveNoEstimate) {
    Buffer plane(12, 1.0f);
    EXPECT_TRUE(std::isnan(Low::GetMyImmerkaerNoiseEstimationFloat(plane.data(), 4, 3)));
    EXPECT_EQ(Low::GetMyImmerkaerNoiseEstimationFloat(plane.data(), 3, 4), 0.0);
}

TEST(KernelsNoise, EstimatesTheVarianceOfWhiteNoiseOnASmoothImage) {
    std::mt19937 engine(7);
    std::normal_distribution<float> noise(0.0f, 3.0f);
    Volume v(256, 256, 1);
    v.Fill([&](int i, int j, int) { return 100.0f + 0.1f * static_cast<float>(i + j) + noise(engine); });
    EXPECT_NEAR(NoiseOf(v), 9.0, 0.45);
}

TEST(KernelsNoise, DividesByTheRowLengthLessFour_stays) {
    // One mask position: 5 floats a row, 3 rows.
    Buffer plane(15, 0.0f);
    plane[6] = 1.0f;
    const double sigma = 4.0 * (std::sqrt(1.5707963267948966) / (1.0 * 6 * 1.0));
    EXPECT_EQ(Low::GetMyImmerkaerNoiseEstimationFloat(plane.data(), 5, 3), sigma * sigma);
}

TEST(KernelsNoise, LeavesTheLastFourColumnsOutAsMaskCorners_stays) {
    // Mask corners end at column iWidth - 5, so the last column under the mask is iWidth - 3.
    const int width = 9;
    for (int column = 0; column < width; ++column) {
        Buffer plane(9 * 4, 0.0f);
        plane[static_cast<std::size_t>(width + column)] = 1.0f;
        const double noise = Low::GetMyImmerkaerNoiseEstimationFloat(plane.data(), width, 4);
        EXPECT_EQ(noise > 0.0, column <= width - 3) << column;
    }
}

TEST(KernelsNoise, EqualsTheMaskWrittenOut) {
    for (const int width : {5, 6, 11, 24}) {
        for (const int height : {3, 4, 9}) {
            Buffer p = gnr::test::RandomFloats(static_cast<std::size_t>(width * height), 3);
            const auto at = [&](int x, int y) -> double {
                return p[static_cast<std::size_t>(y * width + x)];
            };
            double sum = 0.0;
            for (int y = 0; y <= height - 3; ++y) {
                for (int x = 0; x <= width - 5; ++x) {
                    const double R =
                        ((((at(x + 2, y) + at(x, y)) + at(x, y + 2)) + at(x + 2, y + 2)) -
                         (((at(x, y + 1) + at(x + 1, y)) + at(x + 2, y + 1)) + at(x + 1, y + 2)) * 2) +
                        at(x + 1, y + 1) * 4;
                    sum += std::fabs(R);
                }
            }
            const double positions = (height - 2) * 6.0 * (width - 4);
            const double sigma = sum * (std::sqrt(1.5707963267948966) / positions);
            EXPECT_EQ(Low::GetMyImmerkaerNoiseEstimationFloat(p.data(), width, height), sigma * sigma);
        }
    }
}

// ---- Gaussian ------------------------------------------------------------------------------------------

TEST(KernelsNoise, GaussianEndsARowWithItsFirstValueBelowTheCutOff) {
    Buffer plane(100, -7.0f);
    KernelAccess::GaussSimpleHat(plane.data(), 100, 1, 1.0);
    const double pi = 3.1415926535898;
    for (std::size_t x = 0; x <= 5; ++x) {
        EXPECT_EQ(plane[x], static_cast<float>(std::exp(-static_cast<double>(x * x)) * (1 / pi))) << x;
    }
    EXPECT_NEAR(plane[5], 4.4e-12, 1e-13);
    for (std::size_t x = 6; x < 100; ++x) EXPECT_EQ(plane[x], -7.0f) << x;
}

TEST(KernelsNoise, GaussianHasItsPeakAtTheOriginAndIsRadial) {
    const int width = 13;
    const int height = 7;
    const double sigma = 2.5;
    Buffer plane(91, -7.0f);
    KernelAccess::GaussSimpleHat(plane.data(), width, height, sigma);
    const double pi = 3.1415926535898;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const double expected =
                std::exp(-(x * x + y * y) * (1 / (sigma * sigma))) * (1 / (sigma * sigma * pi));
            const float v = plane[static_cast<std::size_t>(y * width + x)];
            EXPECT_EQ(v, static_cast<float>(expected)) << x << ' ' << y;
            if (expected < 1e-10) break;
        }
    }
}

TEST(KernelsNoise, EachRowBelowTheCutOffStillWritesItsFirstFloat) {
    Buffer plane(4 * 8, -7.0f);
    KernelAccess::GaussSimpleHat(plane.data(), 4, 8, 1.0);
    for (std::size_t y = 5; y < 8; ++y) {
        EXPECT_LT(plane[4 * y], 1e-10f);
        EXPECT_GE(plane[4 * y], 0.0f);
        for (std::size_t x = 1; x < 4; ++x) EXPECT_EQ(plane[4 * y + x], -7.0f);
    }
}

TEST(KernelsNoise, GaussHatIgnoresItsDepth) {
    Buffer simple(12, 0.0f);
    Buffer hat = simple;
    KernelAccess::GaussSimpleHat(simple.data(), 4, 3, 0.8);
    KernelAccess::GaussHat(hat.data(), 4, 3, 1000, 0.8);
    EXPECT_EQ(simple, hat);
}

}  // namespace
