// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/deconvolution_2d.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <ostream>
#include <string>
#include <vector>

#include "support/pictures.h"
#include "support/progress_log.h"
#include "support/ref/picture_blind.h"
#include "support/tolerances.h"

namespace {

using namespace gnr::test;
using Family = CRy2DDeconvolutionFamily;

/// Steps of a cycle whose errors add up: products with ratios pull back what earlier ones left.
constexpr double kStepsPerCycle = 2;

struct BlindCase {
    std::string name;
    unsigned w;
    unsigned h;
    unsigned bits;  ///< 0: a float picture
    unsigned psfSize;
    float energyRatio;
    unsigned cycles;
    double darkest = 0.0;  ///< what the scene is lowered by
    double scale = 1.0;
    bool hasNegativePsf = false;
};

void PrintTo(const BlindCase& c, std::ostream* out) {
    *out << c.w << "x" << c.h << ", PSF " << c.psfSize << ", " << c.cycles << " cycles";
}

std::vector<float> GuessOf(const BlindCase& c) {
    std::vector<float> psf = LopsidedPsf(c.psfSize);
    if (c.hasNegativePsf) {
        for (std::size_t i = 0; i < psf.size(); i += 7) psf[i] -= 0.004f;
    }
    return psf;
}

template <class Picture>
void FillFor(const BlindCase& c, Picture& source, gnr::ref::BlindPicture& twin) {
    source.Fill([&](unsigned x, unsigned y) { return (Scene(x, y) - c.darkest) * c.scale; });
    for (unsigned y = 0; y < c.h; ++y) {
        for (unsigned x = 0; x < c.w; ++x) twin.samples.push_back(static_cast<float>(source.Get(x, y)));
    }
}

/// Bounds of what a delivered sample may be where the frame holds v, to within the tolerance.
struct Delivered {
    double tolerance;
    bool isFloat;
    double greatest;

    double Of(double v) const {
        return isFloat ? std::max(v, 0.0) : std::floor(std::clamp(v, 0.0, greatest));
    }
    bool Allows(double got, double v) const {
        return got >= Of(v - tolerance) - (isFloat ? tolerance : 0) &&
               got <= Of(v + tolerance) + (isFloat ? tolerance : 0);
    }
};

template <class Picture>
void Compare(const BlindCase& c, Picture& source, Picture& destination, double greatest, int stopAt) {
    gnr::ref::BlindPicture twin = {c.w, c.h, {}, c.bits == 0};
    FillFor(c, source, twin);
    std::vector<float> psf = GuessOf(c);
    gnr::ref::Blind2D expected(twin, psf, c.psfSize,
                               [=](std::size_t call) { return static_cast<int>(call) == stopAt; });
    const int code = expected.Run(c.energyRatio, c.cycles);
    EXPECT_GT(expected.margin, kDecisionMargin) << "the case does not tell";

    ProgressLog log(stopAt);
    EXPECT_EQ(
        Family::AccIBDProcessImage_NoSplit_x1(&destination, &source, psf.data(), c.psfSize, c.energyRatio,
                                              &ProgressLog::Record, &log, 0, c.cycles, false),
        code);
    EXPECT_EQ(log.Phases(), expected.phases);
    const double largest = *std::max_element(expected.img.begin(), expected.img.end());
    const double tolerance =
        RestorationTolerance(static_cast<double>(expected.img.size()), kStepsPerCycle * c.cycles, largest);
    const Delivered delivered = {tolerance, c.bits == 0, greatest};
    for (unsigned y = 0; y < c.h; ++y) {
        for (unsigned x = 0; x < c.w; ++x) {
            const double got = destination.Get(x, y);
            const double v = expected.At(x, y);
            ASSERT_TRUE(delivered.Allows(got, v))
                << x << ", " << y << ": " << got << " for " << v << ", tolerance " << tolerance;
        }
    }
}

void CompareWithTwin(const BlindCase& c, int stopAt = -1) {
    if (c.bits == 0) {
        FloatPicture source(c.w, c.h);
        FloatPicture destination(c.w, c.h);
        Compare(c, source, destination, 0.0, stopAt);
    } else {
        IntegerPicture source(c.w, c.h, c.bits, 3);
        IntegerPicture destination(c.w, c.h, c.bits, 5);
        Compare(c, source, destination, source.Greatest(), stopAt);
    }
}

class BlindTwin : public testing::TestWithParam<BlindCase> {};

TEST_P(BlindTwin, Agrees) {
    CompareWithTwin(GetParam());
}

INSTANTIATE_TEST_SUITE_P(
    Pictures, BlindTwin,
    testing::Values(BlindCase{"Bits8", 21, 17, 8, 8, 0.0f, 2},
                    BlindCase{"Bits12", 34, 19, 12, 9, 0.0f, 1, 0.0, 13.0},
                    BlindCase{"Bits16", 16, 33, 16, 7, -1.0f, 1, 0.0, 200.0},
                    BlindCase{"Bits10WithTheEnergyTest", 25, 23, 10, 8, 0.05f, 2, 0.0, 3.0},
                    BlindCase{"FloatWithTheEnergyTest", 25, 23, 0, 8, 0.02f, 2},
                    BlindCase{"FloatInAWideFrame", 40, 20, 0, 8, 0.0f, 1},
                    BlindCase{"FloatWithNegatives", 22, 20, 0, 8, 0.0f, 2, 70.0, 1.0, true},
                    BlindCase{"FloatOfASmallSum", 20, 18, 0, 8, 0.0f, 1, 0.0, 1e-6},
                    BlindCase{"NegativePsfWithIntegers", 20, 18, 8, 8, 0.0f, 1, 0.0, 1.0, true},
                    BlindCase{"PsfLargerThanTheFrame", 20, 18, 0, 101, 0.0f, 1}),
    [](const auto& each) { return each.param.name; });

TEST(BlindTwinStops, AtEveryCallOfACycleAndTheNext) {
    const BlindCase c = {"stops", 17, 16, 0, 6, 0.0f, 2};
    for (int call = 0; call < 19; ++call) {
        SCOPED_TRACE(call);
        CompareWithTwin(c, call);
    }
}

}  // namespace
