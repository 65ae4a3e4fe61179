// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "support/bits.h"
#include "support/frames.h"
#include "support/picture_access.h"
#include "support/progress_log.h"
#include "support/ref/accelerated_2d.h"

namespace {

using namespace gnr::detail;
using namespace gnr::test;

constexpr float kUnset = -3.25f;

/// The plain loop on frames of 32 by 16.
class AcceleratedInner : public testing::Test {
  protected:
    static constexpr std::size_t kCount = 512;
    FrameSize size = FrameOfOrders(5, 4);
    PicturePlan plan{size, TransformScaling::kInverse};
    Frame x = RandomFrame(kCount, 1.0f, 9.0f);
    Frame h = Frame(kCount);
    Frame y = Frame(kCount, kUnset);
    Frame otf = Frame(kCount, kUnset);
    std::array<Frame, 5> work;  ///< b to f

    AcceleratedInner() {
        WrapPsf(LopsidedPsf(6), 6);
        for (Frame& frame : work) frame.assign(kCount, kUnset);
    }
    void WrapPsf(const std::vector<float>& psf, int n) { h = AsFrame(gnr::ref::WrappedPsf(32, 16, psf, n)); }
    int Run(unsigned iterations, bool fromImage = true, RyProgressCallback pfn = nullptr,
            void* pData = nullptr) {
        return PictureAccess::AccRLProcessInner(x.data(), h.data(), 32, 16, iterations, fromImage, 77,
                                                y.data(), otf.data(), work[0].data(), work[1].data(),
                                                work[2].data(), work[3].data(), work[4].data(), plan.Buffer(),
                                                plan.BufferSize(), plan.Spec(), pfn, pData, true);
    }
    gnr::ref::Picture Reference(const Frame& frame) const { return AsReference(frame, 32, 16); }
};

TEST_F(AcceleratedInner, NoIterationSetsUpAndLeavesTheEstimate) {
    const Frame start = x;
    x[7] = -2.0f;
    const Frame given = x;
    Frame spectrum = h;
    plan.Forward(spectrum.data());
    EXPECT_EQ(Run(0), 0);
    EXPECT_TRUE(SameBits(x, given));
    EXPECT_TRUE(SameBits(y, given));
    EXPECT_TRUE(SameBits(otf, spectrum));
    EXPECT_TRUE(SameBits(work[1], given));
    for (const std::size_t ones : {0u, 2u, 3u, 4u})
        EXPECT_TRUE(SameBits(work[ones], Frame(kCount, 1.0f))) << ones;
}

TEST_F(AcceleratedInner, PsfIsTheDataOnRequest) {
    EXPECT_EQ(Run(0, false), 0);
    EXPECT_TRUE(SameBits(y, h));
}

TEST_F(AcceleratedInner, IsTheReferenceStepByStep) {
    gnr::ref::AcceleratedLoop reference(Reference(x), Reference(h), Reference(x));
    const Frame start = x;
    std::vector<double> alphas;
    for (unsigned iterations = 1; iterations <= 8; ++iterations) {
        reference.Step();
        alphas.push_back(reference.alpha);
        x = start;
        EXPECT_EQ(Run(iterations), 0);
        EXPECT_TRUE(Near(x, reference.x, 3e-5)) << iterations;
    }
    EXPECT_TRUE(std::any_of(alphas.begin(), alphas.end(), [](double a) { return a > 0.1 && a < 1.0; }))
        << "the power is at work";
}

TEST_F(AcceleratedInner, AgainstThePsfAsDataIsTheReferenceToo) {
    gnr::ref::AcceleratedLoop reference(Reference(x), Reference(h), Reference(h));
    for (int k = 0; k < 4; ++k) reference.Step();
    EXPECT_EQ(Run(4, false), 0);
    EXPECT_TRUE(Near(x, reference.x, 3e-5));
}

TEST_F(AcceleratedInner, PsfOfVanishingSumIsNotCorrected) {
    for (float& v : h) v *= 1e-6f;
    gnr::ref::AcceleratedLoop reference(Reference(x), Reference(h), Reference(x));
    ASSERT_LT(gnr::ref::SumOf(reference.h), 1e-5);
    reference.Step();
    EXPECT_EQ(Run(1), 0);
    EXPECT_TRUE(Near(x, reference.x, 1e-4));
}

TEST_F(AcceleratedInner, PsfOfAnotherSumIsCorrected) {
    for (float& v : h) v *= 3.0f;
    gnr::ref::AcceleratedLoop reference(Reference(x), Reference(h), Reference(x));
    for (int k = 0; k < 3; ++k) reference.Step();
    EXPECT_EQ(Run(3), 0);
    EXPECT_TRUE(Near(x, reference.x, 1e-4));
}

TEST_F(AcceleratedInner, ConstantEstimateIsAFixedPointWithoutExponent) {
    std::fill(h.begin(), h.end(), 0.0f);
    h[0] = h[1] = h[32] = h[33] = 0.25f;
    std::fill(x.begin(), x.end(), 4.0f);
    EXPECT_EQ(Run(5), 0);
    EXPECT_TRUE(SameBits(x, Frame(kCount, 4.0f)));
}

TEST_F(AcceleratedInner, ASampleOfZeroStaysZero) {
    x[40] = 0.0f;
    x[41] = -5.0f;
    EXPECT_EQ(Run(6), 0);
    EXPECT_EQ(x[40], 0.0f);
    EXPECT_EQ(x[41], 0.0f);
    EXPECT_TRUE(std::all_of(x.begin(), x.end(), [](float v) { return std::isfinite(v); }));
    EXPECT_EQ(work[0][40], 1.0f) << "the ratio where the estimate before was 0";
}

TEST_F(AcceleratedInner, AsksOnceAnIterationAndStopsWithItsEstimate) {
    const Frame start = x;
    ProgressLog whole;
    EXPECT_EQ(Run(4, true, &ProgressLog::Record, &whole), 0);
    EXPECT_EQ(whole.Calls(), std::vector<ProgressReport>(4, PictureReport(eProgressPoll)));
    for (int stopAt = 0; stopAt < 4; ++stopAt) {
        x = start;
        EXPECT_EQ(Run(static_cast<unsigned>(stopAt)), 0);
        const Frame expected = x;
        x = start;
        ProgressLog log(stopAt, -1);
        EXPECT_EQ(Run(4, true, &ProgressLog::Record, &log), 0) << "a stop is no failure";
        EXPECT_EQ(log.Calls().size(), static_cast<std::size_t>(stopAt) + 1);
        EXPECT_TRUE(SameBits(x, expected)) << stopAt;
    }
}

TEST_F(AcceleratedInner, IsAskedBeforeNegativesAreCut) {
    x[3] = -1.0f;
    ProgressLog log(0);
    EXPECT_EQ(Run(3, true, &ProgressLog::Record, &log), 0);
    EXPECT_EQ(x[3], -1.0f);
}

}  // namespace
