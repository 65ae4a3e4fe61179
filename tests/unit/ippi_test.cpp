// SPDX-License-Identifier: MIT
#include <fft/ippi.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <memory>
#include <random>
#include <tuple>
#include <vector>

#include "support/bits.h"
#include "support/ref/packed_spectrum.h"
#include "support/threads.h"

namespace {

using namespace gnr::test;
using gnr::ref::Complex;

struct FreePlan {
    void operator()(FFT2DSpec_R_32f* spec) const { EXPECT_EQ(ippiFFTFree_R_32f(spec), 0); }
};
using Plan = std::unique_ptr<FFT2DSpec_R_32f, FreePlan>;

Plan MakePlan(int orderX, int orderY, int flag = IPP_FFT_DIV_INV_BY_N) {
    FFT2DSpec_R_32f* spec = nullptr;
    EXPECT_EQ(ippiFFTInitAlloc_R_32f(&spec, orderX, orderY, flag, ippAlgHintFast), 0);
    return Plan(spec);
}

std::vector<unsigned char> BufferOf(const Plan& plan) {
    int bytes = 0;
    EXPECT_EQ(ippiFFTGetBufSize_R_32f(plan.get(), &bytes), 0);
    return std::vector<unsigned char>(static_cast<std::size_t>(bytes));
}

std::vector<float> RandomFrame(std::size_t count, unsigned seed = 1) {
    std::mt19937 engine(seed);
    std::uniform_real_distribution<float> sample(-1.0f, 3.0f);
    std::vector<float> frame(count);
    for (float& v : frame) v = sample(engine);
    return frame;
}

int StepOf(int w) {
    return w * static_cast<int>(sizeof(float));
}

/// Orders along x and y.
class PackedTransform : public testing::TestWithParam<std::tuple<int, int>> {
  protected:
    int orderX = std::get<0>(GetParam());
    int orderY = std::get<1>(GetParam());
    int W = 1 << orderX;
    int H = 1 << orderY;
    std::vector<float> frame = RandomFrame(static_cast<std::size_t>(W) * static_cast<std::size_t>(H));
};

TEST_P(PackedTransform, ForwardIsTheDirectTransformInPackedPlaces) {
    const Plan plan = MakePlan(orderX, orderY);
    std::vector<unsigned char> buffer = BufferOf(plan);
    const std::vector<double> expected = gnr::ref::PackedSpectrum(frame, W, H);
    ASSERT_EQ(ippiFFTFwd_RToPack_32f_C1IR(frame.data(), StepOf(W), plan.get(), buffer.data()), 0);
    const double bound = 1e-6 * W * H;
    for (std::size_t n = 0; n < frame.size(); ++n) ASSERT_NEAR(frame[n], expected[n], bound) << n;
}

TEST_P(PackedTransform, RoundTripGivesTheFrameBackByFlag2AndTimesItsSizeByFlag8) {
    for (const int flag : {IPP_FFT_DIV_INV_BY_N, IPP_FFT_NODIV_BY_ANY}) {
        const Plan plan = MakePlan(orderX, orderY, flag);
        std::vector<unsigned char> buffer = BufferOf(plan);
        std::vector<float> v = frame;
        ASSERT_EQ(ippiFFTFwd_RToPack_32f_C1IR(v.data(), StepOf(W), plan.get(), buffer.data()), 0);
        ASSERT_EQ(ippiFFTInv_PackToR_32f_C1IR(v.data(), StepOf(W), plan.get(), buffer.data()), 0);
        const double scale = flag == IPP_FFT_NODIV_BY_ANY ? static_cast<double>(W) * H : 1.0;
        for (std::size_t n = 0; n < v.size(); ++n) ASSERT_NEAR(v[n], frame[n] * scale, 2e-6 * scale) << n;
    }
}

INSTANTIATE_TEST_SUITE_P(Orders, PackedTransform,
                         testing::Values(std::tuple{0, 0}, std::tuple{1, 0}, std::tuple{0, 1},
                                         std::tuple{1, 1}, std::tuple{2, 1}, std::tuple{1, 3},
                                         std::tuple{3, 2}, std::tuple{4, 5}, std::tuple{6, 4}));

}  // namespace
