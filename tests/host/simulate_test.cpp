// SPDX-License-Identifier: MIT
// rydecon simulate: what its files hold, and when there are none.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

#include "simulation/phantom.h"
#include "support/program_run.h"
#include "support/stack_files.h"

namespace rydecon {
namespace {

namespace fs = std::filesystem;
using test::IsOneErrorLine;
using test::MakeStack;
using test::ProgramResult;
using test::ProgramSettings;
using test::ReadStack;
using test::RunProgram;
using test::Stack;
using test::TemporaryFolder;
using Words = std::vector<std::string>;

std::string Bytes(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class Simulate : public ::testing::Test {
  protected:
    ProgramResult Run(const std::string& output, const Words& more, const ProgramSettings& settings = {}) {
        Words words = {"simulate", "-o", output};
        words.insert(words.end(), more.begin(), more.end());
        return RunProgram(folder_.path(), words, settings);
    }
    void ExpectFailure(const ProgramResult& result, int exitCode, const std::string& part) {
        EXPECT_EQ(result.exitCode, exitCode);
        EXPECT_TRUE(IsOneErrorLine(result.err)) << result.err;
        EXPECT_NE(result.err.find(part), std::string::npos) << result.err;
    }
    fs::path In(const std::string& name) const { return folder_.path() / name; }

    TemporaryFolder folder_;
    const Words small_ = {"--size", "40", "36", "24"};
};

TEST_F(Simulate, WritesThreeStacksOfOneVoxelSize) {
    ASSERT_EQ(Run("made/on/the/way", {}).exitCode, 0);
    const fs::path folder = In("made/on/the/way");
    for (const char* name : {"truth.tif", "blurred.tif", "psf.tif"}) {
        const StackHeader header = ReadStack(folder / name).header;
        EXPECT_EQ(header.sampleType, SampleType::Float32);
        EXPECT_NEAR(header.voxel.x.value_or(0), 0.1, 1e-9);
        EXPECT_NEAR(header.voxel.y.value_or(0), 0.1, 1e-9);
        EXPECT_NEAR(header.voxel.z.value_or(0), 0.3, 1e-9);
    }
    const StackHeader header = ReadStack(folder / "blurred.tif").header;
    EXPECT_EQ(header.width, 128);
    EXPECT_EQ(header.height, 128);
    EXPECT_EQ(header.planes(), 64);
}

TEST_F(Simulate, OneSeedGivesOneStack) {
    const Words noisy = {"--size", "40", "36", "24", "--background", "3", "--read-noise", "1.5"};
    Words other = noisy;
    other.insert(other.end(), {"--seed", "18446744073709551615"});
    ASSERT_EQ(Run("a", noisy).exitCode, 0);
    ASSERT_EQ(Run("b", noisy).exitCode, 0);
    ASSERT_EQ(Run("c", other).exitCode, 0);
    for (const char* name : {"truth.tif", "blurred.tif", "psf.tif"}) {
        EXPECT_EQ(Bytes(In("a") / name), Bytes(In("b") / name)) << name;
    }
    EXPECT_NE(Bytes(In("a/truth.tif")), Bytes(In("c/truth.tif")));
    EXPECT_NE(Bytes(In("a/blurred.tif")), Bytes(In("c/blurred.tif")));
}

TEST_F(Simulate, NoiseDoesNotMoveTheObject) {
    ASSERT_EQ(Run("a", small_).exitCode, 0);
    ASSERT_EQ(Run("b", {"--size", "40", "36", "24", "--background", "50", "--read-noise", "2"}).exitCode, 0);
    EXPECT_EQ(Bytes(In("a/truth.tif")), Bytes(In("b/truth.tif")));
}

TEST_F(Simulate, PointsHaveTheirKnownBrightness) {
    ASSERT_EQ(Run("a", {"--photons", "800", "--seed", "5"}).exitCode, 0);
    const Stack truth = ReadStack(In("a/truth.tif"));
    const float brightest = truth.At(25, 16, 32);
    EXPECT_EQ(brightest, *std::max_element(truth.samples.begin(), truth.samples.end()));
    EXPECT_FLOAT_EQ(truth.At(51, 16, 32), brightest / 2);
    EXPECT_FLOAT_EQ(truth.At(76, 16, 32), brightest / 4);
    EXPECT_FLOAT_EQ(truth.At(102, 16, 32), brightest / 8);
    for (int k = 0; k < 64; ++k) {
        for (int i = 0; i < 128; ++i) {
            EXPECT_EQ(truth.At(i, 16, k) > 0.0f, k == 32 && (i == 25 || i == 51 || i == 76 || i == 102));
        }
    }
}

TEST_F(Simulate, BlurKeepsTheFluxAndReachesThePeak) {
    ASSERT_EQ(Run("a", {"--no-noise", "--photons", "250"}).exitCode, 0);
    const Stack truth = ReadStack(In("a/truth.tif"));
    const Stack blurred = ReadStack(In("a/blurred.tif"));
    // The object is clear of the faces; what little leaves them is far below this.
    EXPECT_NEAR(blurred.Sum() / truth.Sum(), 1.0, 1e-3);
    EXPECT_FLOAT_EQ(*std::max_element(blurred.samples.begin(), blurred.samples.end()), 250.0f);
    EXPECT_GE(*std::min_element(blurred.samples.begin(), blurred.samples.end()), 0.0f);
}

TEST_F(Simulate, CameraAddsBackgroundAndNoiseOfTheirSize) {
    const Words noise = {"--background", "20", "--read-noise", "3", "--photons", "300"};
    Words still = noise;
    still.push_back("--no-noise");
    ASSERT_EQ(Run("noisy", noise).exitCode, 0);
    ASSERT_EQ(Run("still", still).exitCode, 0);
    const Stack noisy = ReadStack(In("noisy/blurred.tif"));
    const Stack expected = ReadStack(In("still/blurred.tif"));
    EXPECT_GE(*std::min_element(expected.samples.begin(), expected.samples.end()), 20.0f);
    // Each (sample - mean) / sqrt(mean + 9) has mean 0 and variance 1; a million of them.
    double mean = 0.0;
    double variance = 0.0;
    for (std::size_t n = 0; n < noisy.samples.size(); ++n) {
        const double score = (noisy.samples[n] - expected.samples[n]) / std::sqrt(expected.samples[n] + 9.0);
        mean += score;
        variance += score * score;
    }
    const auto count = static_cast<double>(noisy.samples.size());
    EXPECT_NEAR(mean / count, 0.0, 5.0 / std::sqrt(count));
    EXPECT_NEAR(variance / count, 1.0, 5.0 * std::sqrt(2.1 / count));
}

TEST_F(Simulate, GaussianIsCentredAndJustLargeEnough) {
    ASSERT_EQ(
        Run("a", {"--size", "32", "32", "32", "--sigma", "0.15", "0.1", "0", "--pixel", "0.1", "0.1", "0.2"})
            .exitCode,
        0);
    const Stack psf = ReadStack(In("a/psf.tif"));
    EXPECT_EQ(psf.header.width, 13);  // 4 sigmas of 1.5 samples to both sides
    EXPECT_EQ(psf.header.height, 9);
    EXPECT_EQ(psf.header.planes(), 1);
    EXPECT_NEAR(psf.Sum(), 1.0, 1e-6);
    const float middle = psf.At(6, 4, 0);
    EXPECT_NEAR(psf.At(9, 4, 0) / middle, std::exp(-2.0), 1e-5);
    EXPECT_NEAR(psf.At(6, 2, 0) / middle, std::exp(-2.0), 1e-5);
    EXPECT_EQ(psf.At(3, 4, 0), psf.At(9, 4, 0));
}

TEST_F(Simulate, PsfFileIsCentredAtItsBrightestSample) {
    const Stack given = MakeStack(9, 4, 3,
                                  [](int i, int j, int k) {
                                      if (i == 6 && j == 1 && k == 0) return 6.0f;
                                      return i == 5 && j == 1 && k == 1 ? 2.0f : 0.0f;
                                  },
                                  {0.2, 0.2, 0.5});
    test::WriteStack(In("psf-in.tif"), given);
    ASSERT_EQ(Run("a", {"--size", "32", "32", "32", "--psf", "psf-in.tif", "--no-noise"}).exitCode, 0);
    const Stack psf = ReadStack(In("a/psf.tif"));
    EXPECT_EQ(psf.header.width, 3);
    EXPECT_EQ(psf.header.height, 1);
    EXPECT_EQ(psf.header.planes(), 3);
    EXPECT_FLOAT_EQ(psf.At(1, 0, 1), 0.75f);
    EXPECT_FLOAT_EQ(psf.At(0, 0, 2), 0.25f);
    EXPECT_NEAR(psf.header.voxel.z.value_or(0), 0.5, 1e-9);

    const Stack truth = ReadStack(In("a/truth.tif"));
    const Stack blurred = ReadStack(In("a/blurred.tif"));
    const auto tolerance = 1e-5f * *std::max_element(truth.samples.begin(), truth.samples.end());
    for (int k = 1; k < 32; ++k) {
        for (int j = 0; j < 32; ++j) {
            for (int i = 0; i < 31; ++i) {
                ASSERT_NEAR(blurred.At(i, j, k),
                            0.75f * truth.At(i, j, k) + 0.25f * truth.At(i + 1, j, k - 1), tolerance);
            }
        }
    }
}

TEST_F(Simulate, NothingWrapsAround) {
    // All light goes 12 planes down: what falls out below must not come in at the top.
    test::WriteStack(In("psf.tif"), MakeStack(1, 1, 13, [](int, int, int k) {
                         return k == 0 ? 3 : k == 12 ? 2 : 0;
                     }));
    ASSERT_EQ(Run("a", {"--size", "16", "16", "16", "--psf", "psf.tif", "--no-noise", "-q"}).exitCode, 0);
    const Stack truth = ReadStack(In("a/truth.tif"));
    const Stack blurred = ReadStack(In("a/blurred.tif"));
    const auto tolerance = 1e-5f * *std::max_element(truth.samples.begin(), truth.samples.end());
    for (int k = 0; k < 12; ++k) {
        for (int j = 0; j < 16; ++j) {
            for (int i = 0; i < 16; ++i) {
                ASSERT_NEAR(blurred.At(i, j, k), 0.6f * truth.At(i, j, k), tolerance);
            }
        }
    }
}

TEST_F(Simulate, AnySizeFromEightOn) {
    for (const Words& size :
         {Words{"8", "8", "8"}, Words{"9", "13", "8"}, Words{"8", "8", "101"}, Words{"31", "8", "9"}}) {
        Words words = {"--size"};
        words.insert(words.end(), size.begin(), size.end());
        words.push_back("--overwrite");
        EXPECT_EQ(Run("a", words).exitCode, 0);
        const StackHeader header = ReadStack(In("a/blurred.tif")).header;
        EXPECT_EQ(std::to_string(header.width), size[0]);
        EXPECT_EQ(std::to_string(header.height), size[1]);
        EXPECT_EQ(std::to_string(header.planes()), size[2]);
    }
}

TEST_F(Simulate, SettingsOutOfRangeAreWrongUsage) {
    ExpectFailure(Run("d", {"--size", "7", "8", "8"}), 2, "from 8 to 65536");
    ExpectFailure(Run("d", {"--photons", "0"}), 2, "--photons is 0");
    ExpectFailure(Run("d", {"--photons", "nan"}), 2, "--photons is nan");
    ExpectFailure(Run("d", {"--background", "-1"}), 2, "--background is -1");
    ExpectFailure(Run("d", {"--read-noise", "inf"}), 2, "--read-noise is inf");
    ExpectFailure(Run("d", {"--pixel", "0", "1", "1"}), 2, "--pixel: a value is 0");
    ExpectFailure(Run("d", {"--sigma", "-1", "1", "1"}), 2, "--sigma: x is -1; a number from 0 to ");
    ExpectFailure(Run("d", {"--sigma", "1e9", "1", "1"}), 2, "--sigma: x is 1000000000");
    ExpectFailure(Run("d", {"--seed", "-1"}), 2, "--seed is -1");
    ExpectFailure(Run("d", {"--seed", "18446744073709551616"}), 2, "a whole number from 0");
    ExpectFailure(Run("d", {"--sigma", "1", "1", "1", "--psf", "p.tif"}), 2,
                  "--psf and --sigma exclude one another; give one of them");
    EXPECT_TRUE(folder_.Entries().empty());
}

TEST_F(Simulate, StackBeyondMemoryOrTheLibraryIsRefused) {
    ExpectFailure(Run("d", {"--size", "60000", "60000", "60000"}), 1, "choose a smaller --size");
    EXPECT_TRUE(folder_.Entries().empty());
}

TEST_F(Simulate, UnusablePsfIsRefused) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    test::WriteStack(In("nan.tif"), MakeStack(3, 3, 3, [&](int i, int, int) { return i == 0 ? nan : 1.0f; }));
    test::WriteStack(In("dark.tif"), MakeStack(3, 3, 3, [](int, int, int) { return -1.0f; }));
    ExpectFailure(Run("d", {"--psf", "nan.tif"}), 1, "9 samples of the PSF are NaN or infinite");
    ExpectFailure(Run("d", {"--psf", "dark.tif"}), 1, "no sample above 0");
    ExpectFailure(Run("d", {"--psf", "none.tif"}), 1, "none.tif");
    EXPECT_EQ(folder_.Entries(), (Words{"dark.tif", "nan.tif"}));
}

TEST_F(Simulate, NegativePsfSamplesAreZeroWithANote) {
    test::WriteStack(In("p.tif"), MakeStack(3, 3, 3, [](int i, int, int) { return i - 1; }, {0.1, 0.1, 0.3}));
    const ProgramResult result = Run("d", {"--size", "16", "16", "16", "--psf", "p.tif"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "rydecon: note: 'p.tif': 9 negative samples of the PSF are set to 0\n");
}

TEST_F(Simulate, ExistingFilesNeedOverwrite) {
    for (const char* name : {"truth.tif", "psf.tif", "blurred.tif"}) {
        TemporaryFolder folder;
        std::ofstream(folder.path() / name) << "mine";
        const Words words = {"simulate", "-o", ".", "--size", "8", "8", "8"};
        ExpectFailure(RunProgram(folder.path(), words), 1, "add --overwrite");
        EXPECT_EQ(folder.Entries(), Words{name});
        EXPECT_EQ(Bytes(folder.path() / name), "mine");
        Words overwrite = words;
        overwrite.push_back("--overwrite");
        EXPECT_EQ(RunProgram(folder.path(), overwrite).exitCode, 0);
        EXPECT_EQ(folder.Entries(), (Words{"blurred.tif", "psf.tif", "truth.tif"}));
    }
}

TEST_F(Simulate, InputIsNeverReplaced) {
    ASSERT_EQ(Run("a", small_).exitCode, 0);
    const std::string before = Bytes(In("a/psf.tif"));
    ExpectFailure(Run("a", {"--psf", "a/psf.tif", "--overwrite"}), 1, "it is an input");
    EXPECT_EQ(Bytes(In("a/psf.tif")), before);
}

TEST_F(Simulate, FailedWriteLeavesNeitherFilesNorFolders) {
    ProgramSettings settings;
    settings.fileSizeLimit = 20000;
    ExpectFailure(Run("new/folder", small_, settings), 1, "truth.tif");
    EXPECT_TRUE(folder_.Entries().empty());
}

TEST_F(Simulate, FolderThatCannotBeMadeIsOneLine) {
    std::ofstream(In("file")) << "no folder";
    ExpectFailure(Run("file/below", small_), 1, "'file' is a file; choose another place");
    ExpectFailure(Run("file", small_), 1, "'file' is a file; choose another place");
    EXPECT_EQ(folder_.Entries(), Words{"file"});
}

}  // namespace
}  // namespace rydecon
