// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <optional>
#include <thread>
#include <vector>

#include "driver/frame_size.h"
#include "driver/psf_frame.h"
#include "kernels/picture_plan.h"
#include "support/bits.h"
#include "support/blind_picture_job.h"
#include "support/picture_access.h"
#include "support/refused_alloc.h"

namespace {

using namespace gnr::test;

// ---- progress and stop -------------------------------------------------------------------------------------

TEST(BlindPicturesProgress, EveryCycleAsksAtItsHeadInItsMiddleAndInEveryIteration) {
    BlindJob job(2);
    EXPECT_EQ(Restored(job).code, 0);
    std::vector<ERyProgressPhase> phases = PhasesOfCycle();
    const std::vector<ERyProgressPhase> cycle = phases;
    phases.insert(phases.end(), cycle.begin(), cycle.end());
    ASSERT_EQ(job.log.Phases(), phases);
    for (std::size_t i = 0; i < phases.size(); ++i) {
        const ProgressReport& call = job.log.Calls()[i];
        EXPECT_EQ(call, PictureReport(phases[i]));
        EXPECT_EQ(call.hostPointer, &job.log);
        EXPECT_EQ(call.thread, std::this_thread::get_id());
    }
}

TEST(BlindPicturesProgress, NoFrameIsAllocatedFromTheFirstCallToTheLast) {
    constexpr std::size_t frameBytes = 64 * 64 * sizeof(float);
    BlindJob job;
    std::optional<RefusedAlloc> refusal;
    bool hasRefused = true;
    job.log.onCall = [&](const ProgressReport&) {
        const auto call = static_cast<int>(job.log.Calls().size());
        if (call == 1) refusal.emplace(0, frameBytes);
        if (call == kCallsPerCycle) {
            hasRefused = refusal->HasRefused();
            refusal.reset();
        }
    };
    EXPECT_EQ(Restored(job).code, 0);
    EXPECT_FALSE(hasRefused);
}

TEST(BlindPicturesStop, AtTheHeadOfACycleIsZeroAndDelivers_stays) {
    const Restored untouched{BlindJob(0)};
    const Restored afterOne{BlindJob(1)};
    BlindJob first(2, 0);
    const Restored stopped(first);
    EXPECT_EQ(stopped.code, 0);
    EXPECT_EQ(first.log.Calls().size(), 1u);
    EXPECT_TRUE(SameBits(stopped.Samples(), untouched.Samples()));
    BlindJob second(2, kCallsPerCycle);
    const Restored stoppedLater(second);
    EXPECT_EQ(stoppedLater.code, 0);
    EXPECT_EQ(second.log.Calls().size(), kCallsPerCycle + 1u);
    EXPECT_TRUE(SameBits(stoppedLater.Samples(), afterOne.Samples()));
}

TEST(BlindPicturesStop, InTheMiddleOfACycleIsMinus9AndDelivers_stays) {
    // The iterations on the PSF leave the image as it is.
    const Restored afterOne{BlindJob(1)};
    BlindJob job(2, 1 + kStepsOnImage);
    const Restored stopped(job);
    EXPECT_EQ(stopped.code, -9);
    EXPECT_EQ(job.log.Calls().size(), 2u + kStepsOnImage);
    EXPECT_TRUE(SameBits(stopped.Samples(), afterOne.Samples()));
}

TEST(BlindPicturesStop, InsideTheIterationsOnlyEndsThem_stays) {
    for (int call = 0; call < kCallsPerCycle; ++call) {
        const bool onImage = call >= 1 && call <= static_cast<int>(kStepsOnImage);
        const bool onPsf = call > static_cast<int>(kStepsOnImage) + 1;
        if (!onImage && !onPsf) continue;
        BlindJob job(2, call);
        EXPECT_EQ(Restored(job).code, 0) << call;
        const auto asked = static_cast<unsigned>(call);
        std::vector<ERyProgressPhase> phases = onImage
                                                   ? PhasesOfCycle(asked, kStepsOnPsf)
                                                   : PhasesOfCycle(kStepsOnImage, asked - kStepsOnImage - 1);
        const std::vector<ERyProgressPhase> next = PhasesOfCycle();
        phases.insert(phases.end(), next.begin(), next.end());
        EXPECT_EQ(job.log.Phases(), phases) << call;
    }
}

// ---- the inner loop and the cycles over it -----------------------------------------------------------------

/// Frames for the inner loop, filled with a sentinel where nothing is prepared.
class BlindFrames {
  public:
    static constexpr unsigned kSide = 64;

    BlindFrames()
        : plan_(size_, gnr::detail::TransformScaling::kNone), scratch_(7, Frame(kSide * kSide, -7.0f)) {
        for (unsigned y = 0; y < kSide; ++y) {
            for (unsigned x = 0; x < kSide; ++x) image.push_back(static_cast<float>(Scene(x, y) / 3e5));
        }
        const std::vector<float> guess = LopsidedPsf(kBlindPsfSize);
        gnr::detail::WrapPSFToFrame(psf.data(), kSide, kSide, guess.data(), kBlindPsfSize, kBlindPsfSize);
        y() = image;
    }
    int Run(Frame& x, Frame& h, unsigned iterations, bool isImageStep, float stop = 0.0f,
            ProgressLog* log = nullptr) {
        const auto s = [this](std::size_t i) { return scratch_[i].data(); };
        return PictureAccess::AccIBDProcessInner(x.data(), h.data(), kSide, kSide, iterations, isImageStep,
                                                 stop, s(0), s(1), s(2), s(3), s(4), s(5), s(6),
                                                 plan_.Buffer(), plan_.BufferSize(), plan_.Spec(),
                                                 log == nullptr ? nullptr : &ProgressLog::Record, log);
    }
    Frame& y() { return scratch_[0]; }
    Frame& Scratch(std::size_t i) { return scratch_[i]; }

    Frame image;
    Frame psf = Frame(kSide * kSide);

  private:
    gnr::detail::FrameSize size_ = {kSide, kSide, 6, 6};
    gnr::detail::PicturePlan plan_;
    std::vector<Frame> scratch_;
};

TEST(BlindInnerLoop, NoIterationLeavesTheEstimateAndSetsTheOnes) {
    BlindFrames f;
    f.image[3] = -1.0f;
    const Frame before = f.image;
    EXPECT_EQ(f.Run(f.image, f.psf, 0, true), 0);
    EXPECT_TRUE(SameBits(f.image, before));
    EXPECT_TRUE(SameBits(f.Scratch(3), before));
    const Frame ones(before.size(), 1.0f);
    for (const std::size_t i : {2u, 4u, 5u, 6u}) EXPECT_TRUE(SameBits(f.Scratch(i), ones)) << i;
}

TEST(BlindInnerLoop, CutsBeforeItAsksAndAfterItScales) {
    BlindFrames f;
    f.image[3] = -1.0f;
    f.image[4] = -0.0f;
    ProgressLog log(0);
    log.onCall = [&](const ProgressReport&) {
        EXPECT_EQ(Bits(f.image[3]), 0u);
        EXPECT_EQ(Bits(f.image[4]), 0u);
    };
    EXPECT_EQ(f.Run(f.image, f.psf, 5, true, 0.0f, &log), 0);
    EXPECT_EQ(log.Calls().size(), 1u);
    EXPECT_EQ(f.Run(f.image, f.psf, 3, true), 0);
    EXPECT_TRUE(std::all_of(f.image.begin(), f.image.end(), [](float v) { return v >= 0.0f; }));
    EXPECT_EQ(f.image[3], 0.0f) << "a product does not leave 0";
}

TEST(BlindInnerLoop, PartnerAndObservedAreOnlyRead) {
    BlindFrames f;
    const Frame image = f.image;
    const Frame observed = f.y();
    EXPECT_EQ(f.Run(f.psf, f.image, 4, false), 0);
    EXPECT_TRUE(SameBits(f.image, image));
    EXPECT_TRUE(SameBits(f.y(), observed));
}

TEST(BlindInnerLoop, StopWithinIsZeroWithTheEstimateReached) {
    for (int call = 0; call < 4; ++call) {
        BlindFrames stopped;
        BlindFrames shorter;
        ProgressLog log(call);
        EXPECT_EQ(stopped.Run(stopped.image, stopped.psf, 4, true, 0.0f, &log), 0);
        EXPECT_EQ(shorter.Run(shorter.image, shorter.psf, static_cast<unsigned>(call), true), 0);
        EXPECT_TRUE(SameBits(stopped.image, shorter.image)) << call;
    }
}

TEST(BlindInnerLoop, PartnerOfASmallSumIsNotCompensated) {
    BlindFrames f;
    BlindFrames unit;
    for (float& v : f.psf) v *= 0x1p-18f;
    // The blurred estimate is smaller, the ratio greater by the same power of two, and the correction as before.
    EXPECT_EQ(f.Run(f.image, f.psf, 1, true), 0);
    EXPECT_EQ(unit.Run(unit.image, unit.psf, 1, true), 0);
    const float sum = std::accumulate(unit.psf.begin(), unit.psf.end(), 0.0f);
    for (std::size_t i = 0; i < f.image.size(); ++i) {
        EXPECT_NEAR(f.image[i], unit.image[i] * sum, 1e-5f * unit.image[i]);
    }
}

TEST(BlindInnerLoop, ThresholdEndsAfterTheUpdate) {
    BlindFrames f;
    BlindFrames once;
    ProgressLog log;
    EXPECT_EQ(f.Run(f.image, f.psf, 6, true, 1e9f, &log), 0);
    EXPECT_EQ(log.Calls().size(), 1u);
    EXPECT_EQ(once.Run(once.image, once.psf, 1, true), 0);
    EXPECT_TRUE(SameBits(f.image, once.image));
}

TEST(BlindCycles, CompareWithTheImageOfTheCycleBefore_stays) {
    // 34 pixels and their margins fill the frame.
    constexpr unsigned side = BlindFrames::kSide - 2 * kBlindBorder;
    FloatPicture source(side, side);
    source.Fill(Scene);
    const auto at = [](unsigned i) {
        return std::clamp(i, kBlindBorder, kBlindBorder + side - 1) - kBlindBorder;
    };
    BlindFrames f;
    double sum = 0;
    for (unsigned y = 0; y < BlindFrames::kSide; ++y) {
        for (unsigned x = 0; x < BlindFrames::kSide; ++x) sum += Scene(at(x), at(y));
    }
    const auto scale = static_cast<float>(sum);
    for (unsigned i = 0; i < f.image.size(); ++i) {
        const double v = Scene(at(i % BlindFrames::kSide), at(i / BlindFrames::kSide));
        f.image[i] = static_cast<float>(v) * (1.0f / scale);
    }
    const double psfSum = std::accumulate(f.psf.begin(), f.psf.end(), 0.0);
    for (float& v : f.psf) v *= static_cast<float>(1.0 / psfSum);
    for (int cycle = 0; cycle < 2; ++cycle) {
        f.y() = f.image;
        EXPECT_EQ(f.Run(f.image, f.psf, kStepsOnImage, true), 0);
        EXPECT_EQ(f.Run(f.psf, f.image, kStepsOnPsf, false), 0);
    }
    const Restored restored(BlindJob(2), side, side);
    EXPECT_EQ(restored.code, 0);
    for (unsigned y = 0; y < side; ++y) {
        for (unsigned x = 0; x < side; ++x) {
            const float v = f.image[(y + kBlindBorder) * BlindFrames::kSide + x + kBlindBorder] * scale;
            EXPECT_NEAR(restored.picture.Get(x, y), v, 1e-5f * v);
        }
    }
}

}  // namespace
