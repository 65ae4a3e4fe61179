// SPDX-License-Identifier: MIT
// rydecon restore --max-memory: blocks that agree with the whole and with one another.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/block_scene.h"

namespace rydecon {
namespace {

using test::BlockImage;
using test::GaussianPsf;
using test::MakeStack;
using test::ProgramResult;
using test::Stack;
using test::Words;

double RelativeDifference(const Stack& a, const Stack& b) {
    double square = 0.0;
    for (const float sample : b.samples) square += double{sample} * sample;
    return test::Rmse(a, b) / std::sqrt(square / static_cast<double>(b.samples.size()));
}

/// Mean step between the samples at `position` and the next one along x (0), y (1) or z (2).
double MeanStep(const Stack& stack, int axis, int position) {
    const int sides[] = {stack.header.width, stack.header.height,
                         static_cast<int>(stack.samples.size()) / (stack.header.width * stack.header.height)};
    const int across = axis == 0 ? 1 : 0;
    const int along = axis == 2 ? 1 : 2;
    double sum = 0.0;
    for (int u = 0; u < sides[across]; ++u) {
        for (int v = 0; v < sides[along]; ++v) {
            int at[3];
            at[across] = u;
            at[along] = v;
            at[axis] = position;
            const float here = stack.At(at[0], at[1], at[2]);
            ++at[axis];
            sum += std::abs(double{stack.At(at[0], at[1], at[2])} - here);
        }
    }
    return sum / (sides[across] * sides[along]);
}

/// No step of the blocked result is larger than that of the whole at the same place, but for a share.
void ExpectNoSeam(const Stack& blocked, const Stack& whole, double share) {
    const int sides[] = {96, 80, 36};
    for (int axis = 0; axis < 3; ++axis) {
        double mean = 0.0;
        for (int p = 0; p + 1 < sides[axis]; ++p) mean += MeanStep(whole, axis, p) / (sides[axis] - 1);
        for (int p = 0; p + 1 < sides[axis]; ++p) {
            EXPECT_LT(MeanStep(blocked, axis, p), (1.0 + share) * MeanStep(whole, axis, p) + share * mean)
                << "axis " << axis << ", position " << p;
        }
    }
}

struct Bound {
    Words method;
    double difference;         // RMS, relative to that of the result
    double unevenness = 0.05;  // of steps between neighbours, relative to those of the whole
};

class RestoreBlocks : public test::BlocksTest, public testing::WithParamInterface<Bound> {};

TEST_P(RestoreBlocks, AgreeWithTheWholeAndHaveNoSeam) {
    const Words& method = GetParam().method;
    const Stack whole = Restored(BlockImage(), GaussianPsf(), method);
    EXPECT_EQ(said_.plan.find("blocks"), std::string::npos) << said_.plan;
    const Words limited = With(method, {"--max-memory", LimitFor(method, 0.6)});
    const Stack blocked = Restored(BlockImage(), GaussianPsf(), limited);
    EXPECT_NE(said_.plan.find(" blocks, each padded to "), std::string::npos) << said_.plan;
    EXPECT_NE(said_.out.find(" blocks, each padded to "), std::string::npos) << said_.out;
    ASSERT_TRUE(AllFinite(blocked));
    const double difference = RelativeDifference(blocked, whole);
    RecordProperty("difference", std::to_string(difference));
    EXPECT_LT(difference, GetParam().difference);
    EXPECT_GT(difference, 0.0) << "the whole was restored twice";
    ExpectNoSeam(blocked, whole, GetParam().unevenness);
    EXPECT_EQ(folder_.Entries(), (Words{"in.tif", "out.tif", "out.tif.json", "psf.tif"}));
}

INSTANTIATE_TEST_SUITE_P(
    Methods, RestoreBlocks,
    testing::Values(
        Bound{{"--method", "accelerated", "--iterations", "20", "--no-auto-stop"}, 0.02, 0.1},
        Bound{{"--method", "accelerated", "--iterations", "20", "--no-auto-stop", "--regularization", "2"},
              0.06,
              0.1},
        Bound{{"--method", "lucy-richardson", "--iterations", "20"}, 0.005},
        Bound{{"--method", "lucy-richardson-auto", "--iterations", "20", "--stop-ratio", "1000000"}, 0.005},
        Bound{{"--method", "lucy-richardson-auto", "--iterations", "20", "--regularization", "0.1",
               "--stop-ratio", "1000000"},
              0.005},
        Bound{{"--method", "wiener"}, 0.005}, Bound{{"--method", "wiener", "--noise", "4"}, 0.005},
        Bound{{"--method", "tv", "--iterations", "20"}, 0.005},
        Bound{{"--method", "tv-ictm", "--iterations", "20"}, 0.005},
        Bound{{"--method", "landweber", "--iterations", "20"}, 0.02},
        Bound{{"--method", "landweber-auto", "--iterations", "20", "--stop-ratio", "1000000"}, 0.02},
        Bound{{"--method", "landweber-wavelet", "--iterations", "20"}, 0.03}),
    [](const auto& bound) {
        std::string name = std::to_string(bound.index) + bound.param.method[1];
        std::erase(name, '-');
        return name;
    });

using RestoreInBlocks = test::BlocksTest;

TEST_F(RestoreInBlocks, AllRunAsManyIterationsAsTheBrightest) {
    Write("in.tif", BlockImage());
    Write("psf.tif", GaussianPsf());
    for (const std::string method : {"accelerated", "lucy-richardson-auto", "landweber-auto"}) {
        Words words = {"--method", method, "--iterations", "60", "--stop-ratio"};
        words.push_back(method == "accelerated" ? "1.1" : "0.9");
        const ProgramResult result = Restore(With(words, {"--max-memory", LimitFor(words, 0.6)}));
        ASSERT_EQ(result.exitCode, 0) << result.err;
        EXPECT_NE(result.out.find("iterations (ended by its stop test), "), std::string::npos) << result.out;
    }
}

TEST_F(RestoreInBlocks, StayWithinTheirMemory) {
    Write("in.tif",
          MakeStack(200, 180, 60, [](int i, int j, int k) { return (i * 7 + j * 13 + k * 5) % 31; }));
    Write("psf.tif", GaussianPsf());
    for (const std::string limit : {"60M", "30M"}) {
        const ProgramResult result = Restore({"--iterations", "2", "--max-memory", limit});
        ASSERT_EQ(result.exitCode, 0) << result.err;
        EXPECT_NE(result.plan.find(" blocks, each "), std::string::npos) << result.plan;
        EXPECT_NE(result.plan.find("of " + limit.substr(0, 2) + " MiB (--max-memory)"), std::string::npos);
        if (test::kInstrumented) continue;
        EXPECT_LT(static_cast<double>(result.peakMemory), 1.05 * 1048576.0 * std::stod(limit)) << limit;
    }
}

TEST_F(RestoreInBlocks, DarkAndConstantPartsStay) {
    const Stack psf = GaussianPsf();
    for (const double ground : {0.0, 50.0}) {
        const Stack image = MakeStack(160, 40, 24, [=](int i, int j, int k) {
            return ground + (i > 5 && i < 30 && j % 9 == 4 && k % 7 == 3 ? 900.0 : 0.0);
        });
        for (const Words& method : {Words{"--method", "accelerated", "--iterations", "5"},
                                    {"--method", "lucy-richardson-auto", "--iterations", "5"},
                                    {"--method", "tv", "--iterations", "5"},
                                    {"--method", "wiener"}}) {
            Write("in.tif", image);
            Write("psf.tif", psf);
            const Stack result = Restored(image, psf, With(method, {"--max-memory", LimitFor(method, 0.75)}));
            ASSERT_NE(said_.plan.find(" blocks"), std::string::npos) << said_.plan;
            ASSERT_TRUE(AllFinite(result)) << method[1];
            for (int i = 110; i < 160; ++i)
                EXPECT_NEAR(result.At(i, 20, 12), ground, 0.02 * ground) << method[1];
        }
    }
}

TEST_F(RestoreInBlocks, NegativeSamplesAreCutOrLiftedAsInTheWhole) {
    const Stack image = MakeStack(96, 80, 36, [](int i, int j, int k) {
        return double{BlockImage().At(i, j, k)} - 15.0 - (i * 31 + j * 17 + k) % 20;
    });
    Stack psf = GaussianPsf();
    psf.samples[0] = -1e-6f;
    for (const std::string method : {"lucy-richardson", "accelerated"}) {
        Words words = {"--method", method, "--iterations", "10"};
        if (method == "accelerated") words.emplace_back("--no-auto-stop");
        const Stack whole = Restored(image, psf, words);
        const std::string notes = said_.err;
        const Stack blocked = Restored(image, psf, With(words, {"--max-memory", LimitFor(words, 0.6)}));
        EXPECT_EQ(said_.err, notes) << "one note for all blocks";
        EXPECT_NE(notes.find("1 negative sample of the PSF is set to 0"), std::string::npos) << notes;
        EXPECT_LT(RelativeDifference(blocked, whole), 0.03) << method;
    }
}

TEST_F(RestoreInBlocks, WhatCannotBeCutIsOneLine) {
    Write("in.tif", BlockImage());
    Write("psf.tif", GaussianPsf());
    const auto refused = [this](const Words& more, int code, const std::string& part) {
        ExpectRefusal(With({"restore", "in.tif", "--psf", "psf.tif", "-o", "out.tif"}, more), code, part);
    };
    refused({"--max-memory", "16M", "--method", "blind"}, 1, "--method blind refines one PSF for all of it");
    refused({"--max-memory", "16M", "--truth", "in.tif"}, 1, "--truth measures iterates of all of it");
    refused({"--max-memory", "16M", "--method", "tv", "--checkpoint", "c"}, 1, "--checkpoint parks");
    refused({"--max-memory", "2M"}, 1, "--max-memory allows 2 MiB, and even the smallest blocks, padded to ");
    for (const std::string size : {"0", "-4G", "4Q", "G", "4GB", "1e3", "nan", "12"}) {
        refused({"--max-memory=" + size}, 2, "--max-memory");
    }
    Write("picture.tif", MakeStack(40, 40, 1, [](int i, int j, int) { return i * j; }));
    ExpectRefusal({"restore", "picture.tif", "--psf", "psf.tif", "-o", "out.tif", "--method", "rltm",
                   "--max-memory", "4G"},
                  2, "--max-memory cuts stacks");
}

}  // namespace
}  // namespace rydecon
