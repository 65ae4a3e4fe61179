// SPDX-License-Identifier: MIT

// What the three forms of the blind inner loop share: stop test, progress and stops, inputs and edges. What a
// chain of kernels gives stands in tests/property/.

#include <gtest/gtest.h>

#include <limits>

#include "support/blind_call.h"

namespace {

using namespace gnr::test;
using Low = CRy3DDeconvolutionLow;

class BlindPasses : public testing::TestWithParam<BlindForm> {
  protected:
    BlindForm Form() const { return GetParam(); }
    bool IsParallel() const { return Form() == BlindForm::Parallel; }
    /// On top of the sweeps after the last one.
    unsigned Surplus() const { return IsParallel() ? 0 : 1; }

    /// A pass that is accelerated, by its sweeps or because it is asked to be.
    BlindCall Accelerated(unsigned sweeps = 3) const {
        BlindCall call = SmallBlindCall(sweeps);
        call.accelerates = true;
        return call;
    }
};

INSTANTIATE_TEST_SUITE_P(Forms, BlindPasses, testing::ValuesIn(kBlindForms),
                         [](const auto& form) { return NameOf(form.param); });

// -------------------------------------------------------------------------------------------------- stop test

/// E of the pair, the image first.
TEST_P(BlindPasses, AnImagePassEndsBelowAPsfPassAboveTheThreshold) {
    for (const bool isOfImage : {true, false}) {
        BlindCall call = SmallBlindCall(2);
        call.accelerates = true;
        call.isOfImage = isOfImage;
        BlindCall after = call;
        after.sweeps = 1;
        after.Run(Form());
        // What E is compared with: before the first update, or after it.
        const BlindCall& tested = IsParallel() ? after : call;
        float* const image = isOfImage ? tested.updated : tested.fixed;
        float* const psf = isOfImage ? tested.fixed : tested.updated;
        const float E = Low::ComputeE8_3D(image, psf, &tested.updated.sizes);
        for (const float factor : {0.9f, 1.1f}) {
            BlindCall run = call;
            run.stopE8 = E * factor;
            const bool ends = isOfImage ? factor > 1 : factor < 1;
            const unsigned count = run.Run(Form());
            if (ends) {
                EXPECT_EQ(count, 1u) << isOfImage << factor;
            } else {
                EXPECT_GT(count, 1u) << isOfImage << factor;
            }
        }
    }
}

TEST_P(BlindPasses, AThresholdOfZeroNeverEndsAnImagePass) {
    BlindCall call = SmallBlindCall(4);
    call.accelerates = true;
    call.stopE8 = 0.0f;
    EXPECT_EQ(call.Run(Form()), 4 + Surplus());
}

/// -0.5 itself is off; a little above it a PSF pass ends at once.
TEST_P(BlindPasses, MinusOneHalfSwitchesTheTestOff) {
    for (const float stopE8 : {-0.5f, -0.49f}) {
        BlindCall call = SmallBlindCall(3);
        call.accelerates = true;
        call.isOfImage = false;
        call.stopE8 = stopE8;
        EXPECT_EQ(call.Run(Form()), stopE8 == -0.5f ? 3 + Surplus() : 1u) << stopE8;
    }
}

// ------------------------------------------------------------------------------------------ progress and stops

std::vector<ERyProgressPhase> ExpectedPhases(unsigned sweeps, unsigned pollsPerSweep, bool reports) {
    std::vector<ERyProgressPhase> phases = {eProgressPoll};
    for (unsigned i = 0; i < sweeps; ++i) {
        if (reports) phases.push_back(eProgressStepBegin);
        phases.insert(phases.end(), pollsPerSweep, eProgressPoll);
        if (reports) phases.push_back(eProgressStepEnd);
    }
    return phases;
}

TEST_P(BlindPasses, SweepsAreReportedUnderANegativeThresholdAlone) {
    for (const bool reports : {false, true}) {
        for (const float stopE8 : {-1.0f, -0.25f, 0.0f, 1e-30f}) {
            BlindCall call = SmallBlindCall(2);
            call.reports = reports;
            call.stopE8 = stopE8;
            ProgressLog log;
            call.Run(Form(), &log);
            const bool expected = reports && stopE8 < 0;
            EXPECT_EQ(log.Phases(), ExpectedPhases(2, 3, expected)) << reports << stopE8;
            for (const ProgressReport& report : log.Calls()) {
                EXPECT_EQ(report.n, report.phase == eProgressStepEnd ? 4u : 0u);
                EXPECT_EQ(report.a + report.b + report.c, 0u);
                EXPECT_EQ(report.hostPointer, &log);
            }
        }
    }
}

/// At every call of a reported pass: nothing more is called, the status tells, the count is the form's, and
/// sweeps before the stop count.
TEST_P(BlindPasses, StopAtEveryCall) {
    for (const unsigned sweeps : {2u, 3u}) {
        BlindCall call = SmallBlindCall(sweeps);
        call.reports = true;
        call.accelerates = sweeps == 3;
        const std::vector<ERyProgressPhase> phases = ExpectedPhases(sweeps, sweeps == 3 ? 7 : 3, true);
        unsigned finished = 0;
        for (std::size_t at = 0; at < phases.size(); ++at) {
            BlindCall run = call;
            ProgressLog log(static_cast<int>(at), -5);
            const unsigned count = run.Run(Form(), &log);
            const bool inSweep = at > 0 && phases[at] == eProgressPoll;
            EXPECT_EQ(count, inSweep ? finished + Surplus() : 0) << at;
            EXPECT_EQ(run.status, -1);
            EXPECT_EQ(log.Calls().size(), at + 1);
            if (phases[at] == eProgressStepEnd) ++finished;
        }
        EXPECT_EQ(finished, sweeps);
    }
}

TEST_P(BlindPasses, AStopBeforeTheFirstUpdateLeavesTheVolume) {
    for (int at = 0; at < 4; ++at) {
        BlindCall call = SmallBlindCall(2);
        const Volume before = call.updated;
        ProgressLog log(at);
        call.Run(Form(), &log);
        EXPECT_TRUE(SameBytes(call.updated, before)) << at;
    }
}

// ------------------------------------------------------------------------------------------- inputs and edges

TEST_P(BlindPasses, FixedAndObservedAreOnlyRead) {
    BlindCall call = Accelerated(4);
    call.fixed.FillPadding(kSentinel);
    call.observed.FillPadding(kSentinel);
    const Volume fixed = call.fixed;
    const Volume observed = call.observed;
    call.Run(Form());
    EXPECT_TRUE(SameBytes(call.fixed, fixed));
    EXPECT_TRUE(SameBytes(call.observed, observed));
}

TEST_P(BlindPasses, PaddingIsNeverRead) {
    BlindCall clean = Accelerated(5);
    clean.stopE8 = 1e-30f;
    clean.Run(Form());
    for (const float content : {kSentinel, -1e30f, std::numeric_limits<float>::quiet_NaN()}) {
        BlindCall call = Accelerated(5);
        call.stopE8 = 1e-30f;
        call.updated.FillPadding(content);
        call.fixed.FillPadding(content);
        call.observed.FillPadding(content);
        call.Run(Form());
        EXPECT_TRUE(SameImage(call.updated, clean.updated)) << content;
    }
}

TEST_P(BlindPasses, OnReturnTheOtfIsTheSpectrumOfTheFixedVolume) {
    BlindCall call = SmallBlindCall(1);
    call.Run(Form());
    Volume expected = call.fixed;
    Low::DFT3D_Transform(&expected.sizes, expected);
    for (std::int64_t n = 0; n < expected.sizes.total; ++n) {
        ASSERT_NEAR(call.otf().get()[n], expected.get()[n], 1e-6);
    }
}

/// Only the sum of the fixed volume and E may depend on the thread count; here they do not decide anything.
TEST_P(BlindPasses, RunsRepeatWithEqualBytesAtEqualThreadCount) {
    for (const int threads : {1, 2, 5}) {
        const ThreadCount scope(threads);
        BlindCall first = Accelerated(6);
        BlindCall second = Accelerated(6);
        first.Run(Form());
        second.Run(Form());
        EXPECT_TRUE(SameImage(first.updated, second.updated)) << threads;
    }
}

/// An observed image of zeros: ratios of 0, and an estimate of 0 from then on, whose blur is divided by.
TEST_P(BlindPasses, ZerosStayZeros) {
    for (const unsigned sweeps : {2u, 5u}) {
        BlindCall call = Accelerated(sweeps);
        call.observed.Fill([](int, int, int) { return 0; });
        call.Run(Form());
        ForEachSample(call.updated, [&](int i, int j, int k) { ASSERT_EQ(call.updated.at(i, j, k), 0.0f); });
    }
}

/// Acceleration acts from the fourth sweep on: the exponent needs two back-projections.
TEST_P(BlindPasses, ThreeAcceleratedSweepsAreThreePlainOnes) {
    BlindCall accelerated = Accelerated(3);
    BlindCall plain = SmallBlindCall(1);
    accelerated.Run(Form());
    for (int i = 0; i < 3; ++i) plain.Run(Form());
    EXPECT_TRUE(SameImage(accelerated.updated, plain.updated));

    BlindCall fourth = Accelerated(4);
    fourth.Run(Form());
    plain.Run(Form());
    EXPECT_FALSE(SameImage(fourth.updated, plain.updated));
}

/// Where nothing is divided by 0 the serial and the parallel form agree bit for bit while nothing is
/// accelerated.
TEST(BlindTwins, AgreeOnPlainPasses) {
    BlindCall serial = SmallBlindCall(2);
    BlindCall parallel = SmallBlindCall(2);
    BlindCall sim = SmallBlindCall(2);
    serial.Run(BlindForm::Serial);
    parallel.Run(BlindForm::Parallel);
    sim.Run(BlindForm::Sim);
    EXPECT_TRUE(SameImage(serial.updated, parallel.updated));
    EXPECT_TRUE(SameImage(serial.updated, sim.updated));
}

}  // namespace
