// SPDX-License-Identifier: MIT

// The structured-illumination entry: PSF first, the host called before each pass with both volumes, and a stop
// that shows in the result alone.

#include <gnr_deconvolution/legacy.h>
#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <tuple>

#include "support/blind_drivers.h"
#include "support/ref/landweber_runs.h"

namespace {

using namespace gnr::test;

/// Records the calls; may change the volumes.
class Host final : public IRyIterationDataCallback {
  public:
    struct Call {
        char pass;
        int iteration;
        int rows;
        int planes;
        float* psf;
        float* image;
        friend bool operator==(const Call&, const Call&) = default;
    };

    void OnBeforePsfPass(int iIteration, int iRows, int iPlanes, float* pfPsf, float* pfImage) override {
        calls.push_back({'p', iIteration, iRows, iPlanes, pfPsf, pfImage});
        if (beforePsfPass) beforePsfPass();
    }
    void OnBeforeImagePass(int iIteration, int iRows, int iPlanes, float* pfPsf, float* pfImage) override {
        calls.push_back({'i', iIteration, iRows, iPlanes, pfPsf, pfImage});
        if (beforeImagePass) beforeImagePass();
    }

    std::vector<Call> calls;
    std::function<void()> beforePsfPass;
    std::function<void()> beforeImagePass;
};

struct Entry {
    explicit Entry(int count) : iterations(count) {}

    int Call(IRyIterationDataCallback* host = nullptr, ProgressLog* log = nullptr) {
        return CRy3DDeconvolution().SIM_LucyRichardsonIBD(&sizes, psf, image, iterations,
                                                          log != nullptr ? &ProgressLog::Record : nullptr,
                                                          log, unused, unused, stopE8, host);
    }

    Volume image = BlindObserved();
    Volume psf = BlindGuess();
    DFT3D sizes = image.sizes;
    int iterations;
    float stopE8 = 0.5f;
    int unused = 0;
};

std::vector<Host::Call> ExpectedCalls(const Entry& entry) {
    std::vector<Host::Call> calls;
    for (int j = 0; j < entry.iterations; ++j) {
        for (const char pass : {'p', 'i'}) {
            calls.push_back({pass, j, entry.sizes.rows, entry.sizes.planes, entry.psf, entry.image});
        }
    }
    return calls;
}

TEST(SimEntry, NoIterationsCallNobody) {
    for (const int iterations : {0, -1, std::numeric_limits<int>::min()}) {
        Entry entry(iterations);
        const Entry before(0);
        Host host;
        ProgressLog log;
        EXPECT_EQ(entry.Call(&host, &log), 1);
        EXPECT_TRUE(host.calls.empty());
        EXPECT_TRUE(log.Calls().empty());
        EXPECT_TRUE(SameBytes(entry.image, before.image));
        EXPECT_TRUE(SameBytes(entry.psf, before.psf));
    }
}

TEST(SimEntry, TheHostIsCalledBeforeEachPassWithBothVolumes) {
    Entry entry(3);
    Host host;
    ASSERT_EQ(entry.Call(&host), 1);
    EXPECT_EQ(host.calls, ExpectedCalls(entry));
}

/// The interface's first slot is that before the PSF pass.
TEST(SimEntry, PsfPassFirst) {
    Entry entry(1);
    Entry before(1);
    Host host;
    host.beforeImagePass = [&] {
        EXPECT_FALSE(SameImage(entry.psf, before.psf));
        EXPECT_TRUE(SameImage(entry.image, before.image));
    };
    ASSERT_EQ(entry.Call(&host), 1);
    EXPECT_FALSE(SameImage(entry.image, before.image));
}

/// Both kinds of pass fit the measured image to the end.
TEST(SimEntry, WithoutAHostThePassesAlternateAgainstTheMeasuredImage) {
    Entry entry(3);
    ASSERT_EQ(entry.Call(), 1);
    BlindReplay replay(BlindObserved(), BlindGuess());
    for (int j = 0; j < 3; ++j) {
        replay.PsfPass(BlindForm::Sim, 1, 0.5f);
        replay.ImagePass(BlindForm::Sim, 1, 0.5f);
    }
    EXPECT_TRUE(SameImage(entry.image, replay.image));
    EXPECT_TRUE(SameImage(entry.psf, replay.psf));
}

TEST(SimEntry, WhatTheHostChangesIsWhatThePassesUse) {
    Entry entry(2);
    Host host;
    const auto change = [](const Volume& v, float factor) {
        ForEachSample(v, [&](int i, int j, int k) { v.at(i, j, k) *= 1 + factor * static_cast<float>(i); });
    };
    host.beforePsfPass = [&] { change(entry.image, 0.3f); };
    host.beforeImagePass = [&] { change(entry.psf, -0.1f); };
    ASSERT_EQ(entry.Call(&host), 1);
    BlindReplay replay(BlindObserved(), BlindGuess());
    for (int j = 0; j < 2; ++j) {
        change(replay.image, 0.3f);
        replay.PsfPass(BlindForm::Sim, 1, 0.5f);
        change(replay.psf, -0.1f);
        replay.ImagePass(BlindForm::Sim, 1, 0.5f);
    }
    EXPECT_TRUE(SameImage(entry.image, replay.image));
    EXPECT_TRUE(SameImage(entry.psf, replay.psf));
}

TEST(SimEntry, PollsOnly) {
    Entry entry(2);
    ProgressLog log;
    ASSERT_EQ(entry.Call(nullptr, &log), 1);
    EXPECT_EQ(LineOf(log), "p p p p p p p p p p p p p p p p");
}

TEST(SimEntry, TheEnergyThresholdHasNoEffect) {
    Entry entry(2);
    ASSERT_EQ(entry.Call(), 1);
    for (const float stopE8 : {-1.0f, 0.0f, 1e30f}) {
        Entry other(2);
        other.stopE8 = stopE8;
        other.unused = 3;
        ProgressLog log;
        ASSERT_EQ(other.Call(nullptr, &log), 1);
        EXPECT_TRUE(SameImage(entry.image, other.image)) << stopE8;
        EXPECT_EQ(log.Units(), 0u);
    }
}

/// Whichever poll it is answered to: the rest runs, the host is called for all of it, and the result is -1.
TEST(SimEntry, AStopAnsweredOnceEndsOnePassAlone_stays) {
    for (int at = 0; at < 16; ++at) {
        SCOPED_TRACE(at);
        Entry entry(2);
        Host host;
        ProgressLog log(at);
        EXPECT_EQ(entry.Call(&host, &log), -1);
        EXPECT_EQ(host.calls, ExpectedCalls(entry));
        EXPECT_EQ(log.Calls().size(), static_cast<std::size_t>(16 - 3 + at % 4));

        BlindReplay replay(BlindObserved(), BlindGuess());
        for (int pass = 0; pass < 4; ++pass) {
            if (pass == at / 4) continue;
            if (pass % 2 == 0) {
                replay.PsfPass(BlindForm::Sim, 1, 0.5f);
            } else {
                replay.ImagePass(BlindForm::Sim, 1, 0.5f);
            }
        }
        EXPECT_TRUE(SameImage(entry.image, replay.image));
        EXPECT_TRUE(SameImage(entry.psf, replay.psf));
    }
}

int AlwaysStop(const CRyStringW&, unsigned, unsigned, unsigned, unsigned, ERyProgressPhase, void* p) {
    ++*static_cast<int*>(p);
    return 1;
}

/// Each pass ends at its first poll; the volumes keep their state.
TEST(SimEntry, AStopThatIsKeptUpLeavesTheVolumes) {
    Entry entry(3);
    const Entry before(3);
    Host host;
    int polls = 0;
    EXPECT_EQ(CRy3DDeconvolution().SIM_LucyRichardsonIBD(&entry.sizes, entry.psf, entry.image, 3, &AlwaysStop,
                                                         &polls, 0, 0, 0.5f, &host),
              -1);
    EXPECT_EQ(polls, 6);
    EXPECT_EQ(host.calls, ExpectedCalls(entry));
    EXPECT_TRUE(SameBytes(entry.image, before.image));
    EXPECT_TRUE(SameBytes(entry.psf, before.psf));
}

TEST(SimEntry, MoreMemoryThanThereIs) {
    Entry entry(3);
    entry.sizes.total = 1LL << 60;
    Host host;
    ProgressLog log;
    EXPECT_EQ(entry.Call(&host, &log), -9);
    EXPECT_TRUE(host.calls.empty());
    EXPECT_TRUE(log.Calls().empty());
}

TEST(SimEntry, TheHostIsCalledOnTheCallersThreadOutsideOfAllLoops) {
    Entry entry(1);
    Host host;
    int elsewhere = 0;
    host.beforePsfPass = host.beforeImagePass = [&, self = std::this_thread::get_id()] {
        elsewhere += std::this_thread::get_id() != self || omp_in_parallel() != 0;
    };
    ASSERT_EQ(entry.Call(&host), 1);
    EXPECT_EQ(elsewhere, 0);
    EXPECT_EQ(host.calls.size(), 2u);
}

}  // namespace
