// SPDX-License-Identifier: MIT

// One pass of blind deconvolution in its three forms against the double-precision twin: plain and accelerated
// sweeps on image and PSF, zeros and negatives, the working volumes, threads 1, 2 and 5.

#include <gtest/gtest.h>

#include <ostream>

#include "support/ref/blind_pass_runs.h"

namespace {

using namespace gnr::test;
using gnr::ref::BlindForm;
using gnr::ref::BlindPass;

// ---------------------------------------------------------------------------------------------- whole passes

struct Case {
    const char* name;
    int x, y, z;
    unsigned sweeps;
    bool imagePass = true;
    double psfSum = 1.0;
    float lift = 0.0f;  ///< added to every observed sample
    float stopE8 = -1.0f;
    bool report = false;
    unsigned seed = 11;

    friend std::ostream& operator<<(std::ostream& out, const Case& c) { return out << c.name; }
};

class BlindPassCases : public testing::TestWithParam<Case> {};

TEST_P(BlindPassCases, WholePass) {
    const Case& c = GetParam();
    const PassScenery scenery = MakeScenery(c.x, c.y, c.z, c.imagePass, c.psfSum, c.lift, c.seed);
    for (const BlindForm form : kBlindForms) {
        for (const bool accelerate : {false, true}) {
            if (accelerate && form != BlindForm::kStructured) continue;
            const BlindPass pass = {form, c.sweeps, c.imagePass, c.stopE8, c.report, accelerate};
            ComparePass(scenery, pass, {}, {1, 2, 5});
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, BlindPassCases,
    testing::Values(Case{"none", 6, 5, 4, 0}, Case{"none, reported", 6, 5, 4, 0, true, 1.0, 0, -1, true},
                    Case{"one", 6, 5, 4, 1}, Case{"two", 6, 5, 4, 2}, Case{"three", 6, 5, 4, 3},
                    Case{"four", 6, 5, 4, 4}, Case{"five", 6, 5, 4, 5}, Case{"eleven", 6, 5, 4, 11},
                    Case{"one on the PSF", 6, 5, 4, 1, false}, Case{"two on the PSF", 6, 5, 4, 2, false},
                    Case{"three on the PSF", 6, 5, 4, 3, false}, Case{"five on the PSF", 6, 5, 4, 5, false},
                    Case{"eleven on the PSF", 6, 5, 4, 11, false}, Case{"odd sides", 4, 7, 5, 7},
                    Case{"odd sides, PSF", 4, 7, 5, 7, false}, Case{"one plane", 6, 5, 1, 7},
                    Case{"two columns", 2, 5, 7, 7}, Case{"PSF sum 1.7", 6, 5, 4, 7, true, 1.7},
                    Case{"PSF sum 0.3", 6, 5, 4, 7, true, 0.3},
                    Case{"PSF sum 0.3, its pass", 6, 5, 4, 7, false, 0.3},
                    Case{"PSF sum -2 is not corrected", 6, 5, 4, 6, true, -2.0},
                    Case{"PSF sum 1e-11 is not corrected", 6, 5, 4, 6, true, 1e-11},
                    Case{"reported", 6, 5, 4, 5, true, 1.0, 0.0f, -1.0f, true},
                    Case{"reported, plain", 6, 5, 4, 2, true, 1.0, 0.0f, -1.0f, true},
                    Case{"reported, PSF", 6, 5, 4, 3, false, 1.0, 0.0f, -0.75f, true},
                    Case{"reported and tested", 6, 5, 4, 5, true, 1.0, 0.0f, -0.25f, true},
                    Case{"reported and tested, PSF", 6, 5, 4, 5, false, 1.0, 0.0f, -0.25f, true},
                    Case{"test at 0", 6, 5, 4, 5, true, 1.0, 0.0f, 0.0f, true},
                    Case{"test at 0, PSF", 6, 5, 4, 5, false, 1.0, 0.0f, 0.0f, true}));

// ----------------------------------------------------------------------------------- zeros and negatives

/// Samples that are zero in the estimate stay so; in the data they give a ratio of zero.
TEST(BlindPassReference, ZeroSamples) {
    for (const bool imagePass : {true, false}) {
        for (const unsigned sweeps : {2u, 7u}) {
            PassScenery scenery = MakeScenery(6, 5, 4, imagePass, 1.4);
            scenery.updated.Fill([&](int i, int j, int k) {
                return (i + 2 * j + 3 * k) % 7 == 3 ? 0 : scenery.updated.at(i, j, k);
            });
            scenery.observed.Fill([&](int i, int j, int k) {
                return (2 * i + j + k) % 5 == 1 ? 0 : scenery.observed.at(i, j, k);
            });
            for (const BlindForm form : kBlindForms) {
                const BlindPass pass = {form, sweeps, imagePass, -1, false, true};
                ComparePass(scenery, pass);
                BlindPassCall call(scenery.updated, scenery.fixed, scenery.observed);
                call.Call(pass);
                ForEachSample(scenery.updated, [&](int i, int j, int k) {
                    if (scenery.updated.at(i, j, k) == 0) {
                        EXPECT_EQ(call.a.at(i, j, k), 0);
                    }
                });
            }
        }
    }
}

/// A held volume of zeros: nothing is divided, the factor is 1, and the first sweep takes everything away.
TEST(BlindPassReference, AHeldVolumeOfZerosEndsInZeros) {
    PassScenery scenery = MakeScenery(6, 5, 4, true);
    scenery.fixed.Fill([](int, int, int) { return 0; });
    for (const BlindForm form : kBlindForms) {
        for (const unsigned sweeps : {1u, 4u}) {
            SCOPED_TRACE(NameOf(form));
            BlindPassCall call(scenery.updated, scenery.fixed, scenery.observed);
            const BlindPass pass = {form, sweeps, true, -1, false, true};
            EXPECT_EQ(call.Call(pass), form == BlindForm::kParallel ? sweeps : sweeps + 1);
            EXPECT_TRUE(AllSamplesAre(call.a, 0));
        }
    }
}

/// Data below zero turn back-projections and estimates negative: such samples are left out of the exponent,
/// where they add what a plane before left at their place.
TEST(BlindPassReference, NegativeData) {
    gnr::ref::BlindTrace all;
    for (unsigned seed = 1; seed <= 12; ++seed) {
        SCOPED_TRACE(seed);
        PassScenery scenery = MakeScenery(6, 5, 4, true, 1.2, 0, seed);
        scenery.observed.Fill([&](int i, int j, int k) {
            const float g = scenery.observed.at(i, j, k);
            return (i + 3 * j + 5 * k) % 11 == static_cast<int>(seed) % 11 ? -3 * g : g;
        });
        for (const BlindForm form : kBlindForms) {
            const BlindPass pass = {form, 7, true, -1, false, true};
            ComparePass(scenery, pass);
            const auto trace = RunTwin(scenery, pass).run.trace;
            all.skipped += trace.skipped;
            all.refilled += trace.refilled;
            all.negativeRatios += trace.negativeRatios;
            all.negativesKept += trace.negativesKept;
        }
    }
    EXPECT_GT(all.skipped, 100);
    EXPECT_GT(all.refilled, 100);
    EXPECT_GT(all.negativeRatios, 100);
    EXPECT_GT(all.negativesKept, 10);
}

/// Images below zero throughout restore as their negatives do, without acceleration.
TEST(BlindPassReference, NegativeImages) {
    PassScenery scenery = MakeScenery(6, 5, 4, true, 1.2);
    scenery.observed.Fill([&](int i, int j, int k) { return -scenery.observed.at(i, j, k); });
    scenery.updated = scenery.observed;
    for (const BlindForm form : kBlindForms) {
        for (const unsigned sweeps : {1u, 6u}) {
            const BlindPass pass = {form, sweeps, true, -1, false, true};
            ComparePass(scenery, pass);
            BlindPass plain = pass;
            plain.sweeps = 2;
            plain.accelerate = false;
            ComparePass(scenery, plain);
        }
    }
}

// ------------------------------------------------------------------------------------------ working volumes

bool HoldsOnly(const Volume& v, float value) {
    return AllSamplesAre(v, value) && v.PaddingHolds(value);
}

/// Without acceleration the four volumes are filled with ones all the same, padding included, and stay so.
TEST(BlindPassWork, OnesWithoutAcceleration) {
    const PassScenery scenery = MakeScenery(6, 5, 4, true);
    for (const BlindForm form : {BlindForm::kSerial, BlindForm::kParallel}) {
        for (const unsigned sweeps : {0u, 1u, 2u}) {
            BlindPassCall call(scenery.updated, scenery.fixed, scenery.observed);
            call.Call({form, sweeps, true, -1, false, false});
            for (const Volume* v : {&call.ratio, &call.previous, &call.gradient1, &call.gradient2}) {
                EXPECT_TRUE(HoldsOnly(*v, 1)) << NameOf(form) << sweeps;
            }
        }
    }
}

/// Structured sweeps without acceleration touch neither those volumes nor the planes.
TEST(BlindPassWork, StructuredSweepsNeedNone) {
    const PassScenery scenery = MakeScenery(6, 5, 4, true);
    for (const float bound : {-1.0f, 0.0f, 1e9f}) {
        BlindPassCall call(scenery.updated, scenery.fixed, scenery.observed);
        EXPECT_EQ(call.Call({BlindForm::kStructured, 4, true, bound, false, false}), 5u);
        for (const Volume* v : {&call.ratio, &call.previous, &call.gradient1, &call.gradient2}) {
            EXPECT_TRUE(HoldsOnly(*v, kSentinel));
        }
        for (const float plane : call.planes) EXPECT_EQ(plane, kSentinel);
        BlindPassCall bare(scenery.updated, scenery.fixed, scenery.observed);
        DFT3D s = bare.a.sizes;
        EXPECT_EQ(CRy3DDeconvolutionLow::SIM_AccIBDProcessInner3D(
                      bare.a, bare.b, &s, 4, true, bound, nullptr, bare.g, bare.otf, nullptr, nullptr,
                      bare.scratch, nullptr, nullptr, nullptr, nullptr, bare.status, false, false),
                  5u);
        EXPECT_TRUE(SameImage(bare.a, call.a));
    }
}

/// Planes behind the second one are the caller's.
TEST(BlindPassWork, TwoPlanesSuffice) {
    const PassScenery scenery = MakeScenery(6, 5, 4, true);
    for (const BlindForm form : kBlindForms) {
        BlindPassCall call(scenery.updated, scenery.fixed, scenery.observed);
        call.Call({form, 5, true, -1, false, true});
        const auto used = 2 * static_cast<std::size_t>(call.a.sizes.planeStride);
        for (std::size_t n = used; n < call.planes.size(); ++n) ASSERT_EQ(call.planes[n], kSentinel) << n;
    }
}

/// A stop before the first sweep: the estimate is as it was, and lies in the scratch volume too.
TEST(BlindPassWork, StoppedBeforeTheFirstSweep) {
    const PassScenery scenery = MakeScenery(6, 5, 4, true);
    for (const BlindForm form : kBlindForms) {
        BlindPassCall call(scenery.updated, scenery.fixed, scenery.observed);
        StoppingHost host({0, false});
        EXPECT_EQ(call.Call({form, 5, true, 0.0f, true, true}, &host), 0u);
        EXPECT_EQ(call.status, -1);
        EXPECT_EQ(host.log.Calls().size(), 1u);
        EXPECT_TRUE(SameBytes(call.a, scenery.updated));
        EXPECT_TRUE(SameImage(call.scratch, scenery.updated));
    }
}

}  // namespace
