// SPDX-License-Identifier: MIT

// Landweber on the wavelet coefficients of pictures against its twin in double.

#include <gnr_deconvolution/deconvolution_2d.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "support/pictures.h"
#include "support/ref/picture_landweber.h"
#include "support/tolerances.h"

namespace {

using namespace gnr::test;
namespace ref = gnr::ref::picture_landweber;
using Family = CRy2DDeconvolutionFamily;

/// A picture of odd sides whose wavelet frame is smaller than that of the transforms, and an odd or even PSF.
struct Case {
    unsigned w;
    unsigned h;
    unsigned psfSize;
    unsigned iterations;
};

void PrintTo(const Case& c, std::ostream* out) {
    *out << c.w << "x" << c.h << ", PSF " << c.psfSize << ", " << c.iterations << " iterations";
}

class PictureLandweber : public testing::TestWithParam<Case> {
  protected:
    ref::Job Job() const {
        ref::Job job{ref::Picture(static_cast<int>(c.w), static_cast<int>(c.h), 1), LopsidedPsf(c.psfSize),
                     static_cast<int>(c.psfSize), c.iterations};
        for (unsigned y = 0; y < c.h; ++y) {
            for (unsigned x = 0; x < c.w; ++x) {
                job.picture.at(static_cast<int>(x), static_cast<int>(y), 0) = Scene(x, y);
            }
        }
        // A sum that is not 1 shows the correction at the end.
        for (float& v : job.psf) v *= 0.9f;
        return job;
    }
    double Tolerance(const ref::Picture& expected) const {
        const auto largest = *std::max_element(expected.values.begin(), expected.values.end());
        return RestorationTolerance(256.0 * 256.0, c.iterations, largest);
    }

    /// Samples as the float form delivers them.
    void Compare(const FloatPicture& got, const ref::Picture& expected) const {
        const double tolerance = Tolerance(expected);
        for (unsigned y = 0; y < c.h; ++y) {
            for (unsigned x = 0; x < c.w; ++x) {
                const double v = expected.at(static_cast<int>(x), static_cast<int>(y), 0);
                ASSERT_NEAR(got.Get(x, y), std::max(v, 0.0), tolerance) << x << ' ' << y;
            }
        }
    }
    /// Truncated samples; where the twin lies next to a whole number either may come out.
    void Compare(const IntegerPicture& got, const ref::Picture& expected) const {
        const double tolerance = Tolerance(expected);
        const auto truncated = [&](double v) {
            return static_cast<unsigned>(std::clamp(v, 0.0, static_cast<double>(got.Greatest())));
        };
        for (unsigned y = 0; y < c.h; ++y) {
            for (unsigned x = 0; x < c.w; ++x) {
                const double v = expected.at(static_cast<int>(x), static_cast<int>(y), 0);
                ASSERT_GE(got.Get(x, y), truncated(v - tolerance)) << x << ' ' << y;
                ASSERT_LE(got.Get(x, y), truncated(v + tolerance)) << x << ' ' << y;
            }
        }
    }

    template <class Picture>
    void TestAccelerated(Picture& destination, Picture& source) {
        const ref::Job job = Job();
        source.Fill(Scene);
        auto psf = job.psf;
        for (const int smoothing : {0, 2, -3}) {
            SCOPED_TRACE(smoothing);
            ASSERT_EQ(Family::AccLandweberProcessImage_NoSplit_x1(&destination, &source, psf.data(),
                                                                  c.psfSize, nullptr, nullptr, 9,
                                                                  c.iterations, true, smoothing, 24, 40),
                      0);
            Compare(destination, ref::Accelerated(job, smoothing, 24, 40));
        }
    }
    template <class Picture>
    void TestPlain(Picture& destination, Picture& source, bool startsFromPrefiltered) {
        const ref::Job job = Job();
        source.Fill(Scene);
        auto psf = job.psf;
        for (const double threshold : {0.0, 1.5, 3.0}) {
            SCOPED_TRACE(threshold);
            unsigned done = 77;
            ASSERT_EQ(Family::LandweberProcessImage_Unaccel_NoSplit_x1(&destination, &source, psf.data(),
                                                                       c.psfSize, nullptr, nullptr, 9,
                                                                       c.iterations, true, threshold, &done),
                      0);
            const ref::PlainResult expected = ref::Plain(job, threshold, startsFromPrefiltered);
            ASSERT_GT(expected.margin, kDecisionMargin);
            EXPECT_EQ(done, expected.done);
            Compare(destination, expected.picture);
        }
    }

    const Case c = GetParam();
};

TEST_P(PictureLandweber, AcceleratedFloat) {
    FloatPicture source(c.w, c.h);
    FloatPicture destination(c.w, c.h);
    TestAccelerated(destination, source);
}

TEST_P(PictureLandweber, AcceleratedBytes) {
    IntegerPicture source(c.w, c.h, 8, 3);
    IntegerPicture destination(c.w, c.h, 8, 5);
    TestAccelerated(destination, source);
}

TEST_P(PictureLandweber, PlainFloat) {
    FloatPicture source(c.w, c.h);
    FloatPicture destination(c.w, c.h);
    TestPlain(destination, source, false);
}

TEST_P(PictureLandweber, PlainTwelveBits) {
    IntegerPicture source(c.w, c.h, 12, 2);
    IntegerPicture destination(c.w, c.h, 12, 6);
    TestPlain(destination, source, true);
}

INSTANTIATE_TEST_SUITE_P(Pictures, PictureLandweber,
                         testing::Values(Case{17, 16, 6, 0}, Case{17, 16, 7, 1}, Case{19, 53, 6, 2},
                                         Case{50, 21, 9, 4}, Case{31, 18, 5, 9}));

/// Bound frames with bands of odd sides at the deepest level, and bands wider than high.
TEST(PictureLandweberSteps, BoundFramesOfAllShapes) {
    const auto psf = LopsidedPsf(7);
    ref::Job job{ref::Picture(20, 16, 1), psf, 7, 3};
    FloatPicture source(20, 16);
    source.Fill(Scene);
    for (std::size_t n = 0; n < source.Samples().size(); ++n) job.picture.values[n] = source.Samples()[n];
    for (const auto& [W, H] : {std::pair(8, 8), std::pair(24, 8), std::pair(8, 40), std::pair(56, 24),
                               std::pair(32, 16), std::pair(64, 64)}) {
        SCOPED_TRACE(testing::Message() << W << 'x' << H);
        FloatPicture destination(20, 16);
        auto samples = psf;
        ASSERT_EQ(Family::AccLandweberProcessImage_NoSplit_x1(
                      &destination, &source, samples.data(), 7, nullptr, nullptr, 0, 3, false, 4,
                      static_cast<unsigned>(W), static_cast<unsigned>(H)),
                  0);
        const ref::Picture expected = ref::Accelerated(job, 4, W, H);
        for (unsigned y = 0; y < 16; ++y) {
            for (unsigned x = 0; x < 20; ++x) {
                const double v = expected.at(static_cast<int>(x), static_cast<int>(y), 0);
                ASSERT_NEAR(destination.Get(x, y), std::max(v, 0.0),
                            RestorationTolerance(128.0 * 128.0, 3, 240));
            }
        }
    }
}

/// A PSF that reaches from the picture to where the two frames differ, and around to its other side.
TEST(PictureLandweberFrames, WhatLiesBesideTheSmallerOneCounts) {
    constexpr unsigned kW = 79;
    constexpr unsigned kH = 17;
    constexpr unsigned kSide = 60;
    std::vector<float> psf;
    for (unsigned n = 0; n < kSide * kSide; ++n) {
        const double x = n % kSide - 30.0;
        const double y = n / kSide - 30.0;
        psf.push_back(static_cast<float>((1.2 + std::tanh(x - 0.5 * y)) / (60 + x * x + y * y)));
    }
    double sum = 0;
    for (const float v : psf) sum += v;
    for (float& v : psf) v = static_cast<float>(v / sum);

    ref::Job job{ref::Picture(kW, kH, 1), psf, kSide, 4};
    FloatPicture source(kW, kH);
    source.Fill(Scene);
    for (std::size_t n = 0; n < source.Samples().size(); ++n) job.picture.values[n] = source.Samples()[n];
    const auto compare = [&](const FloatPicture& got, const ref::Picture& expected) {
        for (std::size_t n = 0; n < got.Samples().size(); ++n) {
            ASSERT_NEAR(got.Samples()[n], std::max(expected.values[n], 0.0),
                        RestorationTolerance(256.0 * 128.0, 4, 240))
                << n;
        }
    };
    FloatPicture destination(kW, kH);
    ASSERT_EQ(Family::AccLandweberProcessImage_NoSplit_x1(&destination, &source, psf.data(), kSide, nullptr,
                                                          nullptr, 0, 4, false, 1, 32, 32),
              0);
    compare(destination, ref::Accelerated(job, 1, 32, 32));
    ASSERT_EQ(Family::LandweberProcessImage_Unaccel_NoSplit_x1(&destination, &source, psf.data(), kSide,
                                                               nullptr, nullptr, 0, 4, false, 0.5, nullptr),
              0);
    compare(destination, ref::Plain(job, 0.5, false).picture);
}

}  // namespace
