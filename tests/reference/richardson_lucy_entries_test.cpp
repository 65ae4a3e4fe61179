// SPDX-License-Identifier: MIT

// The one-call Wiener and Richardson-Lucy entries against their double-precision twins: whole runs, both
// sides of every decision, a stop at every progress call.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <ostream>

#include "support/bits.h"
#include "support/dense.h"
#include "support/ref/richardson_lucy_entries.h"
#include "support/ref/wiener_entry.h"
#include "support/richardson_lucy_calls.h"
#include "support/tolerances.h"
#include "support/wiener_job.h"

namespace {

using namespace gnr::test;
using gnr::ref::FromVolume;
using gnr::ref::RichardsonLucyEntryResult;
using Call = RichardsonLucyCall;

RichardsonLucyEntryResult Twin(const Call& call, const Volume& psf, int stopAtCall = -1) {
    const auto image = FromVolume(call.image);
    switch (call.entry) {
        case RichardsonLucy::kManual:
            return gnr::ref::LucyRichardsonTMEntry(image, FromVolume(psf), call.iterations, call.strength,
                                                   stopAtCall);
        case RichardsonLucy::kAutomatic:
            return gnr::ref::LucyRichardsonTMAutomaticEntry(
                image, FromVolume(psf),
                {call.iterations, call.automaticStrength, call.stopRatio, call.box, stopAtCall});
        case RichardsonLucy::kPlain:
            return gnr::ref::LucyRichardsonEntry(image, Spectrum(FromVolume(psf)), call.iterations,
                                                 stopAtCall);
        case RichardsonLucy::kRealTV:
            break;
    }
    return gnr::ref::LucyRichardsonRealTVEntry(image, FromVolume(psf), call.iterations, call.strength,
                                               stopAtCall);
}

/// The twin itself must be on firm ground, or the comparison says nothing.
void ExpectFirmDecisions(const RichardsonLucyEntryResult& r) {
    EXPECT_GT(r.smallestBlur, kDecisionMargin);
    EXPECT_GT(r.smallestGradient, kDecisionMargin);
    EXPECT_GT(r.fieldMargin.distanceFromLimit, kDecisionMargin);
    for (const auto& visit : r.visits) EXPECT_GT(visit.margin, kDecisionMargin) << "i " << visit.k;
}

/// Factors of a total variation turn with the direction of the gradient, which rounding moves by its share of
/// the shortest one.
double ToleranceOf(const RichardsonLucyEntryResult& expected, const Volume& observed) {
    double largest = LargestSample(observed);
    ForImageColumns(expected.image, [&](int i, int j, int k) {
        largest = std::max(largest, std::abs(expected.image.at(i, j, k)));
    });
    const double plain =
        RestorationTolerance(1.0 * observed.x() * observed.y() * observed.z(), expected.steps, largest);
    return std::isfinite(expected.smallestGradient)
               ? plain * (1 + std::abs(expected.lambda) / expected.smallestGradient)
               : plain;
}

struct Case {
    const char* name;
    int x, y, z;
    int iterations;
    double strength = 0;
    double psfSum = 1.0;
    float lift = 0.0f;  ///< added to every observed sample; below 0 for negative samples
    double stopRatio = 1.0007;
    bool partBox = false;

    friend std::ostream& operator<<(std::ostream& out, const Case& c) { return out << c.name; }
};

Call MakeCall(RichardsonLucy entry, const Case& c) {
    Volume observed = Observed(Scene(c.x, c.y, c.z, 20, 400), AsymmetricPsf(c.x, c.y, c.z), 0.02f);
    observed.Fill([&](int i, int j, int k) { return observed.at(i, j, k) + c.lift; });
    Call call(entry, observed, AsymmetricPsf(c.x, c.y, c.z, c.psfSum), c.iterations);
    call.strength = c.strength < 0 ? 0 : static_cast<unsigned>(c.strength);
    call.automaticStrength = c.strength;
    call.stopRatio = c.stopRatio;
    if (c.partBox) call.box = {1, c.x - 2, 1, c.y, 0, c.z - 1};
    return call;
}

void ExpectWholeRun(RichardsonLucy entry, const Case& c) {
    const Call made = MakeCall(entry, c);
    const auto expected = Twin(made, AsymmetricPsf(c.x, c.y, c.z, c.psfSum));
    ExpectFirmDecisions(expected);
    for (const int threads : {1, 2, 5}) {
        SCOPED_TRACE(threads);
        const ThreadCount scope(threads);
        Call call = made;
        EntryLog log;
        ASSERT_EQ(call.Run(&log), 1);
        ExpectImageNear(call.image, expected.image, ToleranceOf(expected, made.image));
        EXPECT_EQ(call.done, entry == RichardsonLucy::kAutomatic ? expected.done : 77u);
        EXPECT_EQ(log.log.Calls(), RichardsonLucyReports(entry, expected.calls));
    }
}

class LucyRichardsonTMTwin : public testing::TestWithParam<Case> {};
TEST_P(LucyRichardsonTMTwin, WholeRun) {
    ExpectWholeRun(RichardsonLucy::kManual, GetParam());
}
INSTANTIATE_TEST_SUITE_P(
    Cases, LucyRichardsonTMTwin,
    testing::Values(Case{"none", 8, 5, 4, 0}, Case{"one", 8, 5, 4, 1}, Case{"twelve", 6, 4, 7, 12},
                    Case{"one plane", 8, 6, 1, 5, 10}, Case{"two columns", 2, 9, 6, 5, 10},
                    Case{"strength 1", 8, 5, 6, 7, 1}, Case{"strength 25", 12, 7, 5, 5, 25},
                    Case{"more planes than rows", 6, 4, 9, 5, 10},
                    Case{"more planes than columns", 4, 9, 9, 5, 25}, Case{"PSF sum 4", 8, 5, 4, 5, 10, 4.0},
                    Case{"PSF sum 1e-11", 8, 5, 4, 5, 0, 1e-11},
                    Case{"negative samples", 8, 5, 4, 2, 10, 1.0, -25.0f}));

class LucyRichardsonTMAutomaticTwin : public testing::TestWithParam<Case> {};
TEST_P(LucyRichardsonTMAutomaticTwin, WholeRun) {
    ExpectWholeRun(RichardsonLucy::kAutomatic, GetParam());
}
INSTANTIATE_TEST_SUITE_P(
    Cases, LucyRichardsonTMAutomaticTwin,
    testing::Values(Case{"none", 8, 5, 4, 0}, Case{"one", 8, 5, 4, 1},
                    Case{"five cannot stop", 4, 3, 3, 5, 0.3, 1.0, 0, 0.0},
                    Case{"six, the sixth is the last", 8, 5, 4, 6, 0.3, 1.0, 0, 0.0},
                    Case{"stops at the sixth", 8, 5, 4, 12, 0.3, 1.0, 0, 0.0},
                    Case{"does not stop", 8, 5, 4, 12}, Case{"field within its limit", 12, 7, 5, 7, 0.1},
                    Case{"field beyond its limit", 12, 7, 5, 7, 2}, Case{"negative strength", 8, 5, 4, 5, -2},
                    Case{"one plane", 8, 6, 1, 5, 2}, Case{"PSF sum 4", 8, 5, 4, 7, 0.3, 4.0},
                    Case{"PSF sum 1e-11", 8, 5, 4, 5, 0.3, 1e-11},
                    Case{"negative samples", 8, 5, 4, 5, 0.3, 1.0, -25.0f},
                    Case{"nothing but negative samples", 8, 5, 4, 5, 0.3, 1.0, -2000.0f},
                    Case{"part of the volume", 8, 5, 4, 12, 0.3, 1.0, 0, 0.9, true}));

class LucyRichardsonTwin : public testing::TestWithParam<Case> {};
TEST_P(LucyRichardsonTwin, WholeRun) {
    ExpectWholeRun(RichardsonLucy::kPlain, GetParam());
}
INSTANTIATE_TEST_SUITE_P(Cases, LucyRichardsonTwin,
                         testing::Values(Case{"none", 8, 5, 4, 0}, Case{"negative count", 8, 5, 4, -3},
                                         Case{"one", 8, 5, 4, 1}, Case{"twelve", 6, 4, 7, 12},
                                         Case{"odd sides", 6, 7, 9, 5}, Case{"one plane", 8, 6, 1, 5},
                                         Case{"two columns", 2, 9, 6, 5},
                                         Case{"PSF sum 1.2", 8, 5, 4, 5, 0, 1.2},
                                         Case{"PSF sum 1e-3", 8, 5, 4, 5, 0, 1e-3}));

class LucyRichardsonRealTVTwin : public testing::TestWithParam<Case> {};
TEST_P(LucyRichardsonRealTVTwin, WholeRun) {
    ExpectWholeRun(RichardsonLucy::kRealTV, GetParam());
}
INSTANTIATE_TEST_SUITE_P(
    Cases, LucyRichardsonRealTVTwin,
    testing::Values(Case{"none", 8, 5, 4, 0, 10}, Case{"one", 8, 5, 4, 1, 10}, Case{"plain", 6, 4, 7, 12},
                    Case{"strength 1", 8, 5, 6, 5, 1}, Case{"strength 15", 12, 7, 5, 3, 15},
                    Case{"one plane", 8, 6, 1, 5, 10}, Case{"two columns", 2, 9, 6, 3, 10},
                    Case{"more planes than rows", 6, 4, 9, 3, 10}, Case{"PSF sum 4", 8, 5, 4, 3, 10, 4.0},
                    Case{"PSF sum 1e-11", 8, 5, 4, 3, 10, 1e-11}));

/// The image that a stop leaves, at every progress call.
TEST(RichardsonLucyEntryReference, StopAtEveryCall) {
    const Volume psf = AsymmetricPsf(6, 5, 4, 1.3);
    const Volume observed = Observed(Scene(6, 5, 4, 20, 400), AsymmetricPsf(6, 5, 4));
    for (const RichardsonLucy entry : kRichardsonLucyEntries) {
        for (int at = 0; at < 6; ++at) {
            SCOPED_TRACE(testing::Message() << NameOf(entry) << ", call " << at);
            Call call(entry, observed, psf, 3);
            const auto expected = Twin(call, psf, at);
            ASSERT_EQ(expected.code, -8);
            EntryLog log(at);
            ASSERT_EQ(call.Run(&log), -8);
            ExpectImageNear(call.image, expected.image, ToleranceOf(expected, observed));
            EXPECT_EQ(call.done, entry == RichardsonLucy::kAutomatic ? expected.done : 77u);
        }
    }
}

/// Doubled strengths wrap at 2^32, and the weight is -1e-6 of the square of what is left.
TEST(RichardsonLucyEntryReference, HugeStrengthsClampEveryFactor) {
    Call call = MakeCall(RichardsonLucy::kManual, {"", 8, 5, 6, 2, 0});
    call.strength = 0xFFFFFFFFu;
    const auto expected = Twin(call, AsymmetricPsf(8, 5, 6));
    ASSERT_GT(expected.fieldMargin.smallestLaplacian, kDecisionMargin);
    const Volume before = call.image;
    ASSERT_EQ(call.Run(), 1);
    ExpectImageNear(call.image, expected.image, ToleranceOf(expected, before));
}

TEST(WienerEntryReference, EveryNoiseConstantAndThreadCount) {
    constexpr double kNoise[] = {0.01, 0.03, 0.08, 0.2, 0.5, 0.01};
    for (const auto& [x, y, z] : {std::tuple(8, 6, 5), std::tuple(10, 17, 1), std::tuple(2, 7, 11)}) {
        Volume observed = Volume(x, y, z).FillRandom(31, -5.0f, 20.0f).FillPadding(kSentinel);
        observed.at(x / 2, y / 2, z / 2) += 300;
        Volume psf = LopsidedPsf(x, y, z, 1.2);
        for (unsigned setting = 0; setting < 6; ++setting) {
            const double K = kNoise[setting];
            const double largest =
                gnr::ref::Largest(gnr::ref::WienerEntryUncut(ToDense(observed), ToDense(psf), K));
            const auto expected = gnr::ref::WienerEntry(ToDense(observed), ToDense(psf), K);
            for (const int threads : {1, 2, 5}) {
                const ThreadCount scope(threads);
                Volume image = observed;
                DFT3D s = image.sizes;
                ASSERT_EQ(CRy3DDeconvolution().Wiener(&s, psf, image, nullptr, nullptr, setting, 0, 0), 1);
                ForEachSample(image, [&](int i, int j, int k) {
                    ASSERT_NEAR(image.at(i, j, k), expected.at(i, j, k), kWienerRelative * largest);
                });
            }
        }
    }
}

}  // namespace
