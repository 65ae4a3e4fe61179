// SPDX-License-Identifier: MIT

// The three forms of the blind inner loop: each cell of the table that tells them apart, and the edges that
// they share. What a chain of kernels gives stands in tests/property/.

#include <gtest/gtest.h>
#include <ry_system/ry_system.h>

#include <algorithm>
#include <cmath>
#include <set>

#include "support/bits.h"
#include "support/blind_call.h"

namespace {

/// Sources that asked for a text.
std::set<std::string>& Sources() {
    static std::set<std::string> sources;
    return sources;
}

}  // namespace

/// Stands in for the library's own, to see who asks.
const wchar_t* RY_GetTranslation(const wchar_t* text, const char* source) {
    Sources().insert(source);
    return text;
}

namespace {

using namespace gnr::test;
using Low = CRy3DDeconvolutionLow;

class BlindForms : public testing::TestWithParam<BlindForm> {
  protected:
    BlindForm Form() const { return GetParam(); }
    bool IsParallel() const { return Form() == BlindForm::Parallel; }
    bool IsSim() const { return Form() == BlindForm::Sim; }
    /// On top of the sweeps after the last one.
    unsigned Surplus() const { return IsParallel() ? 0 : 1; }

    /// A pass that is accelerated, by its sweeps or because it is asked to be.
    BlindCall Accelerated(unsigned sweeps = 3) const {
        BlindCall call = SmallBlindCall(sweeps);
        call.accelerates = true;
        return call;
    }
    /// The image blurs to just what was observed, so that a sweep changes next to nothing.
    static BlindCall AtRest(unsigned sweeps) {
        const Volume psf = AsymmetricPsf(6, 5, 4);
        const Volume scene = Scene(6, 5, 4, 20, 400);
        BlindCall call(scene, psf, sweeps);
        call.observed = Observed(scene, psf);
        return call;
    }
    unsigned Polls(BlindCall call) const {
        ProgressLog log;
        call.Run(Form(), &log);
        return static_cast<unsigned>(log.Calls().size());
    }
};

INSTANTIATE_TEST_SUITE_P(Forms, BlindForms, testing::ValuesIn(kBlindForms),
                         [](const auto& form) { return NameOf(form.param); });

// ------------------------------------------------------------------------------------- the cells of the table

TEST_P(BlindForms, TheTextNamesTheFolderOfTheForm) {
    const char* const folders[] = {"gnr_deconvolution/core_legacy", "gnr_deconvolution/core_3d",
                                   "gnr_deconvolution/core_sim"};
    Sources().clear();
    BlindCall call = SmallBlindCall(1);
    call.reports = true;
    ProgressLog log;
    call.Run(Form(), &log);
    EXPECT_EQ(Sources(), std::set<std::string>{folders[static_cast<int>(Form())]});
    for (const ProgressReport& report : log.Calls()) EXPECT_EQ(report.text, L"Performing Deconvolution...");
}

/// Three polls a plain sweep, seven an accelerated one, one before the first.
TEST_P(BlindForms, AccelerationBeginsAtThreeSweepsOrWhereAsked) {
    for (const unsigned sweeps : {0u, 1u, 2u, 3u, 4u}) {
        const unsigned bySweeps = sweeps >= 3 ? 7 : 3;
        BlindCall call = SmallBlindCall(sweeps);
        EXPECT_EQ(Polls(call), 1 + sweeps * (IsSim() ? 3 : bySweeps)) << sweeps;
        call.accelerates = true;
        EXPECT_EQ(Polls(call), 1 + sweeps * (IsSim() ? 7 : bySweeps)) << sweeps;
    }
}

TEST_P(BlindForms, FourVolumesAreFilledWithOnesPaddingToo) {
    for (const unsigned sweeps : {0u, 1u, 2u}) {
        BlindCall call = SmallBlindCall(sweeps);
        call.Run(Form());
        const float expected = IsSim() ? kSentinel : 1.0f;
        for (const Volume* volume : {&call.v(), &call.previous(), &call.gradient1(), &call.gradient2()}) {
            EXPECT_TRUE(AllSamplesAre(*volume, expected)) << sweeps;
            EXPECT_TRUE(volume->PaddingHolds(expected)) << sweeps;
        }
    }
    BlindCall asked = SmallBlindCall(0);
    asked.accelerates = true;
    asked.Run(Form());
    for (const Volume* volume : {&asked.v(), &asked.previous(), &asked.gradient1(), &asked.gradient2()}) {
        EXPECT_TRUE(AllSamplesAre(*volume, 1.0f));
        EXPECT_TRUE(volume->PaddingHolds(1.0f));
    }
}

TEST(BlindFormSim, PlainPassesDoWithoutTheVolumesOfTheAcceleration) {
    BlindCall whole = SmallBlindCall(2);
    BlindCall bare = SmallBlindCall(2);
    whole.Run(BlindForm::Sim);
    DFT3D s = bare.updated.sizes;
    EXPECT_EQ(Low::SIM_AccIBDProcessInner3D(bare.updated, bare.fixed, &s, 2, true, 0.5f, nullptr,
                                            bare.observed, bare.work[0], nullptr, nullptr, bare.work[3],
                                            nullptr, nullptr, nullptr, nullptr, bare.status, true, false),
              3u);
    EXPECT_TRUE(SameImage(bare.updated, whole.updated));
}

/// V is all ones then, so that the first exponent shows only where the host puts something else there: at the
/// second call, the poll ahead of the first power.
TEST_P(BlindForms, FirstAlphaIsOneOrZero) {
    BlindCall call = Accelerated();
    const Volume before = call.updated;
    ProgressLog log(2);
    log.onCall = [&](const ProgressReport&) {
        if (log.Calls().size() == 2) call.work[1].Fill([](int, int, int) { return 2; });
    };
    call.Run(Form(), &log);
    EXPECT_TRUE(AllSamplesAre(call.v(), IsParallel() ? 1.0f : 2.0f));
    ForEachSample(before, [&](int i, int j, int k) {
        ASSERT_EQ(call.updated.at(i, j, k), before.at(i, j, k) * (IsParallel() ? 1.0f : 2.0f));
    });
}

/// PowVkAlpha3D cuts at 0 and leaves the padding; SSE_PowVkAlpha3D fills all with ones at 0.
TEST_P(BlindForms, PowerKernelOfTheForm) {
    BlindCall call = Accelerated();
    ProgressLog log(2);
    log.onCall = [&](const ProgressReport&) {
        if (log.Calls().size() == 2) call.work[1].Fill([](int, int, int) { return -2; }).FillPadding(-3);
    };
    call.Run(Form(), &log);
    EXPECT_TRUE(AllSamplesAre(call.v(), IsParallel() ? 1.0f : 0.0f));
    EXPECT_TRUE(call.v().PaddingHolds(IsParallel() ? 1.0f : -3.0f));
}

/// 0.5 divides exactly: whether c is applied always or where it is not 1, 1 changes nothing and 2 doubles.
TEST_P(BlindForms, ScaleIsOneOverTheSumOfTheFixedVolume) {
    BlindCall call = SmallBlindCall(1);
    call.fixed = ImpulsePsf(6, 5, 4);
    BlindCall halved = call;
    halved.fixed.at(0, 0, 0) = 0.5f;
    call.Run(Form());
    halved.Run(Form());
    // A peak of height h: A := c A (h g / (h A)) = c g, with c = 1 / h.
    ForEachSample(call.updated, [&](int i, int j, int k) {
        const float g = call.observed.at(i, j, k);
        ASSERT_NEAR(call.updated.at(i, j, k), g, 1e-5 * g);
        ASSERT_NEAR(halved.updated.at(i, j, k), 2 * g, 2e-5 * g);
    });
}

TEST_P(BlindForms, AFixedVolumeThatSumsToNothingIsNotCompensated) {
    for (const float height : {0.0f, 0.9e-10f, -1.0f}) {
        BlindCall call = SmallBlindCall(1);
        call.fixed = ImpulsePsf(6, 5, 4);
        call.fixed.at(0, 0, 0) = height;
        const Volume g = call.observed;
        call.Run(Form());
        // With c = 1 a peak of height h gives A (h g / (h A)) = g, and one of height 0 gives 0.
        ForEachSample(g, [&](int i, int j, int k) {
            const float expected = height == 0.0f ? 0.0f : g.at(i, j, k);
            ASSERT_NEAR(call.updated.at(i, j, k), expected, 1e-4 * g.at(i, j, k)) << height;
        });
    }
}

/// A PSF pass whose E exceeds the threshold at once.
TEST_P(BlindForms, PlaceOfTheStopTest) {
    for (const bool accelerates : {false, true}) {
        BlindCall call = SmallBlindCall(1);
        call.accelerates = accelerates;
        call.isOfImage = false;
        call.stopE8 = 0.0f;
        const Volume before = call.updated;
        ProgressLog log;
        const unsigned count = call.Run(Form(), &log);
        const bool tests = !IsSim() || accelerates;
        EXPECT_EQ(count, tests ? 1u : 2u);
        EXPECT_EQ(SameImage(call.updated, before), tests && !IsParallel());
        const bool updates = IsParallel() || !tests;
        EXPECT_EQ(log.Calls().size(), updates ? 4u : 1u);
        EXPECT_EQ(call.status, 77);
    }
}

TEST_P(BlindForms, RelativeTestEndsThePassWhereEHasSettled) {
    for (const unsigned sweeps : {2u, 5u}) {
        BlindCall call = AtRest(sweeps);
        call.stopE8 = 1e-30f;
        call.accelerates = true;
        const unsigned expected = IsParallel() ? sweeps : 2u;
        EXPECT_EQ(call.Run(Form()), expected) << "i + 1 at i = 1";
    }
    BlindCall plainSim = AtRest(5);
    plainSim.stopE8 = 1e-30f;
    if (IsSim()) {
        EXPECT_EQ(plainSim.Run(Form()), 6u) << "none without acceleration";
    }
}

/// It wants a threshold above 0, and a sweep before.
TEST_P(BlindForms, RelativeTestNeedsAPositiveThresholdAndTwoSweeps) {
    for (const float stopE8 : {0.0f, -0.0f, -0.25f, -0.5f, -1.0f}) {
        BlindCall call = AtRest(4);
        call.stopE8 = stopE8;
        call.accelerates = true;
        EXPECT_EQ(call.Run(Form()), 4 + Surplus()) << stopE8;
    }
    BlindCall once = AtRest(1);
    once.stopE8 = 1e-30f;
    once.accelerates = true;
    EXPECT_EQ(once.Run(Form()), 1 + Surplus());
}

TEST_P(BlindForms, CountAfterTheLastSweep_stays) {
    for (const bool accelerates : {false, true}) {
        for (const unsigned sweeps : {0u, 1u, 2u, 3u, 10u}) {
            BlindCall call = SmallBlindCall(sweeps);
            call.accelerates = accelerates;
            EXPECT_EQ(call.Run(Form()), sweeps + Surplus());
            EXPECT_EQ(call.status, 77) << "left alone";
        }
    }
}

// -------------------------------------------------------------------------------------------------- stop test

/// E of the pair, the image first.
TEST_P(BlindForms, AnImagePassEndsBelowAPsfPassAboveTheThreshold) {
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

TEST_P(BlindForms, AThresholdOfZeroNeverEndsAnImagePass) {
    BlindCall call = SmallBlindCall(4);
    call.accelerates = true;
    call.stopE8 = 0.0f;
    EXPECT_EQ(call.Run(Form()), 4 + Surplus());
}

/// -0.5 itself is off; a little above it a PSF pass ends at once.
TEST_P(BlindForms, MinusOneHalfSwitchesTheTestOff) {
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

TEST_P(BlindForms, SweepsAreReportedUnderANegativeThresholdAlone) {
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
TEST_P(BlindForms, StopAtEveryCall) {
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

TEST_P(BlindForms, AStopBeforeTheFirstUpdateLeavesTheVolume) {
    for (int at = 0; at < 4; ++at) {
        BlindCall call = SmallBlindCall(2);
        const Volume before = call.updated;
        ProgressLog log(at);
        call.Run(Form(), &log);
        EXPECT_TRUE(SameBytes(call.updated, before)) << at;
    }
}

// ------------------------------------------------------------------------------------------- inputs and edges

TEST_P(BlindForms, FixedAndObservedAreOnlyRead) {
    BlindCall call = Accelerated(4);
    call.fixed.FillPadding(kSentinel);
    call.observed.FillPadding(kSentinel);
    const Volume fixed = call.fixed;
    const Volume observed = call.observed;
    call.Run(Form());
    EXPECT_TRUE(SameBytes(call.fixed, fixed));
    EXPECT_TRUE(SameBytes(call.observed, observed));
}

TEST_P(BlindForms, PaddingIsNeverRead) {
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

TEST_P(BlindForms, OnReturnTheOtfIsTheSpectrumOfTheFixedVolume) {
    BlindCall call = SmallBlindCall(1);
    call.Run(Form());
    Volume expected = call.fixed;
    Low::DFT3D_Transform(&expected.sizes, expected);
    for (std::int64_t n = 0; n < expected.sizes.total; ++n) {
        ASSERT_NEAR(call.otf().get()[n], expected.get()[n], 1e-6);
    }
}

/// Only the sum of the fixed volume and E may depend on the thread count; here they do not decide anything.
TEST_P(BlindForms, RunsRepeatWithEqualBytesAtEqualThreadCount) {
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
TEST_P(BlindForms, ZerosStayZeros) {
    for (const unsigned sweeps : {2u, 5u}) {
        BlindCall call = Accelerated(sweeps);
        call.observed.Fill([](int, int, int) { return 0; });
        call.Run(Form());
        ForEachSample(call.updated, [&](int i, int j, int k) { ASSERT_EQ(call.updated.at(i, j, k), 0.0f); });
    }
}

/// Acceleration acts from the fourth sweep on: the exponent needs two back-projections.
TEST_P(BlindForms, ThreeAcceleratedSweepsAreThreePlainOnes) {
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
