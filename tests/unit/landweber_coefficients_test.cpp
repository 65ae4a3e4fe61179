// SPDX-License-Identifier: MIT

// The Landweber entry that iterates on wavelet coefficients: codes, outputs, progress and stops, steps,
// thresholds and momentum in closed form, padding.

#include <gnr_deconvolution/legacy.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/ref/landweber_calls.h"

namespace {

using namespace gnr::test;

/// One call, on its own image and PSF.
struct Entry {
    Entry(const Volume& observed, const Volume& spread, int count)
        : image(observed), psf(spread), iterations(count) {}

    int Call(EntryLog* log = nullptr) {
        DFT3D s = image.sizes;
        if (beyondMemory) s.total = 1LL << 60;
        return CRyLegacy3DDeconvolutionFamily::LandweberFW(
            &s, psf, image, iterations, &result, log ? log->callback() : nullptr,
            log ? log->pointer() : nullptr, unused, unused, regularization, box, strength);
    }

    Volume image;
    Volume psf;
    int iterations;
    float result = 7;
    SRyIRect3D box = {-1, -2, -3, -4, -5, -6};
    unsigned regularization = 0;
    double strength = 1;
    int unused = 0;
    bool beyondMemory = false;
};

bool IsBox(const SRyIRect3D& box, int x, int y, int z) {
    return box.iMinX == 0 && box.iMaxX == x && box.iMinY == 0 && box.iMaxY == y && box.iMinZ == 0 &&
           box.iMaxZ == z;
}

class LandweberOfCoefficients : public testing::Test {
  protected:
    Entry Make(int iterations) const {
        Entry entry(observed, psf, iterations);
        entry.regularization = 5;
        return entry;
    }
    // Weak enough for steps of 4: with sum 1 and one level the iteration diverges.
    const Volume psf = AsymmetricPsf(4, 2, 16, 0.3);
    const Volume observed = Observed(Scene(4, 2, 16, 20, 400), AsymmetricPsf(4, 2, 16), 0.02f);
};

// ------------------------------------------------------------------------------------------ codes, outputs

TEST_F(LandweberOfCoefficients, SuccessIsOneWithBoxAndZeroResult) {
    for (const int iterations : {-1, 0, 1, 3}) {
        Entry entry = Make(iterations);
        EXPECT_EQ(entry.Call(), 1);
        EXPECT_EQ(entry.result, 0.0f);
        EXPECT_TRUE(IsBox(entry.box, 4, 2, 16));
    }
}

/// There is no level to work on, so nothing is begun.
TEST_F(LandweberOfCoefficients, BelowSixteenPlanesNothingIsTouched) {
    for (const int planes : {1, 8, 15}) {
        Entry entry(Scene(4, 2, planes, 20, 400), AsymmetricPsf(4, 2, planes), 3);
        const Volume before = entry.image;
        EntryLog log;
        EXPECT_EQ(entry.Call(&log), -9);
        EXPECT_TRUE(SameBytes(entry.image, before));
        EXPECT_EQ(entry.result, 7.0f);
        EXPECT_EQ(entry.box.iMinX, -1);
        EXPECT_EQ(entry.box.iMaxZ, -6);
        EXPECT_TRUE(log.log.Calls().empty());
    }
}

/// Sides that cannot be halved once a level make the transform refuse; from 64 planes on there are four
/// levels, whatever the other sides.
TEST_F(LandweberOfCoefficients, SidesThatLevelsDoNotDivideGiveMinusNine) {
    const struct {
        int x, y, z;
    } sizes[] = {{8, 5, 16}, {8, 4, 17}, {6, 8, 32}, {8, 6, 32}, {12, 16, 64}, {16, 8, 64}, {16, 16, 72}};
    for (const auto& [x, y, z] : sizes) {
        SCOPED_TRACE(testing::Message() << x << " " << y << " " << z);
        Entry entry(Scene(x, y, z, 20, 400), AsymmetricPsf(x, y, z), 2);
        const Volume before = entry.image;
        EntryLog log;
        EXPECT_EQ(entry.Call(&log), -9);
        EXPECT_TRUE(SameBytes(entry.image, before));
        EXPECT_EQ(entry.result, 7.0f);
        EXPECT_TRUE(log.log.Calls().empty());
    }
}

TEST_F(LandweberOfCoefficients, MoreMemoryThanThereIs) {
    Entry entry = Make(3);
    entry.beyondMemory = true;
    const Volume before = entry.image;
    EXPECT_EQ(entry.Call(), -9);
    EXPECT_TRUE(SameBytes(entry.image, before));
    EXPECT_EQ(entry.result, 7.0f);
}

TEST_F(LandweberOfCoefficients, PsfStaysAndUnusedArgumentsChangeNothing) {
    Entry entry = Make(3);
    entry.psf.FillPadding(kSentinel);
    const Volume before = entry.psf;
    Entry other = Make(3);
    other.unused = -7;
    EntryLog log;
    ASSERT_EQ(entry.Call(&log), 1);
    ASSERT_EQ(other.Call(), 1);
    EXPECT_TRUE(SameBytes(entry.psf, before));
    EXPECT_TRUE(SameImage(entry.image, other.image));
}

TEST_F(LandweberOfCoefficients, PaddingIsNeverRead) {
    Entry clean = Make(3);
    ASSERT_EQ(clean.Call(), 1);
    for (const float content : {kSentinel, -1e30f, std::numeric_limits<float>::quiet_NaN()}) {
        Entry entry = Make(3);
        entry.image.FillPadding(content);
        entry.psf.FillPadding(content);
        ASSERT_EQ(entry.Call(), 1);
        EXPECT_TRUE(SameImage(entry.image, clean.image)) << content;
    }
}

/// Each rebuilding of the image corrects the whole buffer, so the padding is halved by a PSF of sum 2 and
/// clipped like a sample.
TEST_F(LandweberOfCoefficients, PaddingIsScaledAndClippedWithEachImage_stays) {
    for (const auto& [iterations, rebuilt] :
         {std::pair(0, 1), std::pair(1, 1), std::pair(2, 2), std::pair(4, 4)}) {
        for (const float content : {64.0f, -64.0f}) {
            Entry entry(observed, HighImpulse(4, 2, 16, 2), iterations);
            entry.image.FillPadding(content);
            ASSERT_EQ(entry.Call(), 1);
            EXPECT_TRUE(entry.image.PaddingHolds(std::max(0.0f, std::ldexp(content, -rebuilt))))
                << iterations;
        }
    }
}

TEST_F(LandweberOfCoefficients, AnyAlignmentWillDo) {
    Entry aligned = Make(3);
    ASSERT_EQ(aligned.Call(), 1);
    const auto floats = static_cast<std::size_t>(observed.sizes.total);
    std::vector<float> image(floats + 2, kSentinel);
    std::vector<float> spread(floats + 2, kSentinel);
    std::copy_n(observed.get(), floats, image.data() + 1);
    std::copy_n(psf.get(), floats, spread.data() + 1);
    DFT3D s = observed.sizes;
    SRyIRect3D box = {};
    float result = 7;
    ASSERT_EQ(CRyLegacy3DDeconvolutionFamily::LandweberFW(&s, spread.data() + 1, image.data() + 1, 3, &result,
                                                          nullptr, nullptr, 0, 0, 5, box, 1),
              1);
    EXPECT_EQ(image.front(), kSentinel);
    EXPECT_EQ(image.back(), kSentinel);
    Volume back = observed;
    std::copy_n(image.data() + 1, floats, back.get());
    EXPECT_TRUE(SameImage(back, aligned.image));
}

TEST_F(LandweberOfCoefficients, RunsRepeatWithEqualBytesAtEqualThreadCount) {
    for (const int threads : {1, 2, 5}) {
        const ThreadCount scope(threads);
        Entry first = Make(4);
        Entry second = Make(4);
        ASSERT_EQ(first.Call(), 1);
        ASSERT_EQ(second.Call(), 1);
        EXPECT_TRUE(SameImage(first.image, second.image)) << threads;
    }
}

/// Deepest bands of odd width, of one or two columns, of one row: the steps depend on the samples and on
/// nothing else, whatever the allocator hands out.
TEST_F(LandweberOfCoefficients, NarrowBandsGiveTheSameBytesInUsedMemory) {
    const struct {
        int x, y, z;
    } sizes[] = {{6, 4, 16},  {6, 2, 16}, {2, 2, 16},  {4, 4, 16},
                 {10, 6, 18}, {4, 4, 32}, {12, 8, 32}, {16, 16, 64}};
    for (const auto& [x, y, z] : sizes) {
        SCOPED_TRACE(testing::Message() << x << " " << y << " " << z);
        Entry fresh(Scene(x, y, z, 20, 400), AsymmetricPsf(x, y, z), 2);
        fresh.regularization = 5;
        ASSERT_EQ(fresh.Call(), 1);
        for (const float content : {1e6f, -3.0f}) {
            std::vector<std::vector<float>> used;
            for (std::size_t n = 8; n < 4096; n += 8) used.emplace_back(n, content);
            used.clear();
            Entry entry(Scene(x, y, z, 20, 400), AsymmetricPsf(x, y, z), 2);
            entry.regularization = 5;
            ASSERT_EQ(entry.Call(), 1);
            EXPECT_TRUE(SameImage(entry.image, fresh.image));
            ForEachSample(entry.image, [&](int i, int j, int k) {
                ASSERT_TRUE(std::isfinite(entry.image.at(i, j, k)) && entry.image.at(i, j, k) >= 0);
            });
        }
    }
}

// ------------------------------------------------------------------------------------------------- progress

TEST_F(LandweberOfCoefficients, TheFirstIterationSendsNoProgress_stays) {
    for (const int iterations : {0, 1, 2, 4}) {
        Entry entry = Make(iterations);
        EntryLog log;
        ASSERT_EQ(entry.Call(&log), 1);
        EXPECT_EQ(log.log.Calls(), EntryReports(std::max(0, 2 * (iterations - 1))));
    }
}

/// The image is rebuilt from the coefficients of the last finished iteration, after a stop too.
TEST_F(LandweberOfCoefficients, StopAtEveryCall) {
    for (int call = 0; call < 6; ++call) {
        SCOPED_TRACE(call);
        Entry entry = Make(4);
        EntryLog log(call, -call - 1);
        EXPECT_EQ(entry.Call(&log), -8);
        EXPECT_EQ(entry.result, 0.0f);
        EXPECT_TRUE(IsBox(entry.box, 4, 2, 16));
        EXPECT_EQ(log.log.Calls(), EntryReports(call + 1));
        Entry shorter = Make(1 + (call + 1) / 2);
        ASSERT_EQ(shorter.Call(), 1);
        EXPECT_TRUE(SameImage(entry.image, shorter.image));
    }
}

TEST_F(LandweberOfCoefficients, NothingCanStopTheFirstIteration_stays) {
    Entry entry = Make(1);
    EntryLog log(0);
    EXPECT_EQ(entry.Call(&log), 1);
}

// ------------------------------------------------------------------------------------------------ iteration

/// So weak a PSF couples no band by 0.24, and the step of each is 1 / 0.25.
constexpr float kWeak = 0.05f;
constexpr double kStep = 4;

/// A sample under a PSF of one weak sample, without thresholds.
double WeakSample(double g, int iterations) {
    double w = g;
    double x = g;
    double t = 1;
    for (int k = 0; k < iterations; ++k) {
        if (k > 0) x = std::max(0.0, w / kWeak);
        const double before = w;
        w += kStep * kWeak * (g - kWeak * x);
        const double next = (std::sqrt(4 * t * t + 1) + 1) / 2;
        w += (t - 1) / next * (w - before);
        t = next;
    }
    return std::max(0.0, w / kWeak);
}

TEST_F(LandweberOfCoefficients, ASmallCouplingGivesAStepOfFour) {
    const double g = 100;
    Entry entry(Volume(4, 2, 16).Fill([&](int, int, int) { return g; }), HighImpulse(4, 2, 16, kWeak), 1);
    ASSERT_EQ(entry.Call(), 1);
    const double moved = entry.image.at(1, 1, 1) * kWeak - g;
    EXPECT_NEAR(moved / (kWeak * (g - kWeak * g)), 4.0, 1e-4);
}

/// The first iteration runs on the image as it came, every later one on the rebuilt and corrected one; no
/// momentum moves the coefficients behind the first.
TEST_F(LandweberOfCoefficients, EverySampleFollowsTheRecursion) {
    Volume image = Scene(4, 2, 16, 20, 400);
    image.at(2, 1, 2) = -30;
    for (const int iterations : {0, 1, 2, 3, 6, 15}) {
        Entry entry(image, HighImpulse(4, 2, 16, kWeak), iterations);
        ASSERT_EQ(entry.Call(), 1);
        const double tolerance = SampleTolerance(iterations, LargestSample(entry.image));
        ForEachSample(image, [&](int i, int j, int k) {
            ASSERT_NEAR(entry.image.at(i, j, k), WeakSample(image.at(i, j, k), iterations), tolerance)
                << iterations;
        });
    }
}

/// A constant image lives in the deepest low-pass band alone, 2^(3/2) higher with each level; that band gives
/// up its step's share of the threshold like any other. Four levels from 64 planes on.
TEST_F(LandweberOfCoefficients, TheApproximationIsShrunkToo_stays) {
    const struct {
        int x, y, z, levels;
    } sizes[] = {{4, 2, 16, 1}, {6, 4, 30, 1},   {8, 4, 32, 2},
                 {8, 8, 48, 3}, {16, 16, 64, 4}, {16, 16, 80, 4}};
    const double g = 100;
    for (const auto& [x, y, z, levels] : sizes) {
        for (const double strength : {1.0, 0.25}) {
            SCOPED_TRACE(testing::Message() << levels << " levels, strength " << strength);
            Entry entry(Volume(x, y, z).Fill([&](int, int, int) { return g; }), HighImpulse(x, y, z, kWeak),
                        1);
            entry.regularization = 20;
            entry.strength = strength;
            ASSERT_EQ(entry.Call(), 1);
            const double threshold = std::pow(40.0, 1.4) * 0.04 * strength;
            const double w =
                g + kStep * kWeak * (g - kWeak * g) - kStep * threshold / std::pow(2.0, 1.5 * levels);
            ForEachSample(entry.image, [&](int i, int j, int k) {
                ASSERT_NEAR(entry.image.at(i, j, k), w / kWeak, 1e-5 * g / kWeak);
            });
        }
    }
}

TEST_F(LandweberOfCoefficients, RegularizationZeroThresholdsNothing) {
    Entry plain = Make(4);
    Entry strong = Make(4);
    Entry without = Make(4);
    plain.regularization = strong.regularization = 0;
    strong.strength = 1e6;
    without.strength = 0;
    for (Entry* entry : {&plain, &strong, &without}) ASSERT_EQ(entry->Call(), 1);
    EXPECT_TRUE(SameImage(plain.image, strong.image));
    EXPECT_TRUE(SameImage(plain.image, without.image));
    Entry thresholded = Make(4);
    ASSERT_EQ(thresholded.Call(), 1);
    EXPECT_FALSE(SameImage(plain.image, thresholded.image));
    EXPECT_GT(LargestSample(thresholded.image), 0.0f);
}

TEST_F(LandweberOfCoefficients, APsfOfZerosClipsAndNoMore) {
    Volume image = observed;
    image.at(1, 1, 1) = -5;
    Entry entry(image, Volume(4, 2, 16), 3);
    ASSERT_EQ(entry.Call(), 1);
    image.at(1, 1, 1) = 0;
    ForEachSample(image, [&](int i, int j, int k) {
        ASSERT_NEAR(entry.image.at(i, j, k), image.at(i, j, k), SampleTolerance(3, LargestSample(image)));
    });
}

}  // namespace
