// SPDX-License-Identifier: MIT
#include "kernels/divergence_2d.h"

#include <fft/ippi.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "cores/divergence_stop.h"
#include "support/pictures.h"
#include "support/threads.h"
#include "support/tolerances.h"

namespace {

using namespace gnr::detail;
using namespace gnr::test;

constexpr int kW = 300;
constexpr int kH = 21;

double DivergenceOf(const Frame& a, const Frame& b, const FrameRectangle& rectangle) {
    double result = -1.0;
    MeanIDivergence(a.data(), b.data(), &result, rectangle, {kW, kH});
    return result;
}

/// Two frames, NaN outside the rectangle.
struct Frames {
    explicit Frames(const FrameRectangle& rectangle)
        : a(kW * kH, std::numeric_limits<float>::quiet_NaN()), b(a) {
        for (int y = rectangle.minY; y < rectangle.maxY; ++y) {
            for (int x = rectangle.minX; x < rectangle.maxX; ++x) {
                const auto n = static_cast<std::size_t>(y * kW + x);
                a[n] = static_cast<float>(0.1 + 0.003 * ((x * 7 + y * 5) % 101));
                b[n] = static_cast<float>(0.2 + 0.002 * ((x * 3 + y * 11) % 97));
            }
        }
    }

    Frame a;
    Frame b;
};

TEST(Divergence2D, MeanOverTheRectangleOnly) {
    for (const FrameRectangle& r :
         {FrameRectangle{40, 3, 299, 20}, {0, 0, kW, kH}, {1, 2, 2, 3}, {7, 5, 270, 6}, {9, 1, 10, 20}}) {
        const Frames f(r);
        long double sum = 0;
        for (int y = r.minY; y < r.maxY; ++y) {
            for (int x = r.minX; x < r.maxX; ++x) {
                const auto n = static_cast<std::size_t>(y * kW + x);
                const long double a = f.a[n];
                const long double b = f.b[n];
                sum += a * std::log((a + 1e-20L) / (b + 1e-20L)) - a + b;
            }
        }
        const double expected = static_cast<double>(sum / ((r.maxX - r.minX) * (r.maxY - r.minY)));
        for (const int threads : {1, 2, 5}) {
            const ThreadCount scope(threads);
            EXPECT_NEAR(DivergenceOf(f.a, f.b, r), expected, kIDivergenceRelative);
        }
    }
}

TEST(Divergence2D, EqualFramesHaveNoneAndBlackOnesStayFinite) {
    const Frame black(kW * kH, 0.0f);
    const Frame grey(kW * kH, 0.25f);
    const FrameRectangle place = {40, 3, 60, 9};
    EXPECT_EQ(DivergenceOf(black, black, place), 0.0);
    EXPECT_EQ(DivergenceOf(grey, grey, place), 0.0);
    EXPECT_EQ(DivergenceOf(black, grey, place), 0.25);
    EXPECT_NEAR(DivergenceOf(grey, black, place), 0.25 * std::log(0.25 / 1e-20) - 0.25, 1e-12);
}

TEST(Divergence2D, ThePlaceOfAPictureBeginsAtTheMargin) {
    const FrameRectangle place = PlaceOf(48, 20, 40);
    EXPECT_EQ(place.minX, 40);
    EXPECT_EQ(place.minY, 40);
    EXPECT_EQ(place.maxX, 88);
    EXPECT_EQ(place.maxY, 60);
}

/// The ratio is the first divergence over the present one; before the first it counts as 1.
TEST(DivergenceStopOfPictures, EndsFromTheSixthIterationOnAboveTheStopRatio) {
    const auto lastAfterSteady = [](unsigned k, double ratio) {
        DivergenceStop stop(0.998);
        EXPECT_FALSE(stop.IsLast(1, ratio));
        for (unsigned before = 2; before < k; ++before) EXPECT_FALSE(stop.IsLast(before, ratio)) << before;
        return stop.IsLast(k, 1.0);
    };
    EXPECT_FALSE(lastAfterSteady(4, 2.0)) << "rises, but too early";
    EXPECT_TRUE(lastAfterSteady(5, 2.0)) << "rises";
    EXPECT_TRUE(lastAfterSteady(5, 1.0)) << "stays";
    EXPECT_TRUE(lastAfterSteady(5, std::nextafter(0.998, 1.0))) << "hardly falls";
    EXPECT_FALSE(lastAfterSteady(5, 0.998)) << "the stop ratio itself is no end";
    EXPECT_FALSE(lastAfterSteady(5, 0.5)) << "falls";
}

}  // namespace
