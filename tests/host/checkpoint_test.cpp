// SPDX-License-Identifier: MIT
// The file of a parked estimate.

#include "restoration/checkpoint.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <bit>
#include <functional>
#include <string>
#include <vector>

#include "report/user_error.h"
#include "restoration/checkpointed_run.h"
#include "support/program_run.h"
#include "support/restore_scene.h"

namespace rydecon {
namespace {

using test::FileBytes;
using test::TemporaryFolder;

constexpr Extent kFrame = {4, 3, 2};
constexpr float kPadding = -77.0f;
const RunIdentity kIdentity = {"tv-ictm", 3, 10, kFrame, 0x12345678, 0x9abcdef0};

void Fill(const PaddedVolume& volume, float first) {
    std::fill(volume.data(), volume.data() + volume.sizes().total, kPadding);
    for (int k = 0; k < kFrame.z; ++k) {
        for (int j = 0; j < kFrame.y; ++j) {
            for (int i = 0; i < kFrame.x; ++i) volume.Row(j, k)[i] = first++ / 3.0f;
        }
    }
}

/// What the one line says; empty where nothing is thrown.
std::string Refusal(const std::function<void()>& act) {
    try {
        act();
    } catch (const UserError& error) {
        EXPECT_EQ(error.code(), ExitCode::Failed);
        return error.what();
    }
    return "";
}

class CheckpointFile : public testing::Test {
  protected:
    void SetUp() override {
        Fill(estimate_, 1.0f);
        WriteCheckpoint(path_, kIdentity, 40, estimate_);
    }
    void Rewrite(const std::string& bytes) const { std::ofstream(path_, std::ios::binary) << bytes; }
    /// All that a job does with the file.
    std::string RefusalOfFile() {
        return Refusal([this] {
            Checkpoint checkpoint(path_);
            checkpoint.RequireFit(kIdentity);
            checkpoint.RequireWithin(100);
            checkpoint.Load(estimate_);
        });
    }

    TemporaryFolder folder_;
    std::filesystem::path path_ = folder_.path() / "run.ckpt";
    PaddedVolume estimate_{kFrame};
};

TEST_F(CheckpointFile, GivesTheEstimateBackBitForBit) {
    estimate_.Row(1, 1)[2] = -0.0f;
    estimate_.Row(2, 0)[3] = std::bit_cast<float>(0x7fc00123U);
    WriteCheckpoint(path_, kIdentity, 40, estimate_);
    Checkpoint checkpoint(path_);
    EXPECT_EQ(checkpoint.iterations(), 40U);
    checkpoint.RequireFit(kIdentity);
    const PaddedVolume back(kFrame);
    checkpoint.Load(back);
    for (int k = 0; k < kFrame.z; ++k) {
        for (int j = 0; j < kFrame.y; ++j) {
            for (int i = 0; i < kFrame.x; ++i) {
                EXPECT_EQ(std::bit_cast<std::uint32_t>(back.Row(j, k)[i]),
                          std::bit_cast<std::uint32_t>(estimate_.Row(j, k)[i]));
            }
            EXPECT_EQ(back.Row(j, k)[kFrame.x], 0.0f) << "padding is none of its business";
        }
    }
}

TEST_F(CheckpointFile, HoldsTheHeadAndTheImageColumns) {
    const std::string bytes = FileBytes(path_);
    EXPECT_EQ(bytes.size(), 68U + 4U * 4U * 3U * 2U);
    EXPECT_EQ(bytes.substr(0, 8), "RYDCKPT\n");
    EXPECT_EQ(bytes.substr(44, 16), std::string("tv-ictm") + std::string(9, '\0'));
    EXPECT_EQ(folder_.Entries(), std::vector<std::string>{"run.ckpt"}) << "no temporary file is left";
}

TEST_F(CheckpointFile, NamesWhatDiffers) {
    const Checkpoint checkpoint(path_);
    const auto refusal = [&](auto change) {
        RunIdentity other = kIdentity;
        change(other);
        return Refusal([&] { checkpoint.RequireFit(other); });
    };
    const std::string begin = "cannot read '" + path_.string() + "': the checkpoint belongs to ";
    EXPECT_EQ(refusal([](auto&) {}), "");
    EXPECT_EQ(refusal([](auto& r) { r.method = "tv"; }), begin + "--method tv-ictm");
    EXPECT_EQ(refusal([](auto& r) { r.regularization = 4; }), begin + "--regularization 3");
    EXPECT_EQ(refusal([](auto& r) { r.stage = 11; }), begin + "--checkpoint-every 10");
    EXPECT_EQ(refusal([](auto& r) { r.frame.z = 3; }),
              begin + "a padded volume of 4 x 3 x 2 samples, this run to one of 4 x 3 x 3");
    EXPECT_EQ(refusal([](auto& r) { ++r.image; }), begin + "another image");
    EXPECT_EQ(refusal([](auto& r) { ++r.psf; }), begin + "another PSF");
    EXPECT_EQ(Refusal([&] { checkpoint.RequireWithin(40); }), "");
    EXPECT_NE(Refusal([&] { checkpoint.RequireWithin(39); }).find("has 40 iterations behind it"),
              std::string::npos);
}

TEST_F(CheckpointFile, AFlippedBitInAnyByteIsFound) {
    const std::string whole = FileBytes(path_);
    for (std::size_t place = 0; place < whole.size(); ++place) {
        std::string bytes = whole;
        bytes[place] = static_cast<char>(bytes[place] ^ (1 << place % 8));
        Rewrite(bytes);
        ASSERT_EQ(RefusalOfFile().rfind("cannot read '", 0), 0U) << place;
    }
    Rewrite(whole);
    EXPECT_EQ(RefusalOfFile(), "");
}

TEST_F(CheckpointFile, CutAndLengthenedFilesAreFound) {
    const std::string whole = FileBytes(path_);
    for (std::size_t size = 0; size < whole.size(); ++size) {
        Rewrite(whole.substr(0, size));
        ASSERT_NE(RefusalOfFile(), "") << size;
    }
    Rewrite(whole + "x");
    EXPECT_NE(RefusalOfFile().find("is damaged"), std::string::npos);
}

/// A head that is sound in itself, of a volume that no memory would hold.
TEST_F(CheckpointFile, SidesOfTheFileAllocateNothing) {
    RunIdentity huge = kIdentity;
    huge.frame = {0x7fffffff, 0x7fffffff, 0x7fffffff};
    WriteCheckpoint(path_, huge, 40, estimate_);
    EXPECT_NE(RefusalOfFile().find("a padded volume of 2147483647 x"), std::string::npos);
}

TEST_F(CheckpointFile, OtherFilesAreRefused) {
    Rewrite("II*\0 any other file, long enough to have a head of a checkpoint in front ............");
    EXPECT_NE(RefusalOfFile().find("it is no checkpoint of rydecon"), std::string::npos);
    std::filesystem::remove(path_);
    EXPECT_NE(RefusalOfFile().find("there is no such file"), std::string::npos);
    ASSERT_EQ(::mkfifo(path_.c_str(), 0600), 0);
    EXPECT_NE(RefusalOfFile().find("it is no regular file"), std::string::npos);
    std::filesystem::remove(path_);
    std::filesystem::create_directory(path_);
    EXPECT_NE(RefusalOfFile().find("it is a folder"), std::string::npos);
}

TEST_F(CheckpointFile, OtherVersionsAreNamed) {
    std::string bytes = FileBytes(path_);
    bytes[8] = 2;
    Rewrite(bytes);
    EXPECT_NE(RefusalOfFile().find("another version of rydecon"), std::string::npos);
}

TEST_F(CheckpointFile, IsReplacedWholeOrNotAtAll) {
    const std::string before = FileBytes(path_);
    Fill(estimate_, 100.0f);
    std::filesystem::permissions(path_, std::filesystem::perms::owner_read);
    WriteCheckpoint(folder_.path() / "other.ckpt", kIdentity, 50, estimate_);
    EXPECT_EQ(FileBytes(path_), before);
    std::filesystem::permissions(path_, std::filesystem::perms::owner_all);
    WriteCheckpoint(path_, kIdentity, 50, estimate_);
    EXPECT_EQ(FileBytes(path_), FileBytes(folder_.path() / "other.ckpt"));
}

/// The disk may be full for a while; the run is worth more than its checkpoint.
TEST(CheckpointedRun, FailureToSaveIsANoteAndTheRunGoesOn) {
    class Notes final : public Messages {
      public:
        void Note(const std::string& line) const override { lines.push_back(line); }
        mutable std::vector<std::string> lines;
    } notes;
    const TemporaryFolder folder;
    const PaddedVolume estimate(kFrame);
    CheckpointedRun run(estimate, kIdentity, folder.path() / "missing" / "run.ckpt", nullptr, notes);
    EXPECT_TRUE(run.Saves());
    EXPECT_EQ(run.Begin(), 0U);
    run.EndOfStage(10);
    ASSERT_EQ(notes.lines.size(), 1U);
    EXPECT_EQ(notes.lines[0].rfind("cannot write '", 0), 0U);
    EXPECT_EQ(run.WhatIsLeft(), "nothing was written");
    std::filesystem::create_directory(folder.path() / "missing");
    run.EndOfStage(20);
    EXPECT_EQ(notes.lines.size(), 1U);
    EXPECT_NE(run.WhatIsLeft().find("goes on from iteration 20"), std::string::npos);
}

}  // namespace
}  // namespace rydecon
