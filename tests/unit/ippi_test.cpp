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

/// Sizes that several threads share as well.
class PackedTransformPlaces : public PackedTransform {};

TEST_P(PackedTransformPlaces, AreTheSameForAnyAlignmentStepBufferAndThreadCount) {
    for (const bool forward : {true, false}) {
        const auto transform = [&](float* first, int step, const Plan& plan, unsigned char* buffer) {
            return forward ? ippiFFTFwd_RToPack_32f_C1IR(first, step, plan.get(), buffer)
                           : ippiFFTInv_PackToR_32f_C1IR(first, step, plan.get(), buffer);
        };
        std::vector<float> expected = frame;
        {
            const ThreadCount one(1);
            const Plan plan = MakePlan(orderX, orderY);
            std::vector<unsigned char> buffer = BufferOf(plan);
            ASSERT_EQ(transform(expected.data(), StepOf(W), plan, buffer.data()), 0);
        }
        for (const int threads : {1, 2, 5}) {
            const ThreadCount several(threads);
            const Plan plan = MakePlan(orderX, orderY);
            std::vector<unsigned char> buffer = BufferOf(plan);
            buffer.push_back(0);
            for (const std::size_t shift : {std::size_t{0}, std::size_t{1}, std::size_t{3}}) {
                const int stride = W + static_cast<int>(shift);
                std::vector<float> rows(static_cast<std::size_t>(stride * H) + shift, 9.0f);
                for (int y = 0; y < H; ++y) {
                    std::copy_n(&frame[static_cast<std::size_t>(y * W)], W,
                                &rows[shift + static_cast<std::size_t>(y * stride)]);
                }
                // The buffer as it came, at an odd place, and none.
                unsigned char* const buffers[] = {buffer.data(), buffer.data() + 1, nullptr};
                ASSERT_EQ(transform(rows.data() + shift, StepOf(stride), plan, buffers[shift % 3]), 0);
                for (int y = 0; y < H; ++y) {
                    const float* const row = &rows[shift + static_cast<std::size_t>(y * stride)];
                    ASSERT_TRUE(
                        SameBits({row, static_cast<std::size_t>(W)},
                                 {&expected[static_cast<std::size_t>(y * W)], static_cast<std::size_t>(W)}));
                    for (std::size_t gap = 0; y + 1 < H && gap < shift; ++gap) {
                        ASSERT_EQ(row[static_cast<std::size_t>(W) + gap], 9.0f);
                    }
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Orders, PackedTransformPlaces,
                         testing::Values(std::tuple{0, 0}, std::tuple{1, 2}, std::tuple{3, 2},
                                         std::tuple{8, 8}, std::tuple{10, 6}, std::tuple{4, 12}));
INSTANTIATE_TEST_SUITE_P(Orders, PackedTransform,
                         testing::Values(std::tuple{0, 0}, std::tuple{1, 0}, std::tuple{0, 1},
                                         std::tuple{1, 1}, std::tuple{2, 1}, std::tuple{1, 3},
                                         std::tuple{3, 2}, std::tuple{4, 5}, std::tuple{6, 4},
                                         std::tuple{8, 8}));

/// Packed products of a frame of W by H against products of the whole spectra.
class PackedProduct : public testing::TestWithParam<std::tuple<int, int>> {
  protected:
    int orderX = std::get<0>(GetParam());
    int orderY = std::get<1>(GetParam());
    int W = 1 << orderX;
    int H = 1 << orderY;
    IppiSize size{W, H};
    std::size_t count = static_cast<std::size_t>(W) * static_cast<std::size_t>(H);
    std::vector<float> a = RandomFrame(count, 1);
    std::vector<float> b = RandomFrame(count, 2);

    /// Packed spectrum of a picture whose spectrum is A times B, or A times B's conjugate.
    std::vector<double> Expected(bool conjugate) const {
        gnr::ref::ComplexVolume A = gnr::ref::Spectrum(a, W, H);
        const gnr::ref::ComplexVolume B = gnr::ref::Spectrum(b, W, H);
        for (std::size_t n = 0; n < A.values.size(); ++n) {
            A.values[n] *= conjugate ? std::conj(B.values[n]) : B.values[n];
        }
        return gnr::ref::PackedSpectrum(gnr::ref::FromSpectrum(A), W, H);
    }
    std::vector<float> PackedOf(std::vector<float> frame) const {
        const Plan plan = MakePlan(orderX, orderY);
        EXPECT_EQ(ippiFFTFwd_RToPack_32f_C1IR(frame.data(), StepOf(W), plan.get(), nullptr), 0);
        return frame;
    }
    void ExpectNear(const std::vector<float>& got, const std::vector<double>& expected) const {
        const double bound = 3e-6 * static_cast<double>(count) * static_cast<double>(count);
        for (std::size_t n = 0; n < count; ++n) ASSERT_NEAR(got[n], expected[n], bound) << n;
    }
};

TEST_P(PackedProduct, IsThatOfTheSpectra) {
    const std::vector<float> A = PackedOf(a);
    std::vector<float> B = PackedOf(b);
    EXPECT_EQ(ippiMulPack_32f_C1IR(A.data(), StepOf(W), B.data(), StepOf(W), size), 0);
    ExpectNear(B, Expected(false));
}

TEST_P(PackedProduct, WithTheConjugateIsThatOfTheSpectra) {
    const std::vector<float> A = PackedOf(a);
    const std::vector<float> B = PackedOf(b);
    std::vector<float> product(count);
    EXPECT_EQ(
        ippiMulPackConj_32f_C1R(A.data(), StepOf(W), B.data(), StepOf(W), product.data(), StepOf(W), size),
        0);
    ExpectNear(product, Expected(true));
    std::vector<float> inPlace = A;
    EXPECT_EQ(ippiMulPackConj_32f_C1R(inPlace.data(), StepOf(W), B.data(), StepOf(W), inPlace.data(),
                                      StepOf(W), size),
              0);
    EXPECT_TRUE(SameBits(inPlace, product)) << "into the first operand";
    inPlace = B;
    EXPECT_EQ(ippiMulPackConj_32f_C1R(A.data(), StepOf(W), inPlace.data(), StepOf(W), inPlace.data(),
                                      StepOf(W), size),
              0);
    EXPECT_TRUE(SameBits(inPlace, product)) << "into the second";
}

TEST_P(PackedProduct, RealPlacesMultiplyByThemselves) {
    // A spectrum of ones is 1 at the real places and at every real part, 0 at every imaginary part.
    std::vector<float> impulse(count);
    impulse[0] = 1.0f;
    const std::vector<float> ones = PackedOf(impulse);
    std::vector<float> B = PackedOf(b);
    const std::vector<float> before = B;
    EXPECT_EQ(ippiMulPack_32f_C1IR(ones.data(), StepOf(W), B.data(), StepOf(W), size), 0);
    EXPECT_EQ(B, before);
}

INSTANTIATE_TEST_SUITE_P(Orders, PackedProduct,
                         testing::Values(std::tuple{0, 0}, std::tuple{1, 0}, std::tuple{0, 3},
                                         std::tuple{1, 1}, std::tuple{3, 0}, std::tuple{3, 2},
                                         std::tuple{2, 4}, std::tuple{5, 4}));

// ---- arithmetic ------------------------------------------------------------------------------------------

/// Two arrays of 5 by 3 in rows of 7 floats; what lies between the rows stays.
class PictureArithmetic : public testing::Test {
  protected:
    static constexpr IppiSize kSize{5, 3};
    static constexpr int kStep = 7 * 4;
    std::vector<float> src = RandomFrame(21, 4);
    std::vector<float> dst = RandomFrame(21, 5);
    std::vector<float> before = dst;

    template <class F>
    void ExpectEach(F f) const {
        for (std::size_t n = 0; n < 21; ++n) {
            ASSERT_EQ(Bits(dst[n]), Bits(n % 7 < 5 ? f(before[n], src[n]) : before[n])) << n;
        }
    }
};

TEST_F(PictureArithmetic, Multiplies) {
    EXPECT_EQ(ippiMul_32f_C1IR(src.data(), kStep, dst.data(), kStep, kSize), 0);
    ExpectEach([](float d, float s) { return d * s; });
}

TEST_F(PictureArithmetic, SubtractsTheSource) {
    EXPECT_EQ(ippiSub_32f_C1IR(src.data(), kStep, dst.data(), kStep, kSize), 0);
    ExpectEach([](float d, float s) { return d - s; });
}

TEST_F(PictureArithmetic, ScalesAndSets) {
    EXPECT_EQ(ippiMulC_32f_C1IR(0.3f, dst.data(), kStep, kSize), 0);
    ExpectEach([](float d, float) { return d * 0.3f; });
    EXPECT_EQ(ippiSet_32f_C1R(2.5f, dst.data(), kStep, kSize), 0);
    ExpectEach([](float, float) { return 2.5f; });
}

TEST_F(PictureArithmetic, SumsInDoubleTheSameForAnyThreadCount) {
    std::vector<float> v(37 * 41, 0.1f);
    v[5] = 3e9f;
    double sums[2] = {};
    for (const int threads : {1, 5}) {
        const ThreadCount count(threads);
        EXPECT_EQ(ippiSum_32f_C1R(v.data(), 37 * 4, {37, 41}, &sums[threads / 5], ippAlgHintAccurate), 0);
    }
    EXPECT_EQ(sums[0], sums[1]);
    EXPECT_NEAR(sums[0], 3e9 + (37 * 41 - 1) * static_cast<double>(0.1f), 1e-4);
}

// ---- statuses --------------------------------------------------------------------------------------------

TEST(IppiStatus, OfPlans) {
    FFT2DSpec_R_32f* spec = nullptr;
    EXPECT_EQ(ippiFFTInitAlloc_R_32f(nullptr, 3, 3, 2, ippAlgHintFast), ippStsNullPtrErr);
    for (const auto& [x, y] : {std::pair{-1, 3}, std::pair{3, -1}, std::pair{29, 3}, std::pair{3, 1000}}) {
        EXPECT_EQ(ippiFFTInitAlloc_R_32f(&spec, x, y, 2, ippAlgHintFast), ippStsFftOrderErr);
        EXPECT_EQ(spec, nullptr);
    }
    for (const int flag : {0, 3, 16}) {
        EXPECT_EQ(ippiFFTInitAlloc_R_32f(&spec, 3, 3, flag, ippAlgHintFast), ippStsFftFlagErr);
        EXPECT_EQ(spec, nullptr);
    }
    int bytes = 0;
    EXPECT_EQ(ippiFFTGetBufSize_R_32f(nullptr, &bytes), ippStsNullPtrErr);
    EXPECT_EQ(ippiFFTFree_R_32f(nullptr), ippStsNullPtrErr);
    const Plan plan = MakePlan(3, 3);
    EXPECT_EQ(ippiFFTGetBufSize_R_32f(plan.get(), nullptr), ippStsNullPtrErr);
}

TEST(IppiStatus, OfTransforms) {
    const Plan plan = MakePlan(3, 2);
    std::vector<float> v(32, 1.0f);
    EXPECT_EQ(ippiFFTFwd_RToPack_32f_C1IR(nullptr, 32, plan.get(), nullptr), ippStsNullPtrErr);
    EXPECT_EQ(ippiFFTFwd_RToPack_32f_C1IR(v.data(), 32, nullptr, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(ippiFFTFwd_RToPack_32f_C1IR(v.data(), 28, plan.get(), nullptr), ippStsStepErr);
    EXPECT_EQ(ippiFFTInv_PackToR_32f_C1IR(v.data(), 33, plan.get(), nullptr), ippStsStepErr);
    EXPECT_EQ(v, std::vector<float>(32, 1.0f));
}

TEST(IppiStatus, OfArithmetic) {
    std::vector<float> v(8, 1.0f);
    double sum = 0.0;
    EXPECT_EQ(ippiSum_32f_C1R(v.data(), 16, {4, 2}, nullptr, ippAlgHintAccurate), ippStsNullPtrErr);
    EXPECT_EQ(ippiSum_32f_C1R(nullptr, 16, {4, 2}, &sum, ippAlgHintAccurate), ippStsNullPtrErr);
    EXPECT_EQ(ippiSet_32f_C1R(2.0f, v.data(), 16, {0, 2}), ippStsSizeErr);
    EXPECT_EQ(ippiMulC_32f_C1IR(2.0f, v.data(), 16, {4, -1}), ippStsSizeErr);
    EXPECT_EQ(ippiMul_32f_C1IR(v.data(), 12, v.data(), 16, {4, 2}), ippStsStepErr);
    EXPECT_EQ(ippiSub_32f_C1IR(v.data(), 16, v.data(), 12, {4, 2}), ippStsStepErr);
    EXPECT_EQ(ippiMulPack_32f_C1IR(nullptr, 16, v.data(), 16, {4, 2}), ippStsNullPtrErr);
    EXPECT_EQ(v, std::vector<float>(8, 1.0f));
}

TEST(PackedTransformScale, FollowsTheFlag) {
    for (const auto& [flag, forward, inverse] :
         {std::tuple{1, 1.0f / 64, 1.0f}, std::tuple{2, 1.0f, 1.0f / 64}, std::tuple{4, 0.125f, 0.125f},
          std::tuple{8, 1.0f, 1.0f}}) {
        const Plan plan = MakePlan(3, 3, flag);
        std::vector<float> v(64);
        v[0] = 1.0f;
        EXPECT_EQ(ippiFFTFwd_RToPack_32f_C1IR(v.data(), 32, plan.get(), nullptr), 0);
        EXPECT_EQ(v[0], forward);
        v.assign(64, 0.0f);
        v[0] = 1.0f;
        EXPECT_EQ(ippiFFTInv_PackToR_32f_C1IR(v.data(), 32, plan.get(), nullptr), 0);
        EXPECT_EQ(v[63], inverse);
    }
}

}  // namespace
