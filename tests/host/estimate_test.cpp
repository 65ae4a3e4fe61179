// SPDX-License-Identifier: MIT
// rydecon estimate, the head of rydecon restore, and the memory that both foretell.

#include <gtest/gtest.h>

#include <cmath>

#include "support/block_scene.h"
#include "volume/padded_volume.h"

namespace rydecon {
namespace {

using test::BytesIn;
using test::GaussianPsf;
using test::MakeStack;
using test::ProgramResult;
using test::ProgramSettings;
using test::RunProgram;
using test::Stack;
using test::Words;

using Estimate = test::BlocksTest;

constexpr VoxelSize kVoxel = {0.1, 0.1, 0.3};

Stack Large() {
    return MakeStack(
        256, 240, 98, [](int i, int j, int k) { return 5 + (i * 7 + j * 13 + k * 5) % 31; }, kVoxel);
}

const Words kOptics = {"--modality", "two-photon", "--na", "1.2", "--ri", "1.33", "--excitation", "0.8"};

TEST_F(Estimate, TellsPaddingBlocksMemoryAndLimit) {
    Write("in.tif", MakeStack(40, 30, 20, [](int i, int j, int k) { return i + j + k; }));
    Write("psf.tif", GaussianPsf());
    const ProgramResult said = Forecast({"--max-memory", "500M"});
    EXPECT_EQ(said.exitCode, 0) << said.err;
    EXPECT_EQ(said.err, "");
    for (const char* part : {"image          40 x 30 x 20 samples\n", "method         accelerated\n",
                             "blocks         1 x 1 x 1\n", "padded to      48 x 40 x 30 samples\n",
                             "limit          500 MiB (--max-memory)\n", "time           "}) {
        EXPECT_NE(said.out.find(part), std::string::npos) << part << said.out;
    }
    EXPECT_EQ(folder_.Entries(), (Words{"in.tif", "psf.tif"}));
    EXPECT_NE(Forecast().out.find(" ("), std::string::npos);
    EXPECT_EQ(Forecast({"--method", "nobody"}).exitCode, 2);
    EXPECT_EQ(RunProgram(folder_.path(), {"estimate", "--psf", "psf.tif"}).exitCode, 2);
}

TEST_F(Estimate, HeadsEveryRestorationUnlessQuiet) {
    Write("in.tif", MakeStack(40, 30, 20, [](int i, int j, int k) { return i + j + k; }));
    Write("psf.tif", GaussianPsf());
    const ProgramResult loud = Restore();
    EXPECT_EQ(loud.plan.rfind("rydecon: note: plan: padded to 48 x 40 x 30 samples, ", 0), 0U) << loud.plan;
    EXPECT_EQ(loud.plan.find("about"), std::string::npos) << "no probe for a small job";
    EXPECT_EQ(Restore({"--quiet"}).plan, "");
}

TEST_F(Estimate, ForetellsTimeWithinReason) {
    Write("in.tif", Large());
    Write("psf.tif", GaussianPsf());
    const ProgramResult result = Restore({"--no-auto-stop", "--iterations", "15"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const auto at = result.plan.find("about ");
    ASSERT_NE(at, std::string::npos) << result.plan;
    const double foretold = std::stod(result.plan.substr(at + 6));
    const double taken = std::stod(result.out.substr(result.out.rfind(", ") + 2));
    EXPECT_NE(result.plan.find(" s\n", at), std::string::npos) << result.plan;
    // Other programs may take the processors for one half of the test and not for the other.
    EXPECT_LT(foretold, 20 * taken + 3);
    EXPECT_GT(foretold, taken / 20 - 3);
}

struct MemoryCase {
    Words method;
    bool computed;
    double share;  // of the whole that the limit allows; 0: no limit
};

class EstimatedMemory : public test::BlocksTest, public testing::WithParamInterface<MemoryCase> {};

TEST_P(EstimatedMemory, IsThatOfTheRunWithinFivePerCent) {
    if (test::kInstrumented) GTEST_SKIP() << test::kNotMeasured;
    const auto& [method, computed, share] = GetParam();
    Write("in.tif", Large());
    Write("psf.tif", GaussianPsf());
    Words words = method;
    if (method[1] != "wiener") words = With(words, {"--iterations", "2"});
    if (share > 0.0) words = With(words, {"--max-memory", LimitFor(words, share)});
    const Words source = computed ? kOptics : Words{"--psf", "psf.tif"};
    const auto command = [&](const Words& verb) {
        return RunProgram(folder_.path(), With(With(verb, source), words));
    };
    const ProgramResult estimate = command({"estimate", "in.tif"});
    const auto foretold = static_cast<double>(BytesIn(estimate.out));
    const ProgramResult run = command({"restore", "in.tif", "-o", "out.tif"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.plan.find(" blocks") != std::string::npos, share > 0.0) << run.plan;
    EXPECT_NEAR(foretold / static_cast<double>(run.peakMemory), 1.0, 0.05)
        << foretold << " foretold, " << run.peakMemory << " measured";
    if (share == 0.0 && method[1] != "wiener") {
        EXPECT_GT(run.peakMemory, 140000000) << "too small to mean anything";
    }
}

INSTANTIATE_TEST_SUITE_P(Methods, EstimatedMemory,
                         testing::Values(MemoryCase{{"--method", "accelerated"}, false, 0.0},
                                         MemoryCase{{"--method", "accelerated"}, true, 0.0},
                                         MemoryCase{{"--method", "accelerated"}, false, 0.6},
                                         MemoryCase{{"--method", "accelerated"}, true, 0.8},
                                         MemoryCase{{"--method", "lucy-richardson"}, false, 0.0},
                                         MemoryCase{{"--method", "lucy-richardson"}, false, 0.6},
                                         MemoryCase{{"--method", "tv"}, true, 0.0},
                                         MemoryCase{{"--method", "tv"}, false, 0.6},
                                         MemoryCase{{"--method", "blind"}, false, 0.0},
                                         MemoryCase{{"--method", "landweber"}, false, 0.0},
                                         MemoryCase{{"--method", "landweber"}, false, 0.6},
                                         MemoryCase{{"--method", "landweber-wavelet"}, false, 0.0},
                                         MemoryCase{{"--method", "wiener"}, false, 0.0}));

struct VolumesCase {
    Extent shape;
    int channels;
    int times;
    Words more;
    bool alone;  ///< the limit leaves no room for volumes that are read ahead
};

class EstimatedMemoryOfVolumes : public test::BlocksTest, public testing::WithParamInterface<VolumesCase> {};

TEST_P(EstimatedMemoryOfVolumes, IsThatOfTheRunWithinFivePerCent) {
    const auto& [shape, channels, times, more, alone] = GetParam();
    Stack image = MakeStack(shape.x, shape.y, shape.z * channels * times,
                            [](int i, int j, int k) { return 5 + (i * 7 + j * 13 + k * 5) % 31; });
    image.header.slices = shape.z;
    image.header.channels = channels;
    image.header.times = times;
    Write("in.tif", image);
    Write("psf.tif", GaussianPsf());
    Words words = With({"--method", "lucy-richardson", "--iterations", "2"}, more);
    const std::uint64_t volume = sizeof(float) * static_cast<std::uint64_t>(shape.x * shape.y * shape.z);
    if (alone) {
        words = With(words, {"--max-memory", std::to_string(BytesIn(Forecast(words).out) - volume / 2)});
    }
    const bool shown = std::find(more.begin(), more.end(), "--report") != more.end();
    const auto foretold = static_cast<double>(BytesIn(Forecast(words).out));
    const ProgramResult run = Restore(words);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.plan.find(" blocks"), std::string::npos) << run.plan;
    EXPECT_EQ(shown, std::filesystem::exists(In("page.html")));
    if (test::kInstrumented) GTEST_SKIP() << test::kNotMeasured;
    EXPECT_NEAR(foretold / static_cast<double>(run.peakMemory), 1.0, 0.05)
        << foretold << " foretold, " << run.peakMemory << " measured";
}

INSTANTIATE_TEST_SUITE_P(
    Scenes, EstimatedMemoryOfVolumes,
    testing::Values(VolumesCase{{256, 240, 70}, 1, 4, {}, false}, VolumesCase{{256, 240, 70}, 1, 4, {}, true},
                    VolumesCase{{256, 240, 70}, 2, 1, {}, false},
                    VolumesCase{{256, 240, 70}, 3, 2, {}, false},
                    VolumesCase{{256, 240, 70}, 3, 1, {"--dtype", "u16", "--rescale"}, false},
                    VolumesCase{{600, 500, 4}, 1, 12, {"--report", "page.html"}, false},
                    VolumesCase{{600, 500, 4}, 6, 2, {"--report", "page.html"}, false}));

/// A small cell, again and again.
double Cell(int i, int j, int k) {
    const bool point = i % 25 == 12 && j % 25 == 7 && k % 25 == 15;
    const bool bar = i % 25 > 4 && i % 25 < 9 && j % 25 > 14 && j % 25 < 19 && k % 25 < 12;
    return 100.0 + (point ? 3000.0 : 0.0) + (bar ? 200.0 : 0.0);
}

using LargerThanMemory = test::BlocksTest;

TEST_F(LargerThanMemory, AStackOfThreeTimesTheAddressesIsRestored) {
    if (test::kInstrumented) GTEST_SKIP() << test::kNotMeasured;
    constexpr int kWidth = 475;
    constexpr int kHeight = 450;
    constexpr int kPlanes = 335;
    constexpr long kLimit = 88L << 20;
    static_assert(4L * kWidth * kHeight * kPlanes >= 3L * kLimit);
    Write("psf.tif", GaussianPsf(1.2, 3));
    {
        StackHeader header;
        header.width = kWidth;
        header.height = kHeight;
        header.slices = kPlanes;
        StackWriter writer(In("in.tif"), header, true);
        for (int k = 0; k < kPlanes; ++k) {
            const Stack plane =
                MakeStack(kWidth, kHeight, 1, [k](int i, int j, int) { return Cell(i, j, k); });
            writer.WritePlane(plane.samples.data(), kWidth);
        }
        writer.Commit();
    }
    ProgramSettings limited;
    limited.addressLimit = kLimit;
    const ProgramResult result = Restore({"--method", "wiener", "--noise", "2"}, limited);
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_NE(result.plan.find("(ulimit -v)"), std::string::npos) << result.plan;
    EXPECT_LT(result.peakMemory, kLimit);

    const StackReader reader(In("out.tif"), Messages(true));
    std::filesystem::rename(In("out.tif"), In("large.tif"));
    const Stack small =
        Restored(MakeStack(75, 75, 75, Cell), GaussianPsf(1.2, 3), {"--method", "wiener", "--noise", "2"});
    StackReader large(In("large.tif"), Messages(true));
    std::vector<float> plane(static_cast<std::size_t>(kWidth) * kHeight);
    double worst = 0.0;
    for (int k = 25; k < kPlanes - 35; ++k) {
        large.ReadPlane(k, plane.data(), kWidth);
        for (int j = 25; j < kHeight - 25; ++j) {
            for (int i = 25; i < kWidth - 25; ++i) {
                const double expected = small.At(25 + i % 25, 25 + j % 25, 25 + k % 25);
                worst = std::max(worst, std::abs(plane[static_cast<std::size_t>(j * kWidth + i)] - expected));
            }
        }
    }
    EXPECT_LT(worst, 0.01 * *std::max_element(small.samples.begin(), small.samples.end()));
}

}  // namespace
}  // namespace rydecon
