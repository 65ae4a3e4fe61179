// SPDX-License-Identifier: MIT

// The Richardson-Lucy entries for pictures against their double-precision twins: whole runs on integers of 8
// and 12 bits and on floats, at threads 1, 2 and 5.

#include <gtest/gtest.h>

#include <ostream>

#include "support/picture_jobs.h"
#include "support/threads.h"
#include "support/tolerances.h"

namespace {

using namespace gnr::test;
using gnr::ref::PictureResult;
using gnr::ref::SampleFor;

enum Bits : int { kFloats = 0, kBytes = 8, kTwelveBits = 12 };

struct Case {
    const char* name;
    RichardsonLucy method;
    Bits bits;
    unsigned w;
    unsigned h;
    unsigned iterations;
    double lambda = 0;
    int strength = 0;
    unsigned psfSide = 6;
    float psfSum = 1.0f;
    double lift = 0.0;  ///< added to every sample; below 0 for negative samples

    friend std::ostream& operator<<(std::ostream& out, const Case& c) { return out << c.name; }
};

constexpr auto kTM = RichardsonLucy::kTikhonovMiller;
constexpr auto kTV = RichardsonLucy::kVariation;
constexpr auto kRealTV = RichardsonLucy::kDirection;

/// Slopes everywhere, so that a gradient has a direction.
double Slope(unsigned x, unsigned y) {
    return 40.0 + 2.0 * x + 1.5 * y + 12.0 * std::sin(0.11 * x) * std::cos(0.09 * y);
}

PictureCall CallOf(const Case& c) {
    PictureCall call;
    call.psf = LopsidedPsf(c.psfSide);
    for (float& v : call.psf) v *= c.psfSum;
    call.psfSide = c.psfSide;
    call.iterations = c.iterations;
    call.lambda = c.lambda;
    call.strength = c.strength;
    return call;
}

/// Steps between the stop test's two sides, and of the shrinking weight, must not be a matter of rounding.
void ExpectFirmDecisions(const PictureResult& r) {
    EXPECT_GT(r.limitMargin, kDecisionMargin);
    for (const auto& visit : r.visits) {
        if (visit.i < 5) continue;
        EXPECT_GT(std::abs(visit.ratio / visit.previous - 0.998), kDecisionMargin) << "iteration " << visit.i;
    }
}

double LargestOf(const gnr::ref::RealVolume& frame) {
    double largest = 0;
    for (const double v : frame.values) largest = std::max(largest, std::abs(v));
    return largest;
}

/// A flat region has the direction of its rounding. The margin is flat beyond the corners, and a second
/// iteration carries what the first made of that into the picture, as far as PSF and transposed PSF reach.
int UncertainCorner(const Case& c) {
    const bool directed = c.method == kRealTV && c.strength != 0 && c.iterations > 1;
    return directed ? static_cast<int>(2 * c.psfSide * (c.iterations - 1)) : 0;
}

/// Integer samples agree where any value within the tolerance would give them. Squares of `corner` pixels are
/// left out at the four corners.
template <class Picture>
void ExpectDelivered(Picture& picture, const gnr::ref::RealVolume& expected, int bits, double tolerance,
                     int corner) {
    const auto atEnd = [corner](int i, int n) { return i < corner || i >= n - corner; };
    for (int y = 0; y < expected.ny; ++y) {
        for (int x = 0; x < expected.nx; ++x) {
            if (atEnd(x, expected.nx) && atEnd(y, expected.ny)) continue;
            const double v = expected.at(x, y, 0);
            const double got = picture.Get(static_cast<unsigned>(x), static_cast<unsigned>(y));
            const double low = SampleFor(v - tolerance, bits) - (bits == 0 ? tolerance : 0);
            const double high = SampleFor(v + tolerance, bits);
            ASSERT_TRUE(got >= low && got <= high) << x << ", " << y << ": " << got << ", expected " << v;
        }
    }
}

template <class Picture>
void ExpectRunLikeTwin(const Case& c, Picture& source, Picture& destination) {
    const double height = c.bits == kTwelveBits ? 15.0 : 1.0;
    source.Fill(
        [&](unsigned x, unsigned y) { return height * (c.method == kRealTV ? Slope(x, y) : Scene(x, y)); });
    PictureCall call = CallOf(c);
    const PictureResult expected = ReferenceOf(c.method, source, call);
    ExpectFirmDecisions(expected);
    const double samples = static_cast<double>(expected.frame.values.size());
    const double tolerance =
        RestorationTolerance(samples, expected.steps, std::max(LargestOf(expected.picture), 240 * height));
    for (const int threads : {1, 2, 5}) {
        SCOPED_TRACE(threads);
        const ThreadCount scope(threads);
        unsigned done = 77;
        ASSERT_EQ(RestoreWhole(c.method, &destination, &source, call, &done), 0);
        EXPECT_EQ(done, c.method == kTM ? expected.done : 77u);
        ExpectDelivered(destination, expected.picture, c.bits, tolerance, UncertainCorner(c));
    }
}

class RichardsonLucy2DAgainstTwin : public testing::TestWithParam<Case> {};

TEST_P(RichardsonLucy2DAgainstTwin, WholeRun) {
    const Case& c = GetParam();
    if (c.bits == kFloats) {
        FloatPicture source(c.w, c.h);
        FloatPicture destination(c.w, c.h);
        ExpectRunLikeTwin(c, source, destination);
    } else {
        const auto bits = static_cast<unsigned>(c.bits);
        IntegerPicture source(c.w, c.h, bits, 6);
        IntegerPicture destination(c.w, c.h, bits, 10);
        ExpectRunLikeTwin(c, source, destination);
    }
}

// Pictures of 48 pixels a side fill their frame of 128.
INSTANTIATE_TEST_SUITE_P(
    TikhonovMiller, RichardsonLucy2DAgainstTwin,
    testing::Values(Case{"none", kTM, kFloats, 48, 48, 0}, Case{"one", kTM, kFloats, 48, 48, 1},
                    Case{"two", kTM, kFloats, 48, 48, 2, 1.0},
                    Case{"eight of a weak term", kTM, kFloats, 48, 48, 8, 0.05},
                    Case{"a term that shrinks", kTM, kFloats, 48, 48, 5, 3.0},
                    Case{"bytes", kTM, kBytes, 48, 48, 4, 0.3},
                    Case{"twelve bits", kTM, kTwelveBits, 48, 48, 4, 0.3},
                    Case{"negative strength is squared", kTM, kFloats, 48, 48, 3, -0.3},
                    Case{"dark frame to the right", kTM, kFloats, 31, 48, 3, 0.3},
                    Case{"dark frame below", kTM, kBytes, 48, 20, 3, 0.3},
                    Case{"odd PSF", kTM, kFloats, 48, 48, 3, 0.3, 0, 7},
                    Case{"PSF sum 4", kTM, kFloats, 48, 48, 3, 0.3, 0, 6, 4.0f},
                    Case{"PSF larger than the frame", kTM, kFloats, 48, 48, 2, 0, 0, 140},
                    Case{"negative samples", kTM, kFloats, 48, 48, 2, 0.05, 0, 6, 1.0f, -60}));

INSTANTIATE_TEST_SUITE_P(
    Variation, RichardsonLucy2DAgainstTwin,
    testing::Values(
        Case{"none", kTV, kFloats, 48, 48, 0}, Case{"no term", kTV, kFloats, 48, 48, 4},
        Case{"ten", kTV, kFloats, 48, 48, 2, 0, 10}, Case{"clamped", kTV, kFloats, 48, 48, 1, 0, 60},
        Case{"bytes", kTV, kBytes, 48, 48, 4, 0, 4}, Case{"twelve bits", kTV, kTwelveBits, 48, 48, 4, 0, 2},
        Case{"dark frame", kTV, kFloats, 31, 20, 4, 0, 4}, Case{"odd PSF", kTV, kFloats, 48, 48, 3, 0, 4, 7},
        Case{"PSF sum 4", kTV, kFloats, 48, 48, 3, 0, 4, 6, 4.0f},
        Case{"PSF sum 1e-6 is not corrected", kTV, kFloats, 48, 48, 1, 0, 4, 6, 1e-6f},
        Case{"negative samples", kTV, kFloats, 48, 48, 2, 0, 2, 6, 1.0f, -60}));

INSTANTIATE_TEST_SUITE_P(Direction, RichardsonLucy2DAgainstTwin,
                         testing::Values(Case{"none", kRealTV, kFloats, 48, 48, 0},
                                         Case{"no term", kRealTV, kFloats, 48, 48, 4},
                                         Case{"ten", kRealTV, kFloats, 48, 48, 1, 0, 10},
                                         Case{"bytes", kRealTV, kBytes, 48, 48, 1, 0, 10},
                                         Case{"twelve bits", kRealTV, kTwelveBits, 48, 48, 1, 0, -10},
                                         Case{"two", kRealTV, kFloats, 48, 48, 2, 0, 4},
                                         Case{"dark frame", kRealTV, kFloats, 31, 20, 2, 0, 0}));

/// Both kinds end by the test itself, after the same number of iterations.
TEST(RichardsonLucy2DReference, EndsWhereTheDivergenceSettles) {
    const Case c = {"settles", kTM, kFloats, 48, 48, 30, 1.0, 0, 2};
    FloatPicture source(48, 48);
    FloatPicture destination(48, 48);
    ExpectRunLikeTwin(c, source, destination);
    const unsigned count = ReferenceOf(kTM, source, CallOf(c)).done;
    EXPECT_GT(count, 6u);
    EXPECT_LT(count, 30u);

    IntegerPicture bytes(48, 48);
    IntegerPicture restored(48, 48);
    bytes.Fill(Scene);
    unsigned done = 0;
    EXPECT_EQ(RestoreWhole(kTM, &restored, &bytes, CallOf(c), &done), 0);
    EXPECT_EQ(done, count);
}

}  // namespace
