// SPDX-License-Identifier: MIT
// rydecon restore with the methods that can be parked: killed runs, checkpoints that do not fit, full disks.

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <regex>
#include <thread>

#include "restoration/frame_plan.h"
#include "restoration/method_choice.h"
#include "support/restore_scene.h"

namespace rydecon {
namespace {

using test::FileBytes;
using test::GaussianPsf;
using test::MakeStack;
using test::ProgramResult;
using test::ProgramSettings;
using test::RunningProgram;
using test::RunProgram;
using test::Stack;
using test::Words;
using Clock = std::chrono::steady_clock;

class RestoreParked : public test::RestoreTest, public testing::WithParamInterface<const char*> {
  protected:
    void WriteScene(int width = 24, int height = 21, int planes = 12) const {
        Write("in.tif", MakeStack(width, height, planes,
                                  [](int i, int j, int k) { return 20 + (i * 7 + j * 13 + k * 5) % 31; }));
        Write("psf.tif", GaussianPsf());
    }
    /// The method of the test, and more.
    Words Method(const Words& more = {}) const {
        Words words = {"--method", GetParam()};
        words.insert(words.end(), more.begin(), more.end());
        return words;
    }
    /// The bytes of a run that succeeds.
    std::string Result(const Words& more) {
        std::filesystem::remove(In("out.tif"));
        said_ = Restore(Method(more));
        EXPECT_EQ(said_.exitCode, 0) << said_.err;
        return said_.exitCode == 0 ? FileBytes(In("out.tif")) : "";
    }
    /// Kills a run in the stage behind its next checkpoint; its exit code.
    int KilledBehindCheckpoint(const Words& words, const std::string& last) const {
        RunningProgram program(folder_.path(), words);
        const auto latest = Clock::now() + std::chrono::seconds(60);
        const auto isNew = [&] {
            return std::filesystem::exists(In("run.ckpt")) && FileBytes(In("run.ckpt")) != last;
        };
        while (!isNew() && Clock::now() < latest) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        std::this_thread::sleep_for(std::chrono::milliseconds(7));
        program.Signal(SIGKILL);
        return program.Wait().exitCode;
    }
    void ExpectResumeRefused(const Words& more, const std::string& part, int exitCode = 1) const {
        ExpectResumeRefused(GetParam(), more, part, exitCode);
    }
    void ExpectResumeRefused(const std::string& method, const Words& more, const std::string& part,
                             int exitCode = 1) const {
        Words words = {"restore",     "in.tif",   "--psf", "psf.tif",  "-o",
                       "refused.tif", "--method", method,  "--resume", "run.ckpt"};
        words.insert(words.end(), more.begin(), more.end());
        ExpectRefusal(words, exitCode, part);
    }
};

std::string NameOf(const testing::TestParamInfo<const char*>& info) {
    return std::regex_replace(info.param, std::regex("-"), "_");
}

INSTANTIATE_TEST_SUITE_P(Methods, RestoreParked, testing::Values("tv", "tv-ictm"), NameOf);

// ---------------------------------------------------------------------------------------- going on

TEST_P(RestoreParked, CheckpointsChangeNothing) {
    WriteScene();
    const std::string plain = Result({"--iterations", "23", "--checkpoint-every", "5"});
    EXPECT_EQ(Result({"--iterations", "23", "--checkpoint-every", "5", "--checkpoint", "run.ckpt"}), plain);
    EXPECT_EQ(folder_.Entries(), (Words{"in.tif", "out.tif", "out.tif.json", "psf.tif", "run.ckpt"}));
}

TEST_P(RestoreParked, AnEndedRunCanBeLengthened) {
    WriteScene();
    const std::string whole = Result({"--iterations", "25", "--checkpoint-every", "4"});
    Result({"--iterations", "14", "--checkpoint-every", "4", "--checkpoint", "run.ckpt"});
    EXPECT_EQ(Result({"--iterations", "25", "--checkpoint-every", "4", "--resume", "run.ckpt"}), whole);
    EXPECT_EQ(said_.err, "rydecon: note: 'run.ckpt': goes on from iteration 12\n");
    EXPECT_NE(said_.out.find(", 25 iterations (the limit)"), std::string::npos) << said_.out;
}

TEST_P(RestoreParked, ACheckpointOfTheLastIterationIsTheResult) {
    WriteScene();
    const std::string whole =
        Result({"--iterations", "12", "--checkpoint-every", "4", "--checkpoint", "run.ckpt"});
    EXPECT_EQ(Result({"--iterations", "12", "--checkpoint-every", "4", "--resume", "run.ckpt"}), whole);
}

/// Kills the run as soon as a new checkpoint is there, twice, and lets the third one end.
TEST_P(RestoreParked, AKilledRunGoesOnToTheSameBytes) {
    WriteScene(40, 36, 20);
    const Words settings = {"--iterations", "400", "--checkpoint-every", "10"};
    const std::string unbroken = Result(settings);
    std::filesystem::remove(In("out.tif"));

    Words begin = {"restore", "in.tif", "--psf", "psf.tif", "-o", "out.tif", "--checkpoint", "run.ckpt"};
    for (const Words& list : {Method(), settings}) begin.insert(begin.end(), list.begin(), list.end());
    Words go_on = begin;
    go_on.insert(go_on.end(), {"--resume", "run.ckpt"});

    std::string last;
    for (const Words& words : {begin, go_on}) {
        int exitCode = 0;
        // On a busy machine a run may be over before this one looks at it.
        for (int attempt = 0; attempt < 8 && exitCode == 0; ++attempt) {
            std::filesystem::remove(In("out.tif"));
            std::filesystem::remove(In("run.ckpt"));
            if (!last.empty()) std::ofstream(In("run.ckpt"), std::ios::binary) << last;
            exitCode = KilledBehindCheckpoint(words, last);
        }
        ASSERT_EQ(exitCode, 128 + SIGKILL) << "it must be killed in the middle";
        ASSERT_FALSE(std::filesystem::exists(In("out.tif")));
        last = FileBytes(In("run.ckpt"));
    }
    const ProgramResult end = RunProgram(folder_.path(), go_on);
    EXPECT_EQ(end.exitCode, 0) << end.err;
    EXPECT_TRUE(std::regex_match(
        end.err, std::regex("rydecon: note: 'run\\.ckpt': goes on from iteration [1-3]?[0-9]0\n")))
        << end.err;
    EXPECT_TRUE(FileBytes(In("out.tif")) == unbroken);
}

TEST_P(RestoreParked, CtrlCTellsHowToGoOn) {
    WriteScene(40, 36, 20);
    Words words = {"restore", "in.tif", "--psf", "psf.tif", "-o", "out.tif", "--checkpoint", "run.ckpt"};
    const Words method = Method({"--iterations", "100000"});
    words.insert(words.end(), method.begin(), method.end());
    RunningProgram program(folder_.path(), words);
    const auto latest = Clock::now() + std::chrono::seconds(60);
    while (!std::filesystem::exists(In("run.ckpt")) && Clock::now() < latest) std::this_thread::yield();
    program.Signal(SIGINT);
    const ProgramResult result = program.Wait();
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_TRUE(std::regex_match(
        result.err,
        std::regex("rydecon: error: stopped; --resume 'run\\.ckpt' goes on from iteration [0-9]+0\n")))
        << result.err;
    EXPECT_EQ(folder_.Entries(), (Words{"in.tif", "psf.tif", "run.ckpt"}));
}

TEST_P(RestoreParked, TruthCountsOnFromTheCheckpoint) {
    WriteScene();
    Result({"--iterations", "4", "--checkpoint-every", "2", "--checkpoint", "run.ckpt"});
    Result({"--iterations", "6", "--checkpoint-every", "2", "--resume", "run.ckpt", "--truth", "in.tif"});
    EXPECT_EQ(said_.out.rfind("iteration 5 rmse ", 0), 0U) << said_.out;
    EXPECT_NE(said_.out.find("\niteration 6 rmse "), std::string::npos) << said_.out;
    EXPECT_EQ(said_.out.find("iteration 7"), std::string::npos) << said_.out;
}

/// Two volumes, the entry's own, and a plane; checkpoints are written from the image and read into it.
TEST_P(RestoreParked, CheckpointsTakeNoMemory) {
    if (test::kInstrumented) GTEST_SKIP() << test::kNotMeasured;
    const auto peak = [&](const Words& more) {
        said_ = Restore(Method(more));
        EXPECT_EQ(said_.exitCode, 0) << said_.err;
        return static_cast<double>(said_.peakMemory);
    };
    WriteScene(8, 8, 8);
    const double tiny = peak({"--iterations", "1"});
    WriteScene(200, 180, 60);
    peak({"--iterations", "1", "--checkpoint-every", "1", "--checkpoint", "run.ckpt"});
    const double resumed = peak(
        {"--iterations", "2", "--checkpoint-every", "1", "--checkpoint", "run.ckpt", "--resume", "run.ckpt"});
    const Extent frame = PlanFrame({200, 180, 60}, {{4, 4, 5}, {4, 4, 5}});
    const auto& method = *FindMethods(GetParam()).volume;
    const PreparedMethod prepared = method.make(method, {}, nullptr);
    FloatPSF3D::DFT3D_InitSizes(&prepared.params->sizes, frame.x, frame.y, frame.z);
    const double volume = sizeof(float) * static_cast<double>(prepared.params->sizes.total);
    const auto own = static_cast<double>(prepared.core->GetRequiredMemorySize(prepared.params));
    EXPECT_LT(resumed, tiny + 1.05 * (2 * volume + own) + 4 * volume / frame.z);
    EXPECT_GT(resumed, 0.85 * (2 * volume + own)) << "not measured";
}

// ------------------------------------------------------------------------------- what does not fit

TEST_P(RestoreParked, CheckpointsOfOtherRunsAreRefused) {
    WriteScene();
    const std::string other = GetParam() == std::string("tv") ? "tv-ictm" : "tv";
    Result({"--iterations", "6", "--checkpoint-every", "3", "--checkpoint", "run.ckpt"});
    const Words same = {"--iterations", "9", "--checkpoint-every", "3"};
    const auto with = [&](const Words& more) {
        Words words = same;
        words.insert(words.end(), more.begin(), more.end());
        return words;
    };
    ExpectResumeRefused(other, same, "belongs to --method " + std::string(GetParam()));
    ExpectResumeRefused(with({"--regularization", "2"}), "belongs to --regularization 1");
    ExpectResumeRefused({"--iterations", "5", "--checkpoint-every", "3"}, "--iterations 5 is fewer");

    Write("psf.tif", GaussianPsf(1.3));
    ExpectResumeRefused(same, "belongs to another PSF");
    WriteScene(24, 22, 40);
    ExpectResumeRefused(same, "belongs to a padded volume of ");
    WriteScene();
    Stack image = test::ReadStack(In("in.tif"));
    image.samples[100] = std::nextafter(image.samples[100], 100.0f);
    Write("in.tif", image);
    ExpectResumeRefused(same, "belongs to another image");
    WriteScene();
    EXPECT_NE(Result(with({"--resume", "run.ckpt"})), "");
}

/// Where a stage begins its direction anew, other stages are another run; else they are not.
TEST_P(RestoreParked, TheLengthOfStagesBelongsToTheRunWhereItMatters) {
    WriteScene();
    const std::string whole =
        Result({"--iterations", "12", "--checkpoint-every", "3", "--checkpoint", "run.ckpt"});
    if (GetParam() == std::string("tv-ictm")) {
        ExpectResumeRefused({"--iterations", "12", "--checkpoint-every", "4"},
                            "belongs to --checkpoint-every 3");
        EXPECT_NE(Result({"--iterations", "12", "--checkpoint-every", "4"}), whole);
    } else {
        EXPECT_EQ(Result({"--iterations", "12", "--checkpoint-every", "5", "--resume", "run.ckpt"}), whole);
        EXPECT_EQ(Result({"--iterations", "12"}), whole);
    }
}

TEST_P(RestoreParked, DamagedFilesAreRefused) {
    WriteScene();
    ExpectResumeRefused({}, "cannot read 'run.ckpt': there is no such file");
    Result({"--iterations", "3", "--checkpoint-every", "3", "--checkpoint", "run.ckpt"});
    const std::string whole = FileBytes(In("run.ckpt"));
    const Words same = {"--iterations", "9", "--checkpoint-every", "3"};
    const auto rewrite = [&](const std::string& bytes) {
        std::ofstream(In("run.ckpt"), std::ios::binary) << bytes;
    };
    std::string flipped = whole;
    flipped[whole.size() / 2] = static_cast<char>(flipped[whole.size() / 2] ^ 4);
    rewrite(flipped);
    ExpectResumeRefused(same, "the checkpoint is damaged; run without --resume");
    rewrite(whole.substr(0, whole.size() - 1));
    ExpectResumeRefused(same, "the checkpoint is damaged; run without --resume");
    rewrite("");
    ExpectResumeRefused(same, "it is no checkpoint of rydecon");
    std::filesystem::copy_file(In("in.tif"), In("run.ckpt"),
                               std::filesystem::copy_options::overwrite_existing);
    ExpectResumeRefused(same, "it is no checkpoint of rydecon");
}

// ------------------------------------------------------------------------------------------- files

TEST_P(RestoreParked, ACheckpointReplacesNothingUnasked) {
    WriteScene();
    Write("other.tif", GaussianPsf());
    Words words = {"restore", "in.tif",       "--psf", "psf.tif",     "-o",
                   "out.tif", "--iterations", "2",     "--checkpoint"};
    const auto refused = [&](const std::string& file, const std::string& part) {
        Words all = words;
        all.push_back(file);
        const Words method = Method();
        all.insert(all.end(), method.begin(), method.end());
        ExpectRefusal(all, 1, part);
    };
    refused("other.tif", "cannot write 'other.tif': the file exists already");
    refused("in.tif", "cannot write 'in.tif': it is an input");
    refused("./out.tif", "it is the output of this command");
    refused("missing/run.ckpt", "does not exist; create it first");
    refused(".", "cannot write '.'");
}

TEST_P(RestoreParked, AResumedCheckpointMayBeReplacedByItsOwnRun) {
    WriteScene();
    Result({"--iterations", "3", "--checkpoint-every", "3", "--checkpoint", "run.ckpt"});
    Words words = {"restore",
                   "in.tif",
                   "--psf",
                   "psf.tif",
                   "-o",
                   "new.tif",
                   "--iterations",
                   "9",
                   "--checkpoint",
                   "run.ckpt",
                   "--checkpoint-every",
                   "3",
                   "--resume",
                   "run.ckpt"};
    const Words method = Method();
    words.insert(words.end(), method.begin(), method.end());
    const ProgramResult result = RunProgram(folder_.path(), words);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    Result({"--iterations", "9", "--checkpoint-every", "3", "--resume", "run.ckpt"});
    EXPECT_EQ(said_.err, "rydecon: note: 'run.ckpt': goes on from iteration 9\n");
}

TEST_P(RestoreParked, ADiskTooSmallForTheCheckpointCostsANote) {
    WriteScene();
    ProgramSettings small;
    small.fileSizeLimit = 30000;  // the output takes 24 x 21 x 12 x 4 bytes, the padded volume more
    const ProgramResult result =
        Restore(Method({"--iterations", "4", "--checkpoint-every", "4", "--checkpoint", "run.ckpt"}), small);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_TRUE(
        std::regex_match(result.err, std::regex("rydecon: note: cannot write 'run\\.ckpt': .*; the run goes "
                                                "on without a new checkpoint\n")))
        << result.err;
    EXPECT_EQ(folder_.Entries(), (Words{"in.tif", "out.tif", "out.tif.json", "psf.tif"}));
}

TEST_P(RestoreParked, MethodsThatCannotBeParkedSaySo) {
    WriteScene();
    for (const char* option : {"--checkpoint", "--resume", "--checkpoint-every"}) {
        ExpectRefusal(
            {"restore", "in.tif", "--psf", "psf.tif", "-o", "out.tif", option, "7"}, 2,
            std::string(option) + " means nothing to --method accelerated; it is read by tv, tv-ictm");
    }
    Words zero = {"restore", "in.tif", "--psf", "psf.tif", "-o", "out.tif", "--checkpoint-every", "0"};
    const Words method = Method();
    zero.insert(zero.end(), method.begin(), method.end());
    ExpectRefusal(zero, 2, "--checkpoint-every");
    ExpectResumeRefused({"--regularization", "1.5"}, " is 1.5; a whole number is needed", 2);
}

}  // namespace
}  // namespace rydecon
