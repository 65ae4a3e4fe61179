// SPDX-License-Identifier: MIT

// The one-call blind entry against its double-precision twin: whole runs with every inner setting, both sides
// of the stop test, a stop at every progress call, answered once or for good, threads 1, 2 and 5.

#include <gtest/gtest.h>

#include <cmath>
#include <ostream>

#include "support/ref/blind_calls.h"

namespace {

using namespace gnr::test;
using gnr::ref::BlindEntry;
using gnr::ref::BlindHost;
using gnr::ref::BlindJob;
using gnr::ref::FromVolume;

struct Case {
    const char* name;
    unsigned iterations;
    int innerSetting;
    float stopE8 = -1.0f;
    double psfSum = 1.0;
    int x = 6, y = 5, z = 4;

    friend std::ostream& operator<<(std::ostream& out, const Case& c) { return out << c.name; }
};

Volume MakeObserved(int x, int y, int z, float dark = 20) {
    return Observed(Scene(x, y, z, dark, 400), AsymmetricPsf(x, y, z), 0.02f);
}

BlindJob Job(unsigned iterations, int innerSetting, float stopE8, BlindHost host = {}) {
    BlindJob job;
    job.iterations = iterations;
    job.innerSetting = innerSetting;
    job.stopE8 = stopE8;
    job.host = std::move(host);
    return job;
}

void Compare(const Volume& observed, const Volume& guess, const BlindJob& job,
             const std::vector<int>& threadCounts = {2}) {
    const BlindExpectation expected = ExpectBlind(&BlindEntry, observed, guess, job);
    for (const int threads : threadCounts) {
        SCOPED_TRACE(threads);
        const ThreadCount scope(threads);
        BlindCall call(observed, guess, job);
        const int code = call.Entry();
        ExpectSameRun(call, code, expected);
    }
}

class BlindEntryCases : public testing::TestWithParam<Case> {};

TEST_P(BlindEntryCases, WholeRun) {
    const Case& c = GetParam();
    Compare(MakeObserved(c.x, c.y, c.z), AsymmetricPsf(c.x, c.y, c.z, c.psfSum, 0.9),
            Job(c.iterations, c.innerSetting, c.stopE8), {1, 2, 5});
}

INSTANTIATE_TEST_SUITE_P(
    Cases, BlindEntryCases,
    testing::Values(Case{"none", 0, 0}, Case{"one of one", 1, 0}, Case{"two of one", 2, 0},
                    Case{"three of one", 3, 0}, Case{"five of one", 5, 0}, Case{"seven of one", 7, 0},
                    Case{"one of ten", 1, 1}, Case{"eleven of ten", 11, 1}, Case{"twelve of ten", 12, 1},
                    Case{"23 of ten", 23, 1}, Case{"nine of twenty", 9, 2}, Case{"22 of twenty", 22, -7},
                    Case{"test at 0", 5, 1, 0.0f}, Case{"test at 0, of one", 5, 0, 0.0f},
                    Case{"settling", 7, 1, 1e-6f}, Case{"settling, of twenty", 25, 2, 1e-6f, 1.1},
                    Case{"PSF sum 1.7", 5, 0, -1.0f, 1.7}, Case{"PSF sum 0.4, of ten", 13, 1, -1.0f, 0.4},
                    Case{"PSF sum -2", 3, 0, -1.0f, -2.0}, Case{"odd sides", 5, 0, -1.0f, 1.2, 4, 7, 3},
                    Case{"one plane", 5, 0, -1.0f, 1.0, 6, 5, 1}));

/// Thresholds around the energies of the first passes.
TEST(BlindEntryStop, BothSidesOfEveryEnergy) {
    const Volume observed = MakeObserved(4, 3, 5);
    const Volume guess = AsymmetricPsf(4, 3, 5, 1.0, 1.3);
    const auto probe = BlindEntry(FromVolume(observed), FromVolume(guess), Job(8, 1, 0.0f));
    std::vector<std::vector<unsigned>> counts;
    const std::size_t most = std::min<std::size_t>(probe.trace.energies.size(), 12);
    ASSERT_GT(most, 8u);
    for (std::size_t n = 0; n < most; ++n) {
        for (const double side : {0.999, 1.001}) {
            const BlindJob job = Job(5, 1, static_cast<float>(probe.trace.energies[n] * side));
            SCOPED_TRACE(job.stopE8);
            counts.push_back(BlindEntry(FromVolume(observed), FromVolume(guess), job).counts);
            Compare(observed, guess, job);
        }
    }
    std::sort(counts.begin(), counts.end());
    EXPECT_GE(std::unique(counts.begin(), counts.end()) - counts.begin(), 4);
}

/// A stop answered once, or from some call on, at every call of a run.
void StopAtEveryCall(const BlindJob& settings, int step) {
    const Volume observed = MakeObserved(4, 3, 5);
    const Volume guess = AsymmetricPsf(4, 3, 5, 1.4, 1.3);
    const auto whole = BlindEntry(FromVolume(observed), FromVolume(guess), settings);
    for (const bool persists : {false, true}) {
        SCOPED_TRACE(persists ? "for good" : "once");
        for (int call = 0; call <= static_cast<int>(whole.calls.size()); call += step) {
            SCOPED_TRACE(call);
            BlindJob job = settings;
            job.host = {call, persists};
            Compare(observed, guess, job);
        }
    }
}

TEST(BlindEntryStop, AtEveryCallOfPlainPasses) {
    StopAtEveryCall(Job(5, 0, -1.0f), 1);
}

TEST(BlindEntryStop, AtEveryCallOfAcceleratedPasses) {
    StopAtEveryCall(Job(13, 1, -1.0f), 5);
}

TEST(BlindEntryStop, AtEveryCallOfTestedPasses) {
    StopAtEveryCall(Job(4, 1, 1e-6f), 3);
}

/// A pass stopped once only does not end the run, and its end says -1.
TEST(BlindEntryStop, OnceWithinAPassIsSeenAtTheEndOnly) {
    const Volume observed = MakeObserved(4, 3, 5);
    const Volume guess = AsymmetricPsf(4, 3, 5);
    for (const int call : {1, 2, 3, 4}) {
        BlindCall run(observed, guess, Job(3, 0, -1.0f, {call, false}));
        EXPECT_EQ(run.Entry(), -1);
        EXPECT_EQ(run.calls().back().phase, eProgressStepEnd);
        EXPECT_EQ(run.calls().back().n, 4u);
    }
}

TEST(BlindEntryReference, NobodyNeedsToListen) {
    const Volume observed = MakeObserved(6, 5, 4);
    const Volume guess = AsymmetricPsf(6, 5, 4, 1.2, 0.9);
    const ThreadCount scope(1);
    BlindCall heard(observed, guess, Job(5, 0, -1.0f));
    BlindCall silent(observed, guess, Job(5, 0, -1.0f));
    silent.listens = false;
    EXPECT_EQ(heard.Entry(), 1);
    EXPECT_EQ(silent.Entry(), 1);
    EXPECT_TRUE(silent.calls().empty());
    EXPECT_TRUE(SameImage(silent.image, heard.image));
    EXPECT_TRUE(SameImage(silent.psf, heard.psf));
}

TEST(BlindEntryReference, WithoutMemoryNothingIsTouched) {
    const Volume observed = MakeObserved(6, 5, 4);
    const Volume guess = AsymmetricPsf(6, 5, 4);
    BlindCall call(observed, guess, Job(5, 0, -1.0f));
    call.beyondMemory = true;
    EXPECT_EQ(call.Entry(), -9);
    EXPECT_TRUE(call.calls().empty());
    EXPECT_TRUE(SameBytes(call.image, observed));
    EXPECT_TRUE(SameBytes(call.psf, guess));
}

/// Zeros and negatives in the data.
TEST(BlindEntryReference, ZerosAndNegatives) {
    for (const int innerSetting : {0, 1}) {
        for (const float factor : {0.0f, -0.5f}) {
            Volume observed = MakeObserved(6, 5, 4, 200);
            observed.Fill([&](int i, int j, int k) {
                return observed.at(i, j, k) * ((i + 2 * j + 3 * k) % 13 == 5 ? factor : 1.0f);
            });
            const Volume guess = AsymmetricPsf(6, 5, 4, 1.3, factor < 0 ? 0.35 : 0.7);
            SCOPED_TRACE(factor);
            Compare(observed, guess, Job(innerSetting == 0 ? 5 : 12, innerSetting, -1.0f));
        }
    }
}

}  // namespace
