// SPDX-License-Identifier: MIT

// The one-call blind entry: its passes, the data it replaces, its counts and its stops.

#include <gnr_deconvolution/legacy.h>
#include <gtest/gtest.h>

#include <limits>
#include <utility>

#include "support/blind_drivers.h"
#include "support/ref/landweber_runs.h"

namespace {

using namespace gnr::test;

struct Entry {
    explicit Entry(int count, unsigned setting = 0) : iterations(count), inner(setting) {}

    int Call(ProgressLog* log = nullptr) {
        return CRy3DDeconvolution().LucyRichardsonIBD(&sizes, psf, image, iterations,
                                                      log != nullptr ? &ProgressLog::Record : nullptr, log,
                                                      unused, unused, stopE8, inner);
    }

    Volume image = BlindObserved();
    Volume psf = BlindGuess();
    DFT3D sizes = image.sizes;
    int iterations;
    unsigned inner;
    float stopE8 = -1.0f;
    int unused = 0;
};

/// The passes of the driver, one after the other.
BlindReplay Replayed(int cycles, unsigned sweeps, unsigned iterations, bool endsWithImage,
                     float stopE8 = -1) {
    BlindReplay replay(BlindObserved(), BlindGuess());
    for (int n = 0; n < cycles; ++n) {
        replay.ImagePass(BlindForm::Serial, sweeps, stopE8);
        replay.data = replay.image;
        if (n + 1 == cycles && endsWithImage) break;
        replay.PsfPass(BlindForm::Serial, sweeps, stopE8);
        replay.data = replay.image;
    }
    replay.ImagePass(BlindForm::Serial, iterations, -1);
    return replay;
}

std::string Repeat(const std::string& text, int count) {
    std::string all;
    for (int n = 0; n < count; ++n) all += text;
    return all;
}

/// A reported plain or accelerated sweep of the last pass.
std::string LastPass(int sweeps) {
    return " p" + Repeat(sweeps >= 3 ? " b p p p p p p p e4" : " b p p p e4", sweeps);
}

TEST(BlindEntry, NoIterationsAreOnePollAndOne) {
    for (const int iterations : {0, -1, std::numeric_limits<int>::min()}) {
        Entry entry(iterations, 2);
        const Entry before(0);
        ProgressLog log;
        EXPECT_EQ(entry.Call(&log), 1);
        EXPECT_EQ(LineOf(log), "p");
        EXPECT_TRUE(SameBytes(entry.image, before.image));
        EXPECT_TRUE(SameBytes(entry.psf, before.psf));
    }
}

/// A pass of one sweep counts two: five cycles at the most would be ten sweeps, but units run out at the third.
TEST(BlindEntry, SingleSweepsCountTwo_stays) {
    Entry entry(5, 0);
    ProgressLog log;
    ASSERT_EQ(entry.Call(&log), 1);
    EXPECT_EQ(LineOf(log), Repeat("b p p p p e2 b p p p p e2 ", 2) + "b p p p p e1 b e1" + LastPass(5));
    const BlindReplay replay = Replayed(3, 1, 5, true);
    EXPECT_TRUE(SameImage(entry.image, replay.image));
    EXPECT_TRUE(SameImage(entry.psf, replay.psf));
}

TEST(BlindEntry, InnerSettingsGiveTenAndTwentySweeps) {
    for (const unsigned setting : {1u, 2u, 77u}) {
        const int sweeps = setting == 1 ? 10 : 20;
        Entry entry(sweeps + 4, setting);
        ProgressLog log;
        ASSERT_EQ(entry.Call(&log), 1);
        const std::string pass = "b p" + Repeat(" p p p p p p p", sweeps);
        const std::string count = std::to_string(sweeps + 1);
        EXPECT_EQ(LineOf(log), pass + " e" + count + " " + pass + " e" + count + " " + pass + " e3 b e3" +
                                   LastPass(sweeps + 4));
        const BlindReplay replay =
            Replayed(2, static_cast<unsigned>(sweeps), static_cast<unsigned>(sweeps + 4), true);
        EXPECT_TRUE(SameImage(entry.image, replay.image));
        EXPECT_TRUE(SameImage(entry.psf, replay.psf));
    }
}

/// From the first pass on the data are the current image; a driver that kept them would end elsewhere.
TEST(BlindEntry, TheDataAreReplacedByTheImage_stays) {
    Entry entry(4, 0);
    ASSERT_EQ(entry.Call(), 1);
    BlindReplay kept(BlindObserved(), BlindGuess());
    for (int n = 0; n < 2; ++n) {
        kept.ImagePass(BlindForm::Serial, 1, -1);
        if (n == 0) kept.PsfPass(BlindForm::Serial, 1, -1);
    }
    kept.ImagePass(BlindForm::Serial, 4, -1);
    EXPECT_FALSE(SameImage(entry.image, kept.image));
    EXPECT_TRUE(SameImage(entry.image, Replayed(2, 1, 4, true).image));
}

/// An image pass that ends before its first update counts one, a PSF pass runs: units run out after five.
TEST(BlindEntry, TheEnergyStopShortensPasses) {
    Entry entry(3, 1);
    entry.stopE8 = 1e30f;
    ProgressLog log;
    ASSERT_EQ(entry.Call(&log), 1);
    // The relative test ends the PSF passes.
    BlindReplay replay(BlindObserved(), BlindGuess());
    std::string expected;
    for (int n = 0; n < 3; ++n) {
        EXPECT_EQ(replay.ImagePass(BlindForm::Serial, 10, 1e30f), 1u);
        expected += "b p e1 ";
        if (n == 2) break;
        replay.data = replay.image;
        const unsigned sweeps = replay.PsfPass(BlindForm::Serial, 10, 1e30f);
        expected += "b p" + Repeat(" p p p p p p p", static_cast<int>(std::min(sweeps, 10u))) + " e1 ";
        replay.data = replay.image;
    }
    replay.ImagePass(BlindForm::Serial, 3, -1);
    EXPECT_EQ(LineOf(log), expected + "b e1" + LastPass(3));
    EXPECT_TRUE(SameImage(entry.image, replay.image));
    EXPECT_TRUE(SameImage(entry.psf, replay.psf));
}

/// Between passes -8 at once, the closing pair at its first call too. Within a pass that pass ends, and a host
/// that answers once goes on to the end, with -1. In the last pass a stop is -1 and the end.
TEST(BlindEntry, StopAtEveryCall) {
    ProgressLog all;
    {
        Entry entry(3, 0);
        ASSERT_EQ(entry.Call(&all), 1);
    }
    ASSERT_EQ(LineOf(all), "b p p p p e2 b p p p p e2 b p p p p e1 b e1" + LastPass(3));
    const std::vector<ERyProgressPhase> phases = all.Phases();
    const std::size_t lastPass = 20;
    ASSERT_EQ(phases[lastPass], eProgressPoll);
    for (std::size_t at = 0; at < phases.size(); ++at) {
        SCOPED_TRACE(at);
        Entry entry(3, 0);
        ProgressLog log(static_cast<int>(at), -9);
        const int code = entry.Call(&log);
        if (at >= lastPass) {
            EXPECT_EQ(code, -1);
            EXPECT_EQ(log.Calls().size(), at + 1);
        } else if (phases[at] == eProgressPoll) {
            EXPECT_EQ(code, -1);
            EXPECT_GT(log.Calls().size(), at + 1);
            EXPECT_EQ(log.Calls().back().n, 4u) << "the last pass runs to its end";
        } else {
            EXPECT_EQ(code, -8);
            EXPECT_EQ(log.Calls().size(), at + 1);
        }
    }
}

TEST(BlindEntry, APassStoppedOnceGivesNoUnits) {
    Entry entry(1, 0);
    ProgressLog log(1);
    EXPECT_EQ(entry.Call(&log), -1);
    EXPECT_EQ(LineOf(log), "b p e0 b p p p p e0" + LastPass(1));
}

TEST(BlindEntry, MoreMemoryThanThereIs) {
    Entry entry(3, 0);
    entry.sizes.total = 1LL << 60;
    const Entry before(0);
    ProgressLog log;
    EXPECT_EQ(entry.Call(&log), -9);
    EXPECT_TRUE(SameBytes(entry.image, before.image));
    EXPECT_TRUE(SameBytes(entry.psf, before.psf));
    EXPECT_TRUE(log.Calls().empty());
}

/// A plane of so many floats that four of them wrap, to a negative count, to 0 and to 4: only accelerated
/// passes need them.
TEST(BlindEntry, PlanesThatCannotBeHad) {
    for (const int stride : {1 << 29, 1 << 30, (1 << 30) + 1}) {
        for (const auto& [iterations, setting] : {std::pair(3, 0u), std::pair(1, 1u)}) {
            Entry entry(iterations, setting);
            entry.sizes.planeStride = stride;
            const Entry before(0);
            EXPECT_EQ(entry.Call(), -9) << stride;
            EXPECT_TRUE(SameBytes(entry.image, before.image));
        }
    }
}

TEST(BlindEntry, UnusedArgumentsChangeNothing) {
    Entry entry(3, 1);
    Entry other(3, 1);
    other.unused = -7;
    ASSERT_EQ(entry.Call(), 1);
    ASSERT_EQ(other.Call(), 1);
    EXPECT_TRUE(SameImage(entry.image, other.image));
}

/// Buffers of the host need no alignment beyond that of a float, and nothing beside them is touched.
TEST(BlindEntry, AnyAlignmentWillDo) {
    Entry aligned(4, 1);
    ASSERT_EQ(aligned.Call(), 1);
    Entry entry(4, 1);
    const auto floats = static_cast<std::size_t>(entry.sizes.total);
    std::vector<float> image(floats + 2, kSentinel);
    std::vector<float> psf(floats + 2, kSentinel);
    std::copy_n(entry.image.get(), floats, image.data() + 1);
    std::copy_n(entry.psf.get(), floats, psf.data() + 1);
    ASSERT_EQ(CRy3DDeconvolution().LucyRichardsonIBD(&entry.sizes, psf.data() + 1, image.data() + 1, 4,
                                                     nullptr, nullptr, 0, 0, -1.0f, 1),
              1);
    for (const auto* block : {&image, &psf}) {
        EXPECT_EQ(block->front(), kSentinel);
        EXPECT_EQ(block->back(), kSentinel);
    }
    std::copy_n(image.data() + 1, floats, entry.image.get());
    EXPECT_TRUE(SameImage(entry.image, aligned.image));
}

}  // namespace
