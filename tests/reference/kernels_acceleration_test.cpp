// SPDX-License-Identifier: MIT

// Powers and exponents of odd volumes, bit for bit, whatever the number of threads.

#include <gnr_deconvolution/kernels_3d.h>
#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

#include "support/kernel_buffers.h"
#include "support/ref/plain_acceleration.h"
#include "support/volumes.h"

namespace {

using Low = CRy3DDeconvolutionLow;
using gnr::test::Buffer;
using gnr::test::SameFloats;
using gnr::test::ThreadCount;

class Acceleration : public testing::TestWithParam<std::tuple<int, int, int, int>> {
  protected:
    DFT3D Sizes() const {
        return gnr::test::Geometry(std::get<0>(GetParam()), std::get<1>(GetParam()), std::get<2>(GetParam()));
    }
    int Threads() const { return std::get<3>(GetParam()); }
    Buffer Floats(unsigned seed) const {
        return gnr::test::RandomFloats(static_cast<std::size_t>(Sizes().total), seed);
    }
};

TEST_P(Acceleration, Powers) {
    const DFT3D s = Sizes();
    const ThreadCount threads(Threads());
    for (const float alpha : {0.37f, -0.5f, 2.0f}) {
        Buffer expected = gnr::test::AwkwardFloats(static_cast<std::size_t>(s.total), 60);
        Buffer serial = expected;
        Buffer parallel = expected;
        for (std::size_t i = 0; i < expected.size(); ++i) {
            if (static_cast<int>(i) % s.rowLength >= s.rowLength - 2) continue;
            expected[i] = powf(expected[i] > 0.0f ? expected[i] : 0.0f, alpha);
        }
        Low::PowVkAlpha3D(serial.data(), &s, alpha);
        Low::SSE_PowVkAlpha3D(parallel.data(), &s, alpha);
        EXPECT_TRUE(SameFloats(serial, expected)) << alpha;
        EXPECT_TRUE(SameFloats(parallel, expected)) << alpha;
    }
}

TEST_P(Acceleration, Exponent) {
    const DFT3D s = Sizes();
    const ThreadCount threads(Threads());
    bool inside = false;
    for (unsigned seed = 70; seed < 90; ++seed) {
        // About two samples of five are negative and skipped, so that stale terms count.
        Buffer a = Floats(seed);
        Buffer b = a;
        Buffer c = Floats(seed + 200);
        Buffer d = c;
        for (std::size_t i = 0; i < d.size(); ++i) d[i] = d[i] * d[i] * d[i] + 0.01f * a[i];
        Buffer scratch(2 * static_cast<std::size_t>(s.planeStride), 5.0f);
        const float alpha =
            Low::Recompute_dAlphaK3D(scratch.data(), a.data(), b.data(), c.data(), d.data(), &s);
        EXPECT_EQ(alpha, gnr::ref::ExponentOfNextStep(s, a.data(), b.data(), c.data(), d.data()));
        inside = inside || (alpha > 0.0f && alpha < 1.0f);
    }
    EXPECT_TRUE(inside) << "no case reached the unclamped range";
}

INSTANTIATE_TEST_SUITE_P(SizesAndThreads, Acceleration,
                         testing::Combine(testing::Values(2, 5, 38), testing::Values(1, 7),
                                          testing::Values(1, 4), testing::Values(1, 2, 5)));

}  // namespace
