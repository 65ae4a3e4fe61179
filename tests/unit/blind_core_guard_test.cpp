// SPDX-License-Identifier: MIT

// The guard of the blind core, which decides when the data may follow the estimate.

#include <gnr_deconvolution/cores.h>
#include <gtest/gtest.h>

#include <cmath>

#include "support/blind_drivers.h"
#include "support/ref/landweber_runs.h"

namespace {

using namespace gnr::test;
using Core = CRy3DBlindDeconvolutionCore;
using Job = BlindCoreJob;
using Low = CRy3DDeconvolutionLow;

// ------------------------------------------------------------------------------------------------------- guard

TEST(BlindCore, WithoutTheGuardTheDataStayTheObservedImage) {
    Core core;
    Job job(6, 0);
    job.params.bNoPsfGuard = true;
    BlindReplay replay = job.Replay();
    ASSERT_EQ(RunOnce(core, job), 0);
    ReplayCycles(replay, 3, 1, false);
    ExpectReplayed(job, replay);
    Job guarded(6, 0);
    ASSERT_EQ(RunOnce(core, guarded), 0);
    EXPECT_FALSE(SameImage(job.image, guarded.image));
}

/// The host multiplies the image between passes, so that its peak wanders: by 4 and back, 0.6 decades, and the
/// data freeze and thaw. Only 0 and 7 let 0.6 decades pass.
TEST(BlindCore, TheDataFollowWithinTheToleranceOfTheFirstPeak) {
    for (const int setting : {0, 7, 1, -1}) {
        const float tolerance = setting == 0 || setting == 7 ? 0.8f : 0.3f;
        Core core;
        Job job(8, 0);
        job.params.iBlindGuardSetting = setting;
        BlindReplay replay = job.Replay();
        const float factors[] = {1.0f, 4.0f, 0.25f, 1.0f};
        // The end of an image pass is every fourth step: begin, end, begin, end.
        ProgressLog log;
        int ends = 0;
        log.onCall = [&](const ProgressReport& report) {
            if (report.phase != eProgressStepEnd || ends++ % 2 != 0 || ends > 7) return;
            Low::MulFloatC3D(&job.image.sizes, job.image, factors[ends / 2]);
        };
        log.Attach(job.params);
        ASSERT_EQ(RunOnce(core, job), 0);

        float firstPeak = 0;
        int frozen = 0;
        for (int n = 0; n < 4; ++n) {
            replay.ImagePass(BlindForm::Parallel, 1, -1);
            Low::MulFloatC3D(&replay.image.sizes, replay.image, factors[n]);
            const float peak = std::log10(Low::GetMaxOfImageXX(&replay.image.sizes, replay.image));
            if (n == 0) firstPeak = peak;
            if (std::abs(peak - firstPeak) < tolerance) {
                replay.data = replay.image;
            } else {
                ++frozen;
            }
            replay.PsfPass(BlindForm::Parallel, 1, -1);
        }
        ExpectReplayed(job, replay);
        EXPECT_EQ(frozen > 0, tolerance == 0.3f) << "the case tells the tolerances apart";
    }
}

/// No decades of 0: nothing follows, and the run goes on.
TEST(BlindCore, AnImageOfZerosPassesTheGuard) {
    Core core;
    Job job(4, 0);
    job.image.Fill([](int, int, int) { return 0; });
    EXPECT_EQ(RunOnce(core, job), 0);
    EXPECT_TRUE(AllSamplesAre(job.image, 0.0f));
}

/// A first peak of 0 is an infinite distance from any later one, and no distance from itself: the data stay.
TEST(BlindCore, AFirstPeakOfZeroFreezesTheData_stays) {
    Core core;
    Job job(4, 0);
    BlindReplay replay = job.Replay();
    ProgressLog log;
    int ends = 0;
    log.onCall = [&](const ProgressReport& report) {
        if (report.phase != eProgressStepEnd || ends++ != 0) return;
        Low::KERNEL3D_Zero(&job.image.sizes, job.image);
    };
    log.Attach(job.params);
    ASSERT_EQ(RunOnce(core, job), 0);
    // Zeros stay zeros; what the PSF becomes tells which data it was fitted to.
    replay.image.Fill([](int, int, int) { return 0; });
    for (int n = 0; n < 2; ++n) {
        if (n > 0) replay.ImagePass(BlindForm::Parallel, 1, -1);
        replay.PsfPass(BlindForm::Parallel, 1, -1);
    }
    ExpectReplayed(job, replay);
}

}  // namespace
