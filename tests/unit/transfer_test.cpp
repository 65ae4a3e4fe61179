// SPDX-License-Identifier: MIT

// Products with a transfer frame against the transform, the product and the inverse transform one by one.

#include <fft/transfer.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <tuple>
#include <vector>

#include "support/bits.h"
#include "support/threads.h"

namespace {

using gnr::fft::TransferUse;
using gnr::test::SameBits;
using Frame = std::vector<float>;

class Plan {
  public:
    Plan(int orderX, int orderY, int flag) {
        EXPECT_EQ(ippiFFTInitAlloc_R_32f(&spec_, orderX, orderY, flag, ippAlgHintFast), 0);
        int bytes = 0;
        EXPECT_EQ(ippiFFTGetBufSize_R_32f(spec_, &bytes), 0);
        buffer_.resize(static_cast<std::size_t>(bytes));
    }
    Plan(const Plan&) = delete;
    Plan& operator=(const Plan&) = delete;
    ~Plan() { EXPECT_EQ(ippiFFTFree_R_32f(spec_), 0); }

    const FFT2DSpec_R_32f* Spec() const { return spec_; }
    unsigned char* Buffer() { return buffer_.data(); }

  private:
    FFT2DSpec_R_32f* spec_ = nullptr;
    std::vector<unsigned char> buffer_;
};

Frame RandomFrame(std::size_t count, unsigned seed) {
    std::mt19937 engine(seed);
    std::uniform_real_distribution<float> sample(-1.0f, 3.0f);
    Frame frame(count);
    for (float& v : frame) v = sample(engine);
    return frame;
}

/// Orders along x and y.
class Transfer : public testing::TestWithParam<std::tuple<int, int>> {
  protected:
    const int orderX_ = std::get<0>(GetParam());
    const int orderY_ = std::get<1>(GetParam());
    const IppiSize size_ = {1 << orderX_, 1 << orderY_};
    const int step_ = gnr::fft::DenseStep(size_);
    const Frame frame_ = RandomFrame(std::size_t{1} << (orderX_ + orderY_), 1);
    const Frame kernel_ = RandomFrame(frame_.size(), 2);

    /// The frame times the transfer function, a chunk of rows at a time, the last chunk first.
    Frame PassByPass(Plan& plan, const Frame& transfer, TransferUse use) const {
        const gnr::fft::TransferPasses passes(size_, plan.Spec(), plan.Buffer());
        EXPECT_TRUE(passes);
        EXPECT_EQ(passes.Chunks() * passes.RowsTogether(), size_.height);
        for (std::ptrdiff_t chunk = passes.Chunks() - 1; chunk >= 0; --chunk) {
            for (std::ptrdiff_t j = 0; j < passes.RowsTogether(); ++j) {
                const std::ptrdiff_t row = chunk * passes.RowsTogether() + j;
                std::copy_n(frame_.data() + row * size_.width, size_.width, passes.Samples(row));
            }
            passes.Transform(chunk);
        }
        passes.Multiply(transfer.data(), use);
        Frame product(frame_.size());
        for (std::ptrdiff_t chunk = passes.Chunks() - 1; chunk >= 0; --chunk) passes.Invert(chunk);
        for (std::ptrdiff_t row = 0; row < size_.height; ++row) {
            std::copy_n(passes.Samples(row), size_.width, product.data() + row * size_.width);
        }
        return product;
    }
};

TEST_P(Transfer, IsTheThreeOperationsBitForBit) {
    for (const int flag :
         {IPP_FFT_DIV_FWD_BY_N, IPP_FFT_DIV_INV_BY_N, IPP_FFT_DIV_BY_SQRTN, IPP_FFT_NODIV_BY_ANY}) {
        for (const int threads : {1, 2, 5}) {
            const gnr::test::ThreadCount scope(threads);
            Plan plan(orderX_, orderY_, flag);
            Frame spectrum = kernel_;
            Frame transfer = kernel_;
            ASSERT_EQ(ippiFFTFwd_RToPack_32f_C1IR(spectrum.data(), step_, plan.Spec(), plan.Buffer()), 0);
            ASSERT_EQ(gnr::fft::MakeTransfer(transfer.data(), size_, plan.Spec(), plan.Buffer()), 0);
            for (const TransferUse use : {TransferUse::kPlain, TransferUse::kConjugate}) {
                Frame expected = frame_;
                float* const e = expected.data();
                ASSERT_EQ(ippiFFTFwd_RToPack_32f_C1IR(e, step_, plan.Spec(), plan.Buffer()), 0);
                if (use == TransferUse::kPlain) {
                    ASSERT_EQ(ippiMulPack_32f_C1IR(spectrum.data(), step_, e, step_, size_), 0);
                } else {
                    ASSERT_EQ(ippiMulPackConj_32f_C1R(e, step_, spectrum.data(), step_, e, step_, size_), 0);
                }
                ASSERT_EQ(ippiFFTInv_PackToR_32f_C1IR(e, step_, plan.Spec(), plan.Buffer()), 0);

                const Frame source = frame_;
                Frame apart(frame_.size());
                ASSERT_EQ(gnr::fft::MultiplyByTransfer(apart.data(), source.data(), transfer.data(), use,
                                                       size_, plan.Spec(), plan.Buffer()),
                          0);
                EXPECT_TRUE(SameBits(apart, expected));
                EXPECT_TRUE(SameBits(source, frame_));
                Frame inPlace = frame_;
                ASSERT_EQ(gnr::fft::MultiplyByTransfer(inPlace.data(), inPlace.data(), transfer.data(), use,
                                                       size_, plan.Spec(), nullptr),
                          0);
                EXPECT_TRUE(SameBits(inPlace, expected));
                EXPECT_TRUE(SameBits(PassByPass(plan, transfer, use), expected));
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, Transfer,
                         testing::Values(std::tuple(0, 0), std::tuple(0, 3), std::tuple(1, 0),
                                         std::tuple(4, 0), std::tuple(1, 1), std::tuple(1, 4),
                                         std::tuple(2, 2), std::tuple(5, 1), std::tuple(3, 5),
                                         std::tuple(7, 6), std::tuple(8, 9)));

TEST(TransferStatus, OfMissingFrames) {
    Plan plan(3, 3, IPP_FFT_DIV_INV_BY_N);
    const IppiSize size = {8, 8};
    Frame frame(64);
    float* const f = frame.data();
    const auto multiply = [&](float* dst, const float* src, const float* transfer) {
        return gnr::fft::MultiplyByTransfer(dst, src, transfer, TransferUse::kPlain, size, plan.Spec(),
                                            plan.Buffer());
    };
    EXPECT_EQ(multiply(f, f, f), ippStsNoErr);
    EXPECT_EQ(multiply(nullptr, f, f), ippStsNullPtrErr);
    EXPECT_EQ(multiply(f, nullptr, f), ippStsNullPtrErr);
    EXPECT_EQ(multiply(f, f, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(gnr::fft::MakeTransfer(nullptr, size, plan.Spec(), plan.Buffer()), ippStsNullPtrErr);
    EXPECT_EQ(gnr::fft::MakeTransfer(f, size, nullptr, plan.Buffer()), ippStsNullPtrErr);
}

TEST(TransferPasses, AreNotHadWithoutAPlan) {
    EXPECT_FALSE(gnr::fft::TransferPasses({8, 8}, nullptr, nullptr));
}

}  // namespace
