// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/kernels_3d.h>
#include <gtest/gtest.h>

#include <cmath>

#include "support/kernel_buffers.h"
#include "support/volumes.h"

namespace {

using Low = CRy3DDeconvolutionLow;
using gnr::test::kNaN;
using gnr::test::Volume;

double WholeVolume(const Volume& a, const Volume& b) {
    double result = -1.0;
    const auto extent = [](int n) { return static_cast<unsigned long long>(n); };
    EXPECT_EQ(
        Low::CalculateIDIV(a, b, result, 0, extent(a.x()), 0, extent(a.y()), 0, extent(a.z()), &a.sizes), 0);
    return result;
}

TEST(KernelsIDivergence, IsZeroFromItself) {
    Volume p(6, 5, 3);
    p.FillRandom(1, 0.0f, 100.0f).FillPadding(kNaN);
    EXPECT_NEAR(WholeVolume(p, p), 0.0, 1e-14);
}

TEST(KernelsIDivergence, ZeroAgainstAPositiveSampleAddsTheSample) {
    Volume a(2, 1, 1);
    Volume b(2, 1, 1);
    b.Fill([](int, int, int) { return 4.0f; });
    EXPECT_EQ(WholeVolume(a, b), 4.0);
    b.at(1, 0, 0) = 0.0f;
    EXPECT_EQ(WholeVolume(a, b), 2.0);
}

TEST(KernelsIDivergence, EmptyBoxesGiveNaN) {
    Volume p(4, 4, 4);
    double result = 1.0;
    EXPECT_EQ(Low::CalculateIDIV(p, p, result, 2, 2, 0, 4, 0, 4, &p.sizes), 0);
    EXPECT_TRUE(std::isnan(result));
    result = 1.0;
    Low::CalculateIDIV(p, p, result, 0, 4, 0, 4, 1, 1, &p.sizes);
    EXPECT_TRUE(std::isnan(result));
    result = 1.0;
    Low::CalculateIDIV(p, p, result, 0, 4, 3, 3, 0, 4, &p.sizes);
    EXPECT_TRUE(std::isnan(result));
}

TEST(KernelsIDivergence, LooksInsideTheBoxOnly) {
    Volume a(8, 6, 5);
    a.Fill([](int, int, int) { return kNaN; });
    Volume b = a;
    for (int k = 1; k < 4; ++k) {
        for (int j = 2; j < 5; ++j) {
            for (int i = 3; i < 7; ++i) {
                a.at(i, j, k) = 0.0f;
                b.at(i, j, k) = 2.5f;
            }
        }
    }
    double result = -1.0;
    Low::CalculateIDIV(a, b, result, 3, 7, 2, 5, 1, 4, &a.sizes);
    EXPECT_EQ(result, 2.5);
}

TEST(KernelsIDivergence, TermsJoinTheSumOneByOne_stays) {
    // The sum of the first sample is 2^53; adding 1 - 1 term by term loses what adding the pair would keep.
    const gnr::test::ThreadCount one(1);
    Volume a(2, 1, 1);
    Volume b(2, 1, 1);
    b.at(0, 0, 0) = 0x1p53f;
    a.at(1, 0, 0) = 3.0f;
    b.at(1, 0, 0) = 1.0f;
    const double L = std::log((3.0 + 1e-20) / (1.0 + 1e-20));
    double sum = 0x1p53;
    sum = (sum + (L * 3.0 - 3.0)) + 1.0;
    EXPECT_EQ(WholeVolume(a, b), sum / 2.0);
    EXPECT_NE(sum, 0x1p53 + ((L * 3.0 - 3.0) + 1.0));
}

}  // namespace
