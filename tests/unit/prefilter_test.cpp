// SPDX-License-Identifier: MIT
#include <fft/ippi.h>
#include <gtest/gtest.h>
#include <ry_system/alloc.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <numeric>
#include <vector>

#include "kernels/frame_blocks.h"
#include "support/bits.h"
#include "support/frames.h"
#include "support/picture_access.h"
#include "support/ref/frame_convolution.h"
#include "support/refused_alloc.h"

namespace {

using namespace gnr::detail;
using namespace gnr::test;

/// The kernel of a frame as rows.
std::vector<float> KernelOf(unsigned W, unsigned H, unsigned& side) {
    float* samples = nullptr;
    CRy2DDeconvolutionFamily::GetPrefilterKernel(W, H, samples, side);
    const FrameBlock<float> owned(samples);
    return {samples, samples + std::size_t{side} * side};
}

TEST(PrefilterKernel, IsASymmetricSquareOf7WithSum1) {
    unsigned side = 0;
    const std::vector<float> k = KernelOf(512, 512, side);
    ASSERT_EQ(side, 7u);
    EXPECT_NEAR(std::accumulate(k.begin(), k.end(), 0.0), 1.0, 1e-6);
    for (unsigned y = 0; y < 7; ++y) {
        for (unsigned x = 0; x < 7; ++x) {
            EXPECT_EQ(k[y * 7 + x], k[x * 7 + y]);
            EXPECT_EQ(k[y * 7 + x], k[(6 - y) * 7 + 6 - x]);
        }
    }
    const gnr::ref::Picture expected = gnr::ref::PrefilterFrame(16, 16);
    for (int y = -3; y <= 3; ++y) {
        for (int x = -3; x <= 3; ++x) {
            EXPECT_NEAR(k[static_cast<std::size_t>((y + 3) * 7 + x + 3)],
                        expected.at((x + 16) % 16, (y + 16) % 16), 4e-8);
        }
    }
}

TEST(PrefilterKernel, ShrinksWithTheFrame) {
    for (const auto& [frame, expected] :
         {std::pair{4u, 3u}, std::pair{2u, 1u}, std::pair{6u, 5u}, std::pair{8u, 7u}, std::pair{10u, 7u},
          std::pair{128u, 7u}, std::pair{1u, 1u}}) {
        unsigned side = 0;
        const std::vector<float> k = KernelOf(frame, frame, side);
        EXPECT_EQ(side, expected) << frame;
        EXPECT_NEAR(std::accumulate(k.begin(), k.end(), 0.0), 1.0, 1e-6);
    }
    unsigned side = 0;
    EXPECT_EQ(KernelOf(2, 2, side), std::vector<float>{1.0f});
}

TEST(PrefilterKernel, HasAZeroRimAlongTheShorterAxis) {
    unsigned side = 0;
    const std::vector<float> wide = KernelOf(64, 4, side);
    ASSERT_EQ(side, 7u);
    const std::vector<float> high = KernelOf(4, 64, side);
    ASSERT_EQ(side, 7u);
    for (unsigned y = 0; y < 7; ++y) {
        for (unsigned x = 0; x < 7; ++x) {
            EXPECT_EQ(wide[y * 7 + x] == 0.0f, y < 2 || y > 4) << x << ' ' << y;
            EXPECT_EQ(wide[y * 7 + x], high[x * 7 + y]);
        }
    }
}

TEST(PrefilterKernel, WithoutMemoryIsNullAndOfNoSize) {
    const RefusedAlloc refusal(0);
    float sentinel = 0.0f;
    float* samples = &sentinel;
    unsigned side = 9;
    CRy2DDeconvolutionFamily::GetPrefilterKernel(128, 128, samples, side);
    EXPECT_EQ(samples, nullptr);
    EXPECT_EQ(side, 0u);
}

class Prefilter : public testing::Test {
  protected:
    FrameSize size = FrameOfOrders(5, 4);
    unsigned W = size.width;
    unsigned H = size.height;
    IppiSize ippSize{static_cast<int>(W), static_cast<int>(H)};
    PicturePlan plan{size, TransformScaling::kInverse};

    int Run(Frame& image, Frame& psf, float unused = 1.0f) {
        return PictureAccess::Prefilter(W, H, image.data(), psf.data(), plan.Spec(), plan.Buffer(), ippSize,
                                        unused);
    }
};

TEST_F(Prefilter, BlursBothFramesAndKeepsTheirScale) {
    Frame image = RandomFrame(512, 0.0f, 9.0f);
    Frame psf = RandomFrame(512, 0.0f, 0.1f, 8);
    const gnr::ref::Picture blurredImage = gnr::ref::Prefiltered(AsReference(image, W, H));
    const gnr::ref::Picture blurredPsf = gnr::ref::Prefiltered(AsReference(psf, W, H));
    EXPECT_EQ(Run(image, psf), 0);
    EXPECT_TRUE(Near(image, blurredImage, 2e-6));
    EXPECT_TRUE(Near(psf, blurredPsf, 2e-6));
}

TEST_F(Prefilter, LeavesNoNegatives) {
    Frame image(512);
    image[100] = 1000.0f;
    image[300] = -50.0f;
    Frame psf(512);
    psf[0] = 1.0f;
    EXPECT_EQ(Run(image, psf), 0);
    EXPECT_TRUE(std::none_of(image.begin(), image.end(), [](float v) { return v < 0.0f; }));
    EXPECT_TRUE(std::none_of(psf.begin(), psf.end(), [](float v) { return v < 0.0f; }));
    EXPECT_EQ(image[300], 0.0f);
}

TEST_F(Prefilter, LastArgumentHasNoEffect) {
    const Frame start = RandomFrame(512, 0.0f, 9.0f);
    Frame one = start;
    Frame other = start;
    Frame psf(512, 0.5f);
    Frame psfToo = psf;
    Run(one, psf, 1.0f);
    Run(other, psfToo, 1e20f);
    EXPECT_TRUE(SameBits(one, other));
}

TEST_F(Prefilter, WithoutMemoryIsMinus9AndLeavesTheFrames) {
    Frame image = RandomFrame(512, 0.0f, 9.0f);
    const Frame before = image;
    Frame psf(512, 0.5f);
    const RefusedAlloc refusal(0);
    EXPECT_EQ(Run(image, psf), -9);
    EXPECT_TRUE(SameBits(image, before));
}

TEST_F(Prefilter, FramesSmallerThanTheKernelStayInsideTheirMemory) {
    for (const auto& [orderX, orderY] :
         {std::pair{0u, 0u}, std::pair{1u, 5u}, std::pair{5u, 1u}, std::pair{2u, 2u}}) {
        size = FrameOfOrders(orderX, orderY);
        W = size.width;
        H = size.height;
        const PicturePlan small(size, TransformScaling::kInverse);
        Frame image(std::size_t{W} * H, 2.0f);
        Frame psf(image.size(), 1.0f);
        EXPECT_EQ(PictureAccess::Prefilter(W, H, image.data(), psf.data(), small.Spec(), small.Buffer(),
                                           ippSize, 1.0f),
                  0);
        EXPECT_TRUE(std::all_of(image.begin(), image.end(), [](float v) { return std::isfinite(v); }));
    }
}

}  // namespace
