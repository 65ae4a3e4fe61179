// SPDX-License-Identifier: MIT

// The Wiener core as a host meets it: life cycle, progress, stop at every call, and what the buffers then
// hold.

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <thread>
#include <vector>

#include "support/bits.h"
#include "support/threads.h"
#include "support/wiener_job.h"

namespace {

using Low = CRy3DDeconvolutionLow;
using gnr::test::ProgressLog;
using gnr::test::SameBits;
using gnr::test::Volume;
using gnr::test::WienerJob;

class WienerCore : public testing::Test {
  protected:
    WienerCore() : observed_(12, 9, 5), psf_(gnr::test::LopsidedPsf(12, 9, 5, 1.0)) {
        observed_.FillRandom(21, 0.0f, 100.0f).FillPadding(3.0f);
        psf_.FillPadding(-2.0f);
    }
    WienerJob Job(double regularization = 0.0) const { return {observed_, psf_, regularization}; }

    /// One thread, so that every sum has one order and results can be compared bit for bit.
    gnr::test::ThreadCount oneThread_{1};
    Volume observed_;
    Volume psf_;
};

// ---------------------------------------------------------------------------------------- life cycle

TEST_F(WienerCore, NeedsNoMemoryAndNeverLooksAtTheParameters) {
    const WienerJob job = Job();
    EXPECT_EQ(job.core->GetRequiredMemorySize(job.params), 0u);
    EXPECT_EQ(job.core->GetRequiredMemorySize(nullptr), 0u);
    EXPECT_EQ(job.core->Prepare(job.params), 0);
    EXPECT_EQ(job.core->Prepare(nullptr), 0);
    EXPECT_EQ(job.core->Free(), 0);
    EXPECT_EQ(job.core->Free(), 0);
}

TEST_F(WienerCore, LeavesProposedDimensions) {
    const WienerJob job = Job();
    unsigned x = 97;
    unsigned y = 0;
    unsigned z = 101;
    EXPECT_EQ(job.core->ModifyProposedDimensions(x, y, z, 16, 16, 16), 0);
    EXPECT_EQ(x, 97u);
    EXPECT_EQ(y, 0u);
    EXPECT_EQ(z, 101u);
}

TEST_F(WienerCore, RunsWithoutPrepareAndAfterFree) {
    WienerJob bare = Job();
    EXPECT_EQ(bare.Run(), 0);
    WienerJob prepared = Job();
    ASSERT_EQ(prepared.core->Prepare(prepared.params), 0);
    EXPECT_EQ(prepared.Run(), 0);
    EXPECT_TRUE(SameBits(prepared.image.ToVector(), bare.image.ToVector()));
    prepared.core->Free();
    prepared.image = observed_;
    prepared.psf = psf_;
    EXPECT_EQ(prepared.Run(), 0);
    EXPECT_TRUE(SameBits(prepared.image.ToVector(), bare.image.ToVector()));
}

TEST_F(WienerCore, RunReleasesItsParametersOnEveryPath) {
    for (std::size_t stop = 0; stop <= 8; ++stop) {
        WienerJob job = Job();
        ProgressLog log(static_cast<int>(stop));
        job.Run(log);
        EXPECT_EQ(job.params->iRefCount, 1) << stop;
        EXPECT_EQ(job.core->iRefCount, 1) << stop;
    }
}

TEST_F(WienerCore, RunLeavesTheFields) {
    WienerJob job = Job(2.5);
    job.params->uiIterations = 7;
    job.params->pfReference = observed_;
    job.params->rcImage = {1, 2, 3, 4, 5, 6};
    CRy3DDeconvRunParameters before;
    before = *job.params;
    ASSERT_EQ(job.Run(), 0);
    EXPECT_EQ(std::memcmp(&job.params->sizes, &before.sizes, sizeof before.sizes), 0);
    EXPECT_EQ(std::memcmp(&job.params->rcImage, &before.rcImage, sizeof before.rcImage), 0);
    EXPECT_EQ(job.params->eType, eDeconvWiener);
    EXPECT_EQ(job.params->pfImage, before.pfImage);
    EXPECT_EQ(job.params->pfPsf, before.pfPsf);
    EXPECT_EQ(job.params->pfReference, before.pfReference);
    EXPECT_EQ(job.params->dRegularization, 2.5);
    EXPECT_EQ(job.params->uiIterations, 7u);
}

TEST_F(WienerCore, TakesParametersOfAnyRunClass) {
    WienerJob plain = Job();
    ASSERT_EQ(plain.Run(), 0);
    for (const auto eType : {eDeconvBlind, eDeconvDirectAuto}) {
        WienerJob job = Job();
        job.params = CRy3DDeconvRunParameters::Create3DDeconvParameters(eType);
        job.params->sizes = observed_.sizes;
        job.params->pfImage = job.image;
        job.params->pfPsf = job.psf;
        EXPECT_EQ(job.Run(), 0);
        EXPECT_TRUE(SameBits(job.image.ToVector(), plain.image.ToVector()));
    }
}

/// What the iterative cores read, this one ignores; 0 iterations included.
TEST_F(WienerCore, IgnoresTheSettingsOfOtherCores) {
    WienerJob plain = Job(1.0);
    ASSERT_EQ(plain.Run(), 0);
    WienerJob job = Job(1.0);
    job.params->uiIterations = 0;
    job.params->dScale = 5.0;
    job.params->bNoAutoStop = true;
    job.params->bWienerStart = true;
    job.params->rcImage = {2, 3, 2, 3, 2, 3};
    job.params->pfReference = observed_;
    job.params->fReferenceSum = 9.0f;
    ASSERT_EQ(job.Run(), 0);
    EXPECT_TRUE(SameBits(job.image.ToVector(), plain.image.ToVector()));
}

// ------------------------------------------------------------------------------------ noise constants

TEST_F(WienerCore, TheIntegerPartSelectsTheNoiseConstant) {
    const auto restored = [this](double regularization) {
        WienerJob job = Job(regularization);
        EXPECT_EQ(job.Run(), 0);
        return job.image.ToVector();
    };
    const std::vector<float> ofZero = restored(0.0);
    constexpr double inf = std::numeric_limits<double>::infinity();
    for (const double other : {-0.5, 0.99, -1.0, -7.0, 5.0, 100.0, 4294967297.0, 1e300, -1e300, inf, -inf,
                               std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_TRUE(SameBits(restored(other), ofZero)) << other;
    }
    EXPECT_TRUE(SameBits(restored(2.9), restored(2.0)));
    EXPECT_TRUE(SameBits(restored(4.999), restored(4.0)));
    for (int listed = 1; listed <= 4; ++listed) {
        EXPECT_FALSE(SameBits(restored(listed), restored(listed - 1))) << listed;
    }
}

// ------------------------------------------------------------------------------------------- progress

TEST_F(WienerCore, ReportsFourUnitsOfWork) {
    WienerJob job = Job();
    ProgressLog log;
    ASSERT_EQ(job.Run(log), 0);
    ASSERT_EQ(log.Calls().size(), 8u);
    unsigned units = 0;
    for (std::size_t n = 0; n < log.Calls().size(); ++n) {
        const auto& call = log.Calls()[n];
        EXPECT_EQ(call.text, L"Performing Deconvolution...");
        EXPECT_EQ(call.a, 0u);
        EXPECT_EQ(call.b, 0u);
        EXPECT_EQ(call.c, 0u);
        EXPECT_EQ(call.phase, n % 2 == 0 ? eProgressStepBegin : eProgressStepEnd) << n;
        EXPECT_EQ(call.n, n % 2 == 0 ? 0u : 1u) << n;
        EXPECT_EQ(call.hostPointer, &log);
        EXPECT_EQ(call.thread, std::this_thread::get_id());
        units += call.n;
    }
    EXPECT_EQ(units, 4u);
}

TEST_F(WienerCore, ReportsOnTheCallersThreadWithManyThreadsAtWork) {
    const gnr::test::ThreadCount threads(5);
    WienerJob job = Job();
    ProgressLog log;
    std::thread::id caller;
    std::thread([&] {
        caller = std::this_thread::get_id();
        job.Run(log);
    }).join();
    ASSERT_EQ(log.Calls().size(), 8u);
    for (const auto& call : log.Calls()) EXPECT_EQ(call.thread, caller);
}

TEST_F(WienerCore, PhasesAreTheListedNumbers) {
    EXPECT_EQ(eProgressStepBegin, 7);
    EXPECT_EQ(eProgressStepEnd, 8);
    EXPECT_EQ(eProgressPoll, 13);
    EXPECT_EQ(eProgressPollBlind2D, 14);
    static_assert(sizeof(ERyProgressPhase) == 4);
}

TEST_F(WienerCore, ReportingChangesNoBit) {
    WienerJob silent = Job();
    ASSERT_EQ(silent.Run(), 0);
    WienerJob reporting = Job();
    ProgressLog log;
    ASSERT_EQ(reporting.Run(log), 0);
    EXPECT_TRUE(SameBits(reporting.image.ToVector(), silent.image.ToVector()));
    EXPECT_TRUE(SameBits(reporting.psf.ToVector(), silent.psf.ToVector()));
}

// ----------------------------------------------------------------------------------------------- stop

/// The run written out in kernels: what both buffers hold when call `stop` is answered.
struct Buffers {
    Volume image;
    Volume psf;
};
Buffers AfterCalls(std::size_t stop, Buffers b, double K) {
    constexpr float guard = 1e-10f;
    const DFT3D* const s = &b.image.sizes;
    if (stop >= 1) Low::DFT3D_Transform(s, b.psf);
    const float sum = Low::GetSumOfImageXX(s, b.image);
    if (stop >= 3) {
        Low::SSE_MulFloatC3DXX(s, b.image, 1 / (sum + guard));
        Low::DFT3D_Transform(s, b.image);
    }
    if (stop >= 5) Low::ComputeWiener3D(s, b.image, b.psf, K);
    if (stop >= 7) {
        Low::DFT3D_Inversion(s, b.image);
        Low::DFT3D_Inversion(s, b.psf);
        const float restored = Low::GetSumOfImageXX(s, b.image);
        Low::SSE_MulFloatC3DXX(s, b.image, (sum + guard) / (restored + guard));
        Low::CutByZero(s, b.image);
    }
    return b;
}

TEST_F(WienerCore, AStopAtAnyCallLeavesTheBuffersOfTheStepsBeforeIt) {
    for (std::size_t stop = 0; stop < 8; ++stop) {
        WienerJob job = Job(2.0);
        ProgressLog log(static_cast<int>(stop));
        EXPECT_EQ(job.Run(log), -8) << stop;
        EXPECT_EQ(log.Calls().size(), stop + 1);
        const Buffers expected = AfterCalls(stop, {observed_, psf_}, 0.08);
        EXPECT_TRUE(SameBits(job.image.ToVector(), expected.image.ToVector())) << "image, stop at " << stop;
        EXPECT_TRUE(SameBits(job.psf.ToVector(), expected.psf.ToVector())) << "PSF, stop at " << stop;
    }
}

TEST_F(WienerCore, AStopAtTheFirstCallLeavesBothBuffersUntouched) {
    WienerJob job = Job();
    ProgressLog log(0);
    EXPECT_EQ(job.Run(log), -8);
    EXPECT_TRUE(SameBits(job.image.ToVector(), observed_.ToVector()));
    EXPECT_TRUE(SameBits(job.psf.ToVector(), psf_.ToVector()));
}

TEST_F(WienerCore, AnyAnswerButZeroStopsAndIsNotHandedOn) {
    for (const int answer : {-1, 2, -8, std::numeric_limits<int>::min()}) {
        WienerJob job = Job();
        ProgressLog log(3, answer);
        EXPECT_EQ(job.Run(log), -8) << answer;
    }
}

TEST_F(WienerCore, RunsAgainAfterAStopWithReloadedBuffers) {
    WienerJob fresh = Job();
    ASSERT_EQ(fresh.Run(), 0);
    WienerJob job = Job();
    ProgressLog stopped(5);
    ASSERT_EQ(job.Run(stopped), -8);
    job.image = observed_;
    job.psf = psf_;
    ProgressLog log;
    ASSERT_EQ(job.Run(log), 0);
    EXPECT_TRUE(SameBits(job.image.ToVector(), fresh.image.ToVector()));
}

TEST_F(WienerCore, AWholeRunEqualsItsStepsBitForBit) {
    WienerJob job = Job(3.0);
    ASSERT_EQ(job.Run(), 0);
    const Buffers expected = AfterCalls(7, {observed_, psf_}, 0.2);
    EXPECT_TRUE(SameBits(job.image.ToVector(), expected.image.ToVector()));
    EXPECT_TRUE(SameBits(job.psf.ToVector(), expected.psf.ToVector()));
}

}  // namespace
