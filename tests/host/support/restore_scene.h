// SPDX-License-Identifier: MIT
#pragma once

// A small known object, blurred without a transform, and a fixture that restores it with the program.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "support/program_run.h"
#include "support/stack_files.h"

namespace rydecon::test {

using Words = std::vector<std::string>;

inline const Words& AllMethods() {
    static const Words names = {"accelerated", "lucy-richardson", "lucy-richardson-auto", "wiener"};
    return names;
}

/// Gaussian of `sigma` samples, twice as long in z, reaching `reach` samples to each side, `reach` + 1 in z.
inline Stack GaussianPsf(double sigma = 1.2, int reach = 4) {
    return MakeStack(2 * reach + 1, 2 * reach + 1, 2 * reach + 3, [&](int i, int j, int k) {
        const double x = (i - reach) / sigma;
        const double y = (j - reach) / sigma;
        const double z = (k - reach - 1) / (1.5 * sigma);
        return std::exp(-(x * x + y * y + z * z) / 2);
    });
}

/// The object as seen through a centred PSF of odd sides, scaled to sum 1; outside the stack it is dark.
inline Stack Blurred(const Stack& object, const Stack& psf) {
    const StackHeader& o = object.header;
    const StackHeader& p = psf.header;
    const double sum = psf.Sum();
    return MakeStack(
        o.width, o.height, o.planes(),
        [&](int i, int j, int k) {
            double light = 0.0;
            for (int c = std::max(0, k + p.planes() / 2 - o.planes() + 1);
                 c <= std::min(p.planes() - 1, k + p.planes() / 2); ++c) {
                for (int b = std::max(0, j + p.height / 2 - o.height + 1);
                     b <= std::min(p.height - 1, j + p.height / 2); ++b) {
                    for (int a = std::max(0, i + p.width / 2 - o.width + 1);
                         a <= std::min(p.width - 1, i + p.width / 2); ++a) {
                        light += double{psf.At(a, b, c)} *
                                 object.At(i + p.width / 2 - a, j + p.height / 2 - b, k + p.planes() / 2 - c);
                    }
                }
            }
            return light / sum;
        },
        o.voxel);
}

/// A frame of bars and three points, dark at the borders.
inline Stack SmallObject() {
    return MakeStack(32, 27, 16,
                     [](int i, int j, int k) {
                         const bool bar = i >= 9 && i < 22 && (j == 9 || j == 15) && k >= 6 && k < 10;
                         const bool point = k == 8 && j == 12 && (i == 11 || i == 15 || i == 20);
                         return point ? 4000.0 : bar ? 1000.0 : 0.0;
                     },
                     {0.1, 0.12, 0.3});
}

inline double Rmse(const Stack& a, const Stack& b) {
    double sum = 0.0;
    for (std::size_t n = 0; n < a.samples.size(); ++n) {
        sum += std::pow(double{a.samples[n]} - b.samples.at(n), 2);
    }
    return std::sqrt(sum / static_cast<double>(a.samples.size()));
}

inline std::string FileBytes(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Runs `rydecon restore in.tif --psf psf.tif -o out.tif` and more in a folder of its own.
class RestoreTest : public ::testing::Test {
  protected:
    std::filesystem::path In(const std::string& name) const { return folder_.path() / name; }
    void Write(const std::string& name, const Stack& stack) const { WriteStack(In(name), stack); }

    ProgramResult Restore(const Words& more = {}, const ProgramSettings& settings = {}) const {
        Words words = {"restore", "in.tif", "--psf", "psf.tif", "-o", "out.tif", "--overwrite"};
        words.insert(words.end(), more.begin(), more.end());
        return RunProgram(folder_.path(), words, settings);
    }
    /// Writes both stacks, restores, expects success and reads the result.
    Stack Restored(const Stack& image, const Stack& psf, const Words& more = {}) {
        Write("in.tif", image);
        Write("psf.tif", psf);
        said_ = Restore(more);
        EXPECT_EQ(said_.exitCode, 0) << said_.err;
        return said_.exitCode == 0 ? ReadStack(In("out.tif")) : Stack{};
    }
    /// One line that holds `part`, the exit code, and nothing new in the folder.
    void ExpectRefusal(const Words& words, int exitCode, const std::string& part) const {
        const Words before = folder_.Entries();
        const ProgramResult result = RunProgram(folder_.path(), words);
        EXPECT_EQ(result.exitCode, exitCode) << part;
        EXPECT_EQ(result.out, "");
        EXPECT_TRUE(IsOneErrorLine(result.err)) << result.err;
        EXPECT_NE(result.err.find(part), std::string::npos) << result.err << "lacks: " << part;
        EXPECT_EQ(folder_.Entries(), before);
    }

    TemporaryFolder folder_;
    ProgramResult said_;  // by the last Restored
};

inline bool AllFinite(const Stack& stack) {
    return std::all_of(stack.samples.begin(), stack.samples.end(), [](float s) { return std::isfinite(s); });
}

}  // namespace rydecon::test
