// SPDX-License-Identifier: MIT
// rydecon restore with the Landweber methods: any size of stack, settings that mean nothing, and an image
// that comes nearer to the truth.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "support/program_run.h"
#include "support/stack_files.h"

namespace rydecon {
namespace {

using test::IsOneErrorLine;
using test::MakeStack;
using test::ProgramResult;
using test::ReadStack;
using test::RunProgram;
using test::Stack;
using test::TemporaryFolder;
using test::WriteStack;
using Words = std::vector<std::string>;

constexpr double kBackground = 100;
constexpr double kPeak = 800;

/// A ball of radius 0.3 of the sides, its border soft.
Stack Truth(int x, int y, int z) {
    return MakeStack(x, y, z, [=](int i, int j, int k) {
        const auto off = [](int at, int side) { return (at - (side - 1) / 2.0) / side; };
        const double r = std::hypot(off(i, x), off(j, y), z > 1 ? off(k, z) : 0.0);
        return kBackground + (r < 0.3 ? kPeak : 0.0);
    });
}

constexpr int kReach = 2;

double Weight(int i, int j, int k) {
    return std::exp(-(i * i + j * j + k * k) / 2.0);
}

Stack Psf(int planes) {
    const int side = 2 * kReach + 1;
    return MakeStack(side, side, planes,
                     [=](int i, int j, int k) { return Weight(i - kReach, j - kReach, k - planes / 2); });
}

Stack Blurred(const Stack& truth, const Stack& psf) {
    const auto clamp = [](int at, int side) { return std::min(std::max(at, 0), side - 1); };
    const double sum = psf.Sum();
    const int reachZ = psf.header.planes() / 2;
    const StackHeader& h = truth.header;
    return MakeStack(h.width, h.height, h.planes(), [&](int i, int j, int k) {
        double v = 0;
        for (int c = -reachZ; c <= reachZ; ++c) {
            for (int b = -kReach; b <= kReach; ++b) {
                for (int a = -kReach; a <= kReach; ++a) {
                    v += Weight(a, b, c) *
                         truth.At(clamp(i - a, h.width), clamp(j - b, h.height), clamp(k - c, h.planes()));
                }
            }
        }
        return v / sum;
    });
}

double Rmse(const Stack& a, const Stack& b) {
    double sum = 0;
    for (std::size_t n = 0; n < a.samples.size(); ++n) {
        sum += std::pow(static_cast<double>(a.samples[n]) - b.samples[n], 2);
    }
    return std::sqrt(sum / static_cast<double>(a.samples.size()));
}

class RestoreLandweber : public testing::TestWithParam<const char*> {
  protected:
    ProgramResult Run(const Words& more) {
        Words words = {"restore", "in.tif",      "--psf",    "psf.tif", "-o",
                       "out.tif", "--overwrite", "--method", GetParam()};
        words.insert(words.end(), more.begin(), more.end());
        return RunProgram(folder_.path(), words);
    }
    void Write(const Stack& truth, const Stack& psf) {
        WriteStack(folder_.path() / "in.tif", Blurred(truth, psf));
        WriteStack(folder_.path() / "psf.tif", psf);
    }
    Stack Blur() const { return ReadStack(folder_.path() / "in.tif"); }
    Stack Out() const { return ReadStack(folder_.path() / "out.tif"); }

    TemporaryFolder folder_;
};

INSTANTIATE_TEST_SUITE_P(Methods, RestoreLandweber,
                         testing::Values("landweber", "landweber-auto", "landweber-wavelet"),
                         [](const auto& method) {
                             std::string name = method.param;
                             for (char& c : name) c = c == '-' ? '_' : c;
                             return name;
                         });

/// Thin stacks, sides that nothing divides, and planes that round up to another wavelet level; one plane, which
/// `landweber` takes for a picture.
TEST_P(RestoreLandweber, EverySizeOfStackComesNearerToItsTruth) {
    for (const auto& [x, y, z] : std::vector<std::array<int, 3>>{
             {37, 29, 11}, {30, 31, 1}, {23, 19, 27}, {25, 23, 59}, {17, 33, 65}}) {
        if (z == 1 && GetParam() == std::string("landweber")) continue;
        SCOPED_TRACE(testing::Message() << x << " " << y << " " << z);
        const Stack truth = Truth(x, y, z);
        Write(truth, Psf(z > 1 ? 3 : 1));
        const ProgramResult result = Run({});
        ASSERT_EQ(result.exitCode, 0) << result.err;
        EXPECT_LT(Rmse(Out(), truth), 0.95 * Rmse(Blur(), truth));
        EXPECT_NEAR(Out().Sum() / truth.Sum(), 1.0, 0.03);
        int nx = 0, ny = 0, nz = 0;
        const std::size_t at = result.out.find("padded to ");
        ASSERT_NE(at, std::string::npos) << result.out;
        ASSERT_EQ(std::sscanf(result.out.c_str() + at, "padded to %d x %d x %d", &nx, &ny, &nz), 3);
        ASSERT_GE(nz, GetParam() == std::string("landweber-wavelet") ? 64 : 16);
        const int block = 1 << std::min(nz / 16, 4);
        EXPECT_EQ(nx % block + ny % block + nz % block, 0) << result.out;
    }
}

TEST_P(RestoreLandweber, EveryIterationIsCounted) {
    Write(Truth(16, 16, 16), Psf(3));
    for (const char* const iterations : {"0", "1", "3"}) {
        const ProgramResult result = Run({"--iterations", iterations});
        ASSERT_EQ(result.exitCode, 0) << result.err;
        const std::string unit = iterations == std::string("1") ? " iteration" : " iterations";
        EXPECT_NE(result.out.find(", " + (iterations + unit) + " (the limit)"), std::string::npos)
            << result.out;
    }
}

/// A threshold above every coefficient leaves nothing; without one the scale means nothing.
TEST_P(RestoreLandweber, TheThresholdScaleMultipliesTheThreshold) {
    Write(Truth(16, 16, 16), Psf(3));
    ASSERT_EQ(Run({"--iterations", "2", "--threshold-scale", "1e6"}).exitCode, 0);
    EXPECT_EQ(Out().Sum(), 0.0);
    ASSERT_EQ(Run({"--iterations", "2", "--threshold-scale", "0"}).exitCode, 0);
    const Stack none = Out();
    ASSERT_EQ(Run({"--iterations", "2", "--regularization", "0"}).exitCode, 0);
    EXPECT_NEAR(Rmse(Out(), none), 0.0, 1e-3);
}

TEST_P(RestoreLandweber, SettingsThatMeanNothingAreRefused) {
    Write(Truth(16, 16, 16), Psf(3));
    for (const Words& words :
         {Words{"--regularization", "-1"}, Words{"--regularization", "nan"}, Words{"--threshold-scale", "-1"},
          Words{"--threshold-scale", "nan"}, Words{"--truth", "in.tif"}, Words{"--noise", "1"}}) {
        const ProgramResult result = Run(words);
        EXPECT_EQ(result.exitCode, 2) << words[0] << " " << words[1];
        EXPECT_TRUE(IsOneErrorLine(result.err)) << result.err;
        EXPECT_NE(result.err.find(words[0]), std::string::npos) << result.err;
    }
}

TEST(RestoreLandweberSettings, CoefficientsTakeWholeStrengthsAndOthersNoThreshold) {
    const TemporaryFolder folder;
    for (const Words& words : {Words{"landweber-wavelet", "--regularization", "2.5"},
                               Words{"accelerated", "--threshold-scale", "1"}}) {
        const ProgramResult result =
            RunProgram(folder.path(), {"restore", "in.tif", "--psf", "psf.tif", "-o", "out.tif", "--method",
                                       words[0], words[1], words[2]});
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_NE(result.err.find(words[1]), std::string::npos) << result.err;
    }
}

}  // namespace
}  // namespace rydecon
