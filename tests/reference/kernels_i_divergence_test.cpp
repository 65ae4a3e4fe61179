// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/kernels_3d.h>
#include <gtest/gtest.h>

#include <cmath>

#include "support/kernel_buffers.h"
#include "support/ref/plain_statistics.h"
#include "support/tolerances.h"
#include "support/volumes.h"

namespace {

using Low = CRy3DDeconvolutionLow;
using gnr::ref::Box;
using gnr::test::Volume;

class IDivergenceOverBoxes : public testing::TestWithParam<std::tuple<Box, int>> {};

TEST_P(IDivergenceOverBoxes, EqualsTheExtendedPrecisionSum) {
    const auto& [box, threads] = GetParam();
    const gnr::test::ThreadCount count(threads);
    Volume a(38, 17, 11);
    a.FillRandom(51, 0.0f, 20.0f).FillPadding(gnr::test::kNaN);
    Volume b(38, 17, 11);
    b.FillRandom(52, 0.0f, 20.0f).FillPadding(gnr::test::kNaN);
    a.at(3, 3, 3) = 0.0f;
    b.at(4, 4, 4) = 0.0f;

    const auto limit = [](int n) { return static_cast<unsigned long long>(n); };
    double result = -1.0;
    Low::CalculateIDIV(a, b, result, limit(box.minX), limit(box.maxX), limit(box.minY), limit(box.maxY),
                       limit(box.minZ), limit(box.maxZ), &a.sizes);
    const double expected = gnr::ref::IDivergence(a.sizes, a, b, box);
    EXPECT_NEAR(result, expected, gnr::test::kIDivergenceRelative * expected);
}

INSTANTIATE_TEST_SUITE_P(BoxesAndThreads, IDivergenceOverBoxes,
                         testing::Combine(testing::Values(Box{0, 38, 0, 17, 0, 11}, Box{3, 35, 1, 16, 2, 9},
                                                          Box{0, 38, 0, 17, 5, 6}, Box{7, 8, 5, 6, 3, 4}),
                                          testing::Values(1, 2, 5)));

}  // namespace
