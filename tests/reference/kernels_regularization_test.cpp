// SPDX-License-Identifier: MIT

// Damping fields, serial and on all threads, against plain loops: bit for bit, the weight too.

#include <gnr_deconvolution/kernels_3d.h>
#include <gtest/gtest.h>

#include <tuple>

#include "kernels/regularization.h"
#include "support/kernel_buffers.h"
#include "support/ref/plain_regularization.h"
#include "support/volumes.h"

namespace {

using Low = CRy3DDeconvolutionLow;
using gnr::test::Buffer;
using gnr::test::kInfinity;
using gnr::test::kNaN;
using gnr::test::Same;
using gnr::test::SameFloats;

constexpr float kWeights[] = {0.0f,  -0.0f,  1e-4f, -1e-4f, 1e-2f,     -1e-2f,     0.5f, -3.0f,
                              1e10f, -1e10f, 3e38f, -3e38f, kInfinity, -kInfinity, kNaN, 1e-42f};

class DampingFields : public testing::TestWithParam<std::tuple<std::tuple<int, int, int>, int>> {
  protected:
    void SetUp() override {
        const auto [sides, threads] = GetParam();
        const auto [x, y, z] = sides;
        s = gnr::test::Geometry(x, y, z);
        omp_set_num_threads(threads);
        const std::size_t n = static_cast<std::size_t>(s.total);
        Buffer constant(n, 3.0f);
        Buffer oneNaN = gnr::test::RandomFloats(n, 41);
        oneNaN[n / 2] = kNaN;
        Buffer large = gnr::test::RandomFloats(n, 42);
        for (float& v : large) v *= 1e38f;
        estimates = {gnr::test::RandomFloats(n, 43),
                     gnr::test::AwkwardFloats(n, 44),
                     constant,
                     oneNaN,
                     large,
                     Buffer(n, kNaN)};
    }
    void TearDown() override { omp_set_num_threads(before); }

    /// Runs three forms of one field for all estimates and weights; each takes (out, estimate, weight).
    template <class Serial, class Parallel, class Plain>
    void ExpectSame(Serial serial, Parallel parallel, Plain plain) {
        for (Buffer& estimate : estimates) {
            for (const float weight : kWeights) {
                Buffer fields[3] = {Buffer(estimate.size(), 7.0f), Buffer(estimate.size(), 7.0f),
                                    Buffer(estimate.size(), 7.0f)};
                float weights[3] = {weight, weight, weight};
                serial(fields[0].data(), estimate.data(), weights[0]);
                parallel(fields[1].data(), estimate.data(), weights[1]);
                plain(fields[2].data(), estimate.data(), weights[2]);
                ASSERT_TRUE(SameFloats(fields[0], fields[2])) << weight;
                ASSERT_TRUE(SameFloats(fields[1], fields[2])) << weight;
                ASSERT_TRUE(Same(weights[0], weights[2])) << weights[0] << ' ' << weights[2];
                ASSERT_TRUE(Same(weights[1], weights[2])) << weights[1] << ' ' << weights[2];
            }
        }
    }

    DFT3D s{};
    std::vector<Buffer> estimates;
    const int before = omp_get_max_threads();
};

TEST_P(DampingFields, Clamped) {
    ExpectSame([this](float* out, float* pf, float w) { Low::GetRegularization(&s, out, pf, w); },
               [this](float* out, float* pf, float w) { gnr::detail::RegularizeParallel(s, out, pf, w); },
               [this](float* out, float* pf, float w) { gnr::ref::Regularization(s, out, pf, w); });
}

TEST_P(DampingFields, UntilStable) {
    ExpectSame([this](float* out, float* pf, float& w) { Low::GetRegularizationIterative(&s, out, pf, w); },
               [this](float* out, float* pf, float& w) {
                   gnr::detail::RegularizeUntilStableParallel(s, out, pf, w);
               },
               [this](float* out, float* pf, float& w) { gnr::ref::RegularizationIterative(s, out, pf, w); });
}

TEST_P(DampingFields, TotalVariation) {
    ExpectSame(
        [this](float* out, float* pf, float w) { Low::GetRegularizationRLTV(&s, out, pf, w); },
        [this](float* out, float* pf, float w) {
            gnr::detail::RegularizeTotalVariationParallel(s, out, pf, w);
        },
        [this](float* out, float* pf, float w) { gnr::ref::RegularizationTotalVariation(s, out, pf, w); });
}

INSTANTIATE_TEST_SUITE_P(SizesAndThreads, DampingFields,
                         testing::Combine(testing::Values(std::tuple(2, 1, 1), std::tuple(3, 3, 3),
                                                          std::tuple(5, 4, 9), std::tuple(38, 7, 5),
                                                          std::tuple(16, 9, 12), std::tuple(4, 11, 11),
                                                          std::tuple(18, 5, 4)),
                                          testing::Values(1, 2, 5)));

}  // namespace
