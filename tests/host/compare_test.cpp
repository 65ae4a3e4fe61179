// SPDX-License-Identifier: MIT
// rydecon compare against numbers computed here, in long double and in one go.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <numeric>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "support/program_run.h"
#include "support/stack_files.h"

namespace rydecon {
namespace {

using test::IsOneErrorLine;
using test::MakeStack;
using test::ProgramResult;
using test::RunProgram;
using test::Stack;
using test::TemporaryFolder;

struct Expected {
    double rmse, psnr, pearson, fluxRatio;
};

Expected Compute(const Stack& a, const Stack& b) {
    using Sum = long double;
    const auto n = static_cast<Sum>(a.samples.size());
    const Sum sumA = std::accumulate(a.samples.begin(), a.samples.end(), Sum{0});
    const Sum sumB = std::accumulate(b.samples.begin(), b.samples.end(), Sum{0});
    Sum squares = 0, aa = 0, bb = 0, ab = 0;
    for (std::size_t i = 0; i < a.samples.size(); ++i) {
        const Sum x = a.samples[i] - sumA / n;
        const Sum y = b.samples[i] - sumB / n;
        squares += (Sum{a.samples[i]} - b.samples[i]) * (Sum{a.samples[i]} - b.samples[i]);
        aa += x * x;
        bb += y * y;
        ab += x * y;
    }
    const Sum rmse = std::sqrt(squares / n);
    const Sum peak = *std::max_element(b.samples.begin(), b.samples.end());
    return {static_cast<double>(rmse), static_cast<double>(20 * std::log10(peak / rmse)),
            static_cast<double>(ab / std::sqrt(aa * bb)), static_cast<double>(sumA / sumB)};
}

/// Lines "name value".
std::map<std::string, std::string> Parse(const std::string& out) {
    std::map<std::string, std::string> values;
    std::istringstream lines(out);
    std::string name, value;
    while (lines >> name >> value) values[name] = value;
    return values;
}

class Compare : public ::testing::Test {
  protected:
    ProgramResult Run(const Stack& a, const Stack& b, std::vector<std::string> more = {}) {
        test::WriteStack(folder_.path() / "a.tif", a);
        test::WriteStack(folder_.path() / "b.tif", b);
        more.insert(more.begin(), {"compare", "a.tif", "b.tif"});
        return RunProgram(folder_.path(), more);
    }
    TemporaryFolder folder_;
};

Stack Noise(unsigned seed, float low, float high, int width = 23, int height = 17, int planes = 5) {
    std::mt19937 engine(seed);
    std::uniform_real_distribution<float> sample(low, high);
    return MakeStack(width, height, planes, [&](int, int, int) { return sample(engine); });
}

TEST_F(Compare, NumbersAgreeWithThoseOfALongSum) {
    const struct {
        Stack a, b;
        double relative;
    } cases[] = {{Noise(1, 0, 100), Noise(2, -5, 900), 1e-9},
                 // On a background a million times the signal only sums about the mean keep any digits.
                 {Noise(3, 1.0e6f, 1.0e6f + 1), Noise(4, 1.0e6f, 1.0e6f + 1), 1e-8},
                 {Noise(5, 0, 1, 64, 1, 1), Noise(6, 0, 1, 64, 1, 1), 1e-9}};
    for (const auto& c : cases) {
        const ProgramResult result = Run(c.a, c.b);
        ASSERT_EQ(result.exitCode, 0) << result.err;
        auto values = Parse(result.out);
        const Expected expected = Compute(c.a, c.b);
        EXPECT_EQ(values.size(), 4U);
        EXPECT_NEAR(std::stod(values["rmse"]), expected.rmse, c.relative * expected.rmse);
        EXPECT_NEAR(std::stod(values["psnr"]), expected.psnr, c.relative * expected.psnr);
        EXPECT_NEAR(std::stod(values["pearson"]), expected.pearson, c.relative);
        EXPECT_NEAR(std::stod(values["flux_ratio"]), expected.fluxRatio, c.relative * expected.fluxRatio);
    }
}

TEST_F(Compare, EqualStacksHaveNoDistance) {
    const Stack a = Noise(7, 1, 2);
    EXPECT_EQ(Run(a, a).out, "rmse 0\npsnr inf\npearson 1\nflux_ratio 1\n");
    EXPECT_EQ(Run(a, a, {"--json"}).out,
              "{\"rmse\": 0, \"psnr\": null, \"pearson\": 1, \"flux_ratio\": 1}\n");
}

TEST_F(Compare, PeakIsThatOfTheReference) {
    const Stack dim = MakeStack(4, 4, 2, [](int i, int, int) { return i; });
    const Stack bright = MakeStack(4, 4, 2, [](int i, int, int) { return i + 10; });
    EXPECT_NEAR(std::stod(Parse(Run(dim, bright).out)["psnr"]), 20.0 * std::log10(1.3), 1e-8);
    EXPECT_NEAR(std::stod(Parse(Run(bright, dim).out)["psnr"]), 20.0 * std::log10(0.3), 1e-8);
}

TEST_F(Compare, WhatDoesNotExistIsUndefined) {
    // A mean of 0.1f is not exact in binary: the sums about it are no zeros.
    const Stack constant = MakeStack(7, 5, 3, [](int, int, int) { return 0.1f; });
    const Stack ramp = MakeStack(7, 5, 3, [](int i, int, int) { return i; });
    EXPECT_EQ(Parse(Run(constant, ramp).out)["pearson"], "undefined");
    EXPECT_EQ(Parse(Run(ramp, constant).out)["pearson"], "undefined");
    const Stack dark = MakeStack(7, 5, 3, [](int, int, int) { return 0.0f; });
    auto values = Parse(Run(ramp, dark).out);
    EXPECT_EQ(values["flux_ratio"], "undefined");
    EXPECT_EQ(values["psnr"], "undefined");
    EXPECT_NE(values["rmse"], "undefined");
}

TEST_F(Compare, DifferentShapesAreNamed) {
    const ProgramResult result = Run(Noise(1, 0, 1, 8, 9, 3), Noise(1, 0, 1, 8, 9, 4));
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_TRUE(IsOneErrorLine(result.err)) << result.err;
    EXPECT_NE(result.err.find("'a.tif' has 8 x 9 x 3"), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("'b.tif' has 8 x 9 x 4"), std::string::npos) << result.err;
}

/// The same samples as so many channels and times.
Stack WithAxes(Stack stack, int slices, int channels, int times) {
    stack.header.slices = slices;
    stack.header.channels = channels;
    stack.header.times = times;
    return stack;
}

TEST_F(Compare, ChannelsAndTimesAreCompared) {
    const Stack a = Noise(1, 0, 100, 9, 7, 12);
    const Stack b = Noise(2, 0, 100, 9, 7, 12);
    const std::string numbers = Run(a, b).out;
    EXPECT_EQ(Run(WithAxes(a, 2, 3, 2), WithAxes(b, 2, 3, 2)).out, numbers);
    const ProgramResult result = Run(WithAxes(a, 2, 3, 2), WithAxes(b, 2, 2, 3));
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(IsOneErrorLine(result.err)) << result.err;
    EXPECT_NE(result.err.find("9 x 7 x 2 x 3 channels x 2 times"), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("9 x 7 x 2 x 2 channels x 3 times"), std::string::npos) << result.err;
}

TEST_F(Compare, NonFiniteSamplesAreCounted) {
    const float bad[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                         -std::numeric_limits<float>::infinity()};
    const Stack a = MakeStack(4, 4, 4, [&](int i, int, int k) { return k < 3 && i == 0 ? bad[k] : 1.0f; });
    const ProgramResult result = Run(a, Noise(1, 0, 1, 4, 4, 4));
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_TRUE(IsOneErrorLine(result.err)) << result.err;
    EXPECT_NE(result.err.find("12 in 'a.tif', 0 in 'b.tif'"), std::string::npos) << result.err;
}

TEST_F(Compare, MissingFileIsOneLine) {
    const ProgramResult result = RunProgram(folder_.path(), {"compare", "none.tif", "none.tif"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(IsOneErrorLine(result.err)) << result.err;
}

}  // namespace
}  // namespace rydecon
