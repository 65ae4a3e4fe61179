// SPDX-License-Identifier: MIT
// Radial power spectra, against a transform written as its sum.

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

#include "report/html/radial_spectrum.h"
#include "report_scene.h"

namespace rydecon {
namespace {

using test::HeaderOfShape;

constexpr double kPi = std::numbers::pi;

std::vector<double> Pattern(int width, int height) {
    std::vector<double> picture;
    for (int j = 0; j < height; ++j) {
        for (int i = 0; i < width; ++i) picture.push_back(5.0 + (i * 7 + j * 13 + i * j) % 11);
    }
    return picture;
}

double Hann(int i, int samples) {
    if (samples == 1) return 1.0;
    return 0.5 - 0.5 * std::cos(2.0 * kPi * (i + 0.5) / samples);
}

struct Frame {
    int x;
    int y;
};

/// The whole spectrum of the picture in its frame, both halves, ring by ring.
std::vector<double> RadialPowerPlainly(const std::vector<double>& picture, const StackHeader& header,
                                       const FrequencyRings& rings, Frame frame) {
    const double dx = rings.physical ? *header.voxel.x : 1.0;
    const double dy = rings.physical ? *header.voxel.y : 1.0;
    double mean = 0.0;
    double windowSum = 0.0;
    for (const double sample : picture) mean += sample / static_cast<double>(picture.size());
    for (int j = 0; j < header.height; ++j) {
        for (int i = 0; i < header.width; ++i) windowSum += Hann(i, header.width) * Hann(j, header.height);
    }
    std::vector<double> power(static_cast<std::size_t>(rings.count));
    std::vector<int> members(power.size());
    for (int v = 0; v < frame.y; ++v) {
        for (int u = 0; u < frame.x; ++u) {
            std::complex<double> sum;
            for (int j = 0; j < header.height; ++j) {
                for (int i = 0; i < header.width; ++i) {
                    const double sample = picture[static_cast<std::size_t>(j * header.width + i)] - mean;
                    const double phase = -2.0 * kPi * (1.0 * u * i / frame.x + 1.0 * v * j / frame.y);
                    sum += sample * Hann(i, header.width) * Hann(j, header.height) * std::polar(1.0, phase);
                }
            }
            const double fx = (2 * u > frame.x ? u - frame.x : u) / (frame.x * dx);
            const double fy = (2 * v > frame.y ? v - frame.y : v) / (frame.y * dy);
            const auto ring = static_cast<std::size_t>(std::lround(std::hypot(fx, fy) / rings.step));
            if (ring >= power.size()) continue;
            power[ring] += std::norm(sum) / (windowSum * windowSum);
            ++members[ring];
        }
    }
    for (std::size_t n = 0; n < power.size(); ++n) power[n] /= members[n];
    power[0] = 0.0;
    return power;
}

void ExpectAsSummed(const StackHeader& header, Frame frame) {
    const std::vector<double> picture = Pattern(header.width, header.height);
    const FrequencyRings rings = RingsOf(header);
    const std::vector<double> power = RadialPower(picture, header, rings);
    const std::vector<double> plain = RadialPowerPlainly(picture, header, rings, frame);
    ASSERT_EQ(power.size(), plain.size());
    for (std::size_t n = 0; n < power.size(); ++n) {
        if (std::isnan(plain[n])) {
            EXPECT_TRUE(std::isnan(power[n])) << n;
        } else {
            // The transform is one of floats: a relative 1e-6 of the strongest ring.
            EXPECT_NEAR(power[n], plain[n], 1e-6 * plain[1] + 1e-5 * plain[n]) << n;
        }
    }
}

TEST(RadialSpectrum, IsThatOfTheSum) {
    ExpectAsSummed(HeaderOfShape(12, 10, 3, {0.1, 0.1, {}}), {12, 10});
    ExpectAsSummed(HeaderOfShape(16, 9, 1, {0.1, 0.25, {}}), {16, 9});
    ExpectAsSummed(HeaderOfShape(9, 15, 1), {10, 15});
    ExpectAsSummed(HeaderOfShape(7, 11, 1, {0.2, {}, {}}), {8, 12});
}

TEST(RadialSpectrum, OneRowOrColumnHasTheFrequenciesOfTheOtherAxis) {
    ExpectAsSummed(HeaderOfShape(12, 1, 4, {0.1, 7.0, 0.5}), {12, 1});
    ExpectAsSummed(HeaderOfShape(1, 15, 1, {7.0, 0.1, {}}), {2, 15});
    EXPECT_DOUBLE_EQ(RingsOf(HeaderOfShape(1, 15, 1, {7.0, 0.1, {}})).step, 1.0 / 1.5);
    EXPECT_EQ(RingsOf(HeaderOfShape(1, 1, 9, {0.1, 0.1, 0.1})).count, 0);
    EXPECT_TRUE(RadialPower({3.0}, HeaderOfShape(1, 1, 9), RingsOf(HeaderOfShape(1, 1, 9))).empty());
}

TEST(RadialSpectrum, AWaveStandsAtItsFrequency) {
    const StackHeader header = HeaderOfShape(64, 60, 1, {0.2, 0.2, {}});
    std::vector<double> picture;
    for (int j = 0; j < 60; ++j) {
        for (int i = 0; i < 64; ++i) picture.push_back(10.0 + std::cos(2.0 * kPi * j / 4.0));
    }
    const FrequencyRings rings = RingsOf(header);
    const std::vector<double> power = RadialPower(picture, header, rings);
    const auto peak = std::max_element(power.begin(), power.end()) - power.begin();
    EXPECT_TRUE(rings.physical);
    EXPECT_NEAR(static_cast<double>(peak) * rings.step, 1.25, rings.step);  // a period of 4 * 0.2 um
}

TEST(RadialSpectrum, RingsEndAtTheNyquistFrequencyOfTheCoarserAxis) {
    const FrequencyRings rings = RingsOf(HeaderOfShape(100, 50, 1, {0.1, 0.2, {}}));
    EXPECT_DOUBLE_EQ(rings.step, 0.1);
    EXPECT_EQ(rings.count, 26);  // 0 to 2.5 cycles per um
    const FrequencyRings many = RingsOf(HeaderOfShape(5000, 5000, 1));
    EXPECT_FALSE(many.physical);
    EXPECT_EQ(many.count, kMostRings);
    EXPECT_NEAR(many.step * (many.count - 1), 0.5, 1e-12);
}

TEST(RadialSpectrum, AConstantPictureHasNone) {
    const StackHeader header = HeaderOfShape(20, 20, 1);
    for (const double power : RadialPower(std::vector<double>(400, 7.0), header, RingsOf(header))) {
        EXPECT_NEAR(power, 0.0, 1e-25);
    }
}

}  // namespace
}  // namespace rydecon
