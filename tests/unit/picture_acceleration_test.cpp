// SPDX-License-Identifier: MIT

// The sweeps of the accelerated loops against the chain of kernels that they stand for.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "driver/psf_frame.h"
#include "kernels/acceleration.h"
#include "kernels/frame_arithmetic.h"
#include "kernels/picture_plan.h"
#include "support/bits.h"
#include "support/pictures.h"
#include "support/threads.h"

namespace {

using namespace gnr::detail;
using namespace gnr::test;

/// Powers and logarithms differ by a unit in the last place, which alpha and the transforms carry on.
constexpr float kChainRelative = 2e-5f;

/// Frames of several blocks, none of which ends with a row.
constexpr unsigned W = 128;
constexpr unsigned H = 256;

struct LoopFrames {
    std::vector<Frame> frames = std::vector<Frame>(8, Frame(W* H, -3.0f));
    Frame psf = Frame(W * H);
    PicturePlan plan{FrameSize{W, H, 7, 8}, TransformScaling::kInverse};

    LoopFrames() {
        for (unsigned i = 0; i < W * H; ++i) {
            const double v = Scene(i % W, i / W);
            frames[0][i] = static_cast<float>(i % 50 == 0 ? 0.0 : v / 1e6);
        }
        const std::vector<float> guess = LopsidedPsf(9);
        WrapPSFToFrame(psf.data(), W, H, guess.data(), 9, 9);
        frames[1] = frames[0];
    }
    float* At(std::size_t i) { return frames[i].data(); }
    AcceleratedFrames Frames() {
        return {W,          H,     At(0), At(1), At(2),         At(3),
                At(4),      At(5), At(6), At(7), plan.Buffer(), plan.BufferSize(),
                plan.Spec()};
    }
};

/// The loop kernel by kernel.
class Chain {
  public:
    explicit Chain(LoopFrames& loop) : f_(loop) {
        const float sum = static_cast<float>(1.0 / SumOfFrame(f_.psf.data(), W, H));
        inverseSum_ = sum;
        CopyFrame(f_.At(2), f_.psf.data(), W, H);
        f_.plan.Forward(f_.At(2));
        for (const std::size_t i : {3u, 5u, 6u, 7u}) SetOnes2D(f_.At(i), W, H);
        CopyFrame(f_.At(4), f_.At(0), W, H);
    }
    void Iterate(bool cuts) {
        float* const x = f_.At(0);
        float* const b = f_.At(3);
        float* const c = f_.At(4);
        float* const d = f_.At(5);
        float* const e = f_.At(6);
        float* const f = f_.At(7);
        PowVkAlpha2D(b, W, H, alpha);
        MultiplyFrame(x, b, W, H);
        f_.plan.Convolve(d, x, f_.At(2));
        RatioOrZero(b, f_.At(1), d, W, H);
        f_.plan.Correlate(d, b, f_.At(2));
        MultiplyFrame(x, d, W, H);
        ScaleFrame(x, inverseSum_, W, H);
        if (cuts) ClipSmallerThanZero2D(x, W, H);
        RatioOrOne(b, x, c, W, H);
        alpha = Recompute_dAlphaK2D(x, c, e, f, W, H);
        CopyFrame(c, x, W, H);
        CopyFrame(f, e, W, H);
        CopyFrame(e, d, W, H);
    }

    float alpha = 1.0f;

  private:
    LoopFrames& f_;
    float inverseSum_ = 1.0f;
};

TEST(AcceleratedSteps, AreTheChainOfKernels) {
    for (const Negatives negatives : {Negatives::kStay, Negatives::kCut}) {
        LoopFrames swept;
        LoopFrames chained;
        AcceleratedSteps steps(swept.Frames(), swept.psf.data());
        Chain chain(chained);
        float greatestAlpha = 0.0f;
        for (int k = 0; k < 6; ++k) {
            steps.Correct();
            const EnergySums sums = steps.Advance(negatives);
            chain.Iterate(negatives == Negatives::kCut);
            greatestAlpha = std::max(greatestAlpha, chain.alpha);
            const EnergySums expected = SumsOfImage(swept.At(0), W, H);
            EXPECT_EQ(sums.sum, expected.sum);
            EXPECT_EQ(sums.squares, expected.squares);
            for (unsigned i = 0; i < W * H; ++i) {
                const float v = chained.frames[0][i];
                ASSERT_NEAR(swept.frames[0][i], v, kChainRelative * (v + 1e-4f)) << k << ", " << i;
            }
        }
        EXPECT_GT(greatestAlpha, 0.0f) << "powers were taken";
    }
}

TEST(AcceleratedSteps, SumsKeepTheirOrderOnAllThreads) {
    Frame first;
    for (const int threads : {1, 2, 4}) {
        const ThreadCount scope(threads);
        LoopFrames loop;
        AcceleratedSteps steps(loop.Frames(), loop.psf.data());
        for (int k = 0; k < 5; ++k) {
            steps.Correct();
            steps.Advance(Negatives::kCut);
        }
        if (first.empty()) first = loop.frames[0];
        EXPECT_TRUE(SameBits(loop.frames[0], first)) << threads;
    }
}

TEST(AcceleratedSteps, ZerosStay) {
    LoopFrames loop;
    AcceleratedSteps steps(loop.Frames(), loop.psf.data());
    for (int k = 0; k < 4; ++k) {
        steps.Correct();
        steps.Advance(Negatives::kCut);
    }
    for (unsigned i = 0; i < W * H; i += 50) EXPECT_EQ(loop.frames[0][i], 0.0f);
}

}  // namespace
