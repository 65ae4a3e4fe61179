// SPDX-License-Identifier: MIT

// Element-wise kernels on whole volumes of odd sizes, bit for bit, whatever the number of threads.

#include <gnr_deconvolution/kernels_3d.h>
#include <gtest/gtest.h>

#include <tuple>

#include "support/kernel_buffers.h"
#include "support/ref/plain_kernels.h"
#include "support/volumes.h"

namespace {

using Low = CRy3DDeconvolutionLow;
using gnr::test::Buffer;
using gnr::test::SameFloats;

class ElementWiseOnVolumes : public testing::TestWithParam<std::tuple<int, int, int, int>> {
  protected:
    void SetUp() override {
        const auto [x, y, z, threads] = GetParam();
        s = gnr::test::Geometry(x, y, z);
        omp_set_num_threads(threads);
        a = gnr::test::AwkwardFloats(static_cast<std::size_t>(s.total), 17);
        b = gnr::test::AwkwardFloats(static_cast<std::size_t>(s.total), 18);
    }
    void TearDown() override { omp_set_num_threads(before); }

    template <class Kernel>
    Buffer Serial(Kernel kernel) {
        Buffer result = a;
        kernel(&s, result.data(), b.data());
        return result;
    }
    template <class Kernel>
    Buffer Parallel(Kernel kernel) {
        Buffer result = a;
        kernel(result.data(), b.data(), s.total);
        return result;
    }

    DFT3D s{};
    Buffer a;
    Buffer b;
    const int before = omp_get_max_threads();
};

TEST_P(ElementWiseOnVolumes, RealKernelsEqualThePlainLoops) {
    EXPECT_TRUE(SameFloats(Serial(Low::KERNEL3D_Add), gnr::ref::Each(a, b, gnr::ref::Add)));
    EXPECT_TRUE(SameFloats(Parallel(Low::SSE_Add), gnr::ref::Each(a, b, gnr::ref::Add)));
    EXPECT_TRUE(SameFloats(Serial(Low::KERNEL3D_Subtract), gnr::ref::Each(a, b, gnr::ref::Subtract)));
    EXPECT_TRUE(SameFloats(Parallel(Low::SSE_Subtract), gnr::ref::Each(a, b, gnr::ref::Subtract)));
    EXPECT_TRUE(SameFloats(Serial(Low::KERNEL3D_Multiply), gnr::ref::Each(a, b, gnr::ref::Multiply)));
    EXPECT_TRUE(SameFloats(Parallel(Low::SSE_Multiply), gnr::ref::Each(a, b, gnr::ref::Multiply)));
    EXPECT_TRUE(SameFloats(Serial(Low::KERNEL3D_Divide), gnr::ref::Each(a, b, gnr::ref::DivideOrKeep)));
    EXPECT_TRUE(SameFloats(Parallel(Low::SSE_Divide), gnr::ref::Each(a, b, gnr::ref::DivideOrZero)));
}

TEST_P(ElementWiseOnVolumes, ComplexKernelsEqualThePlainLoops) {
    const Buffer product = gnr::ref::ComplexMultiply(a, b, false);
    const Buffer adjoint = gnr::ref::ComplexMultiply(a, b, true);
    EXPECT_TRUE(SameFloats(Serial(Low::KERNEL3D_ComplexMultiply), product));
    EXPECT_TRUE(SameFloats(Parallel(Low::SSE_ComplexMultiply), product));
    EXPECT_TRUE(SameFloats(Serial(Low::KERNEL3D_ComplexMultiplyAdJoint), adjoint));
    EXPECT_TRUE(SameFloats(Parallel(Low::SSE_ComplexMultiplyAdjoint), adjoint));
}

INSTANTIATE_TEST_SUITE_P(SizesAndThreads, ElementWiseOnVolumes,
                         testing::Combine(testing::Values(2, 5, 38), testing::Values(1, 7),
                                          testing::Values(1, 3), testing::Values(1, 2, 5)));

}  // namespace
