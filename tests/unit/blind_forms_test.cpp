// SPDX-License-Identifier: MIT

// The three forms of the blind inner loop: each cell of the table that tells them apart.

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

}  // namespace
