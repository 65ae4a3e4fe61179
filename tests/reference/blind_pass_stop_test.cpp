// SPDX-License-Identifier: MIT

// How passes of blind deconvolution end before their time, against the double-precision twin: both sides of
// both stop tests, and a stop at every progress call.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "support/ref/blind_pass_runs.h"

namespace {

using namespace gnr::test;
using gnr::ref::BlindForm;
using gnr::ref::BlindPass;
using gnr::ref::FromVolume;
using gnr::ref::PaddedVolume;

// ---------------------------------------------------------------------------------------------- stop tests

/// Energies of the twin behind each of n sweeps with the test on but never met; the energy before the first
/// sweep comes first.
std::vector<double> EnergiesOf(const PassScenery& scenery, bool imagePass, unsigned sweeps) {
    const PaddedVolume a = FromVolume(scenery.updated);
    const PaddedVolume b = FromVolume(scenery.fixed);
    std::vector<double> energies = {imagePass ? EnergyRatio(a, b) : EnergyRatio(b, a)};
    const BlindPass pass = {BlindForm::kParallel,       sweeps, imagePass,
                            imagePass ? -0.49f : 1e30f, false,  false};
    const PassRun twin = RunTwin(scenery, pass);
    energies.insert(energies.end(), twin.run.trace.energies.begin(), twin.run.trace.energies.end());
    return energies;
}

/// Thresholds a thousandth above and below the energy of every sweep. Passes must end at all sweeps.
TEST(BlindPassStop, ThresholdsAroundEveryEnergy) {
    for (const bool imagePass : {true, false}) {
        SCOPED_TRACE(imagePass ? "image" : "PSF");
        const PassScenery scenery = MakeScenery(4, 3, 5, imagePass);
        const std::vector<double> energies = EnergiesOf(scenery, imagePass, 6);
        ASSERT_EQ(energies.size(), 7u);
        for (const BlindForm form : kBlindForms) {
            std::vector<unsigned> counts;
            for (const double energy : energies) {
                for (const double side : {0.999, 1.001}) {
                    const auto bound = static_cast<float>(energy * side);
                    SCOPED_TRACE(bound);
                    const BlindPass pass = {form, 6, imagePass, bound, false, true};
                    counts.push_back(RunTwin(scenery, pass).count);
                    ComparePass(scenery, pass);
                }
            }
            std::sort(counts.begin(), counts.end());
            counts.erase(std::unique(counts.begin(), counts.end()), counts.end());
            EXPECT_GE(counts.size(), 4u) << NameOf(form);
        }
    }
}

/// A threshold that is never met leaves the relative test: it ends a pass once the energy moves by less than a
/// hundredth, in the two forms that have it, whatever the acceleration, and never in the first sweep.
TEST(BlindPassStop, SettledEnergyEndsAPass) {
    const std::pair<bool, float> never[] = {{true, 1e-6f}, {false, 1e6f}};
    for (const auto& [imagePass, bound] : never) {
        SCOPED_TRACE(imagePass ? "image" : "PSF");
        const PassScenery scenery = MakeScenery(4, 3, 5, imagePass, 1.0, 0, 11, 0.4);
        for (const BlindForm form : kBlindForms) {
            const BlindPass pass = {form, 30, imagePass, bound, false, true};
            const PassRun twin = RunTwin(scenery, pass);
            if (form == BlindForm::kParallel) {
                EXPECT_EQ(twin.count, 30u);
                EXPECT_TRUE(twin.run.trace.moves.empty());
            } else {
                EXPECT_GT(twin.count, 2u);
                EXPECT_LT(twin.count, 30u);
            }
            ComparePass(scenery, pass);
        }
    }
}

/// An impulse leaves the image as it is: the energy stands still, and the second sweep is the last one.
TEST(BlindPassStop, AnImpulseSettlesInTheSecondSweep) {
    const Volume observed = Scene(6, 5, 4, 20, 400);
    const PassScenery scenery = {observed, ImpulsePsf(6, 5, 4), observed};
    for (const unsigned sweeps : {1u, 2u, 3u, 7u}) {
        for (const BlindForm form : kBlindForms) {
            for (const float bound : {0.0f, 1e-9f}) {
                SCOPED_TRACE(bound);
                const BlindPass pass = {form, sweeps, true, bound, false, true};
                const bool tested = form != BlindForm::kParallel && bound > 0;
                const unsigned whole = form == BlindForm::kParallel ? sweeps : sweeps + 1;
                BlindPassCall call(scenery.updated, scenery.fixed, scenery.observed);
                EXPECT_EQ(call.Call(pass), tested && sweeps >= 2 ? 2u : whole) << sweeps << NameOf(form);
                EXPECT_EQ(call.status, 77);
            }
        }
    }
}

/// The threshold -0.5 switches the test off, the next float above it does not.
TEST(BlindPassStop, OffAtMinusAHalf) {
    const PassScenery scenery = MakeScenery(4, 3, 5, false);
    for (const BlindForm form : kBlindForms) {
        for (const float bound : {-1.0f, -0.5f, std::nextafter(-0.5f, 0.0f), 0.0f}) {
            SCOPED_TRACE(bound);
            const BlindPass pass = {form, 4, false, bound, false, true};
            const unsigned whole = form == BlindForm::kParallel ? 4 : 5;
            EXPECT_EQ(RunTwin(scenery, pass).count, bound > -0.5f ? 1u : whole);
            ComparePass(scenery, pass);
            BlindPass plain = pass;
            plain.accelerate = false;
            plain.sweeps = 2;
            ComparePass(scenery, plain);
        }
    }
}

/// Energies between -0.5 and 0 need an image of negative sum; tests and reports then stand together.
TEST(BlindPassStop, NegativeEnergiesAreTestedToo) {
    const Volume psf = AsymmetricPsf(4, 3, 5, 1.2, 1.3);
    Volume observed = Observed(Scene(4, 3, 5, 20, 400), AsymmetricPsf(4, 3, 5), 0.02f);
    observed.Fill([&](int i, int j, int k) { return -observed.at(i, j, k); });
    const PassScenery image = {observed, psf, observed};
    const PassScenery onPsf = {psf, observed, observed};
    for (const BlindForm form : kBlindForms) {
        for (const auto& [scenery, imagePass] : {std::pair(&image, true), std::pair(&onPsf, false)}) {
            for (const double energy : EnergiesOf(*scenery, imagePass, 3)) {
                if (!imagePass && energy > 0) break;
                ASSERT_LT(energy, 0);
                ASSERT_GT(energy, -0.4);
                for (const double side : {0.99, 1.01}) {
                    const BlindPass pass = {form, 3,   imagePass, static_cast<float>(energy * side),
                                            true, true};
                    SCOPED_TRACE(pass.stopE8);
                    ComparePass(*scenery, pass);
                }
            }
        }
    }
}

// --------------------------------------------------------------------------------------- stops by the host

/// Every call of a pass, accelerated or plain, with reports and without.
TEST(BlindPassStop, AtEveryProgressCall) {
    for (const bool imagePass : {true, false}) {
        const PassScenery scenery = MakeScenery(4, 3, 5, imagePass, 1.4);
        for (const BlindForm form : kBlindForms) {
            for (const auto& [sweeps, report] : {std::pair(2u, false), std::pair(5u, true)}) {
                const BlindPass pass = {form, sweeps, imagePass, -1, report, sweeps >= 3};
                const auto calls = static_cast<int>(RunTwin(scenery, pass).run.host.calls.size());
                ASSERT_EQ(calls, report ? 1 + 9 * 5 : 1 + 3 * 2);
                for (int call = 0; call < calls; ++call) {
                    SCOPED_TRACE(call);
                    ComparePass(scenery, pass, {call, false});
                }
            }
        }
    }
}

/// Between the tests of a pass that would end by itself at its third sweep.
TEST(BlindPassStop, AtEveryProgressCallOfATestedPass) {
    const PassScenery scenery = MakeScenery(4, 3, 5, true);
    const std::vector<double> energies = EnergiesOf(scenery, true, 6);
    for (const BlindForm form : kBlindForms) {
        const auto bound = static_cast<float>(std::sqrt(energies[2] * energies[3]));
        const BlindPass pass = {form, 6, true, bound, true, true};
        const PassRun whole = RunTwin(scenery, pass);
        EXPECT_GT(whole.count, 2u);
        EXPECT_LT(whole.count, 6u);
        for (int call = 0; call < static_cast<int>(whole.run.host.calls.size()); ++call) {
            SCOPED_TRACE(call);
            ComparePass(scenery, pass, {call, false});
        }
    }
}

}  // namespace
