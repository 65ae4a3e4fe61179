// SPDX-License-Identifier: MIT
// The file of a parked estimate, and the core that runs in stages.

#include "restoration/checkpoint.h"

#include <gnr_deconvolution/return_codes.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <bit>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "report/user_error.h"
#include "restoration/checkpointed_run.h"
#include "restoration/staged_core.h"
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
    EXPECT_NE(RefusalOfFile().find("it is no regular file"), std::string::npos);
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

// ------------------------------------------------------------------------------------------- stages

/// What the entry was called with.
struct Call {
    int iterations;
    bool resume;
    bool store;
    std::vector<std::wstring> keys;

    friend bool operator==(const Call&, const Call&) = default;
};
std::vector<Call> calls;
int resultOfStages = gnr::kSuccessOfEntry;

std::vector<std::wstring> Keys(const CRyMemoryStock& stock) {
    std::vector<std::wstring> keys;
    for (const auto& [key, item] : stock.items) keys.emplace_back(key.c_str());
    return keys;
}

/// Counts an iteration by 1 in the first sample.
int CountingEntry(DFT3D*, float*, float* image, int iterations, RyProgressCallback callback, void* user, int,
                  int, unsigned, CRyMemoryStock* stock, bool resume, bool store) {
    calls.push_back({iterations, resume, store, Keys(*stock)});
    if (store) {
        for (const wchar_t* key : {L"image", L"kernel", L"pg", L"ph"}) {
            stock->items[key] = new CRyMemoryStockItem(image, sizeof *image, false);
        }
        return gnr::kSuccessOfEntry;
    }
    for (int k = 0; k < iterations; ++k) {
        image[0] += 1.0f;
        if (callback(CRyStringW(), 0, 0, 0, 1, eProgressStepEnd, user) != 0) return gnr::kStopped;
    }
    return resultOfStages;
}

class ScriptedStore final : public StageStore {
  public:
    unsigned Begin() override { return begin; }
    bool Saves() const override { return saves; }
    void EndOfStage(unsigned iterations) override { ends.push_back(iterations); }

    unsigned begin = 0;
    bool saves = true;
    std::vector<unsigned> ends;
};

class IterateLog final : public IterateSink {
  public:
    void OnIterate(float scale, const float* iterate) override {
        EXPECT_EQ(scale, 1.0f);
        seen.push_back(iterate[0]);
    }
    std::vector<float> seen;
};

class Stages : public testing::Test {
  protected:
    void SetUp() override {
        calls.clear();
        resultOfStages = gnr::kSuccessOfEntry;
    }
    int Run(bool restarts, StageStore* store, unsigned iterations, IterateSink* sink = nullptr) {
        auto* const core = new StagedCore({&CountingEntry, 4, restarts}, 10, sink);
        const CRyRefCountPtr<CRyAbstract3DDeconvolutionCore> owner(core);
        core->Release();
        core->set_store(store);
        auto params = CRy3DDeconvRunParameters::Create3DDeconvParameters(eDeconvWiener);
        params->sizes = volume_.sizes();
        params->pfImage = volume_.data();
        params->uiIterations = iterations;
        params->pfnProgress = [](const CRyStringW&, unsigned, unsigned, unsigned, unsigned n,
                                 ERyProgressPhase, void* self) {
            auto& stages = *static_cast<Stages*>(self);
            stages.units_ += n;
            return stages.units_ >= stages.stopAt_ ? 1 : 0;
        };
        params->pProgressData = this;
        return core->Run(params);
    }
    /// Iterations of the calls after the first, which parks.
    std::vector<int> Lengths() const {
        std::vector<int> lengths;
        EXPECT_EQ(calls.at(0), (Call{0, false, true, {}}));
        for (std::size_t n = 1; n < calls.size(); ++n) {
            EXPECT_EQ(calls[n], (Call{calls[n].iterations, true, false, {L"pg", L"ph"}}));
            lengths.push_back(calls[n].iterations);
        }
        return lengths;
    }

    PaddedVolume volume_{kFrame};
    ScriptedStore store_;
    unsigned units_ = 0;
    unsigned stopAt_ = 1000;
};

TEST_F(Stages, ARunThatIsSavedIsCut) {
    EXPECT_EQ(Run(false, &store_, 25), gnr::kSuccess);
    EXPECT_EQ(Lengths(), (std::vector<int>{10, 10, 5}));
    EXPECT_EQ(store_.ends, (std::vector<unsigned>{10, 20}));
    EXPECT_EQ(units_, 25U);
    EXPECT_EQ(volume_.data()[0], 25.0f);
}

TEST_F(Stages, ARunThatNobodySavesIsCutOnlyWhereItMatters) {
    EXPECT_EQ(Run(false, nullptr, 25), gnr::kSuccess);
    EXPECT_EQ(Lengths(), (std::vector<int>{25}));
    calls.clear();
    store_.saves = false;
    EXPECT_EQ(Run(false, &store_, 25), gnr::kSuccess);
    EXPECT_EQ(Lengths(), (std::vector<int>{25}));
    calls.clear();
    EXPECT_EQ(Run(true, nullptr, 25), gnr::kSuccess);
    EXPECT_EQ(Lengths(), (std::vector<int>{10, 10, 5}));
}

TEST_F(Stages, AResumedRunKeepsTheStagesOfTheWholeOne) {
    store_.begin = 20;
    EXPECT_EQ(Run(true, &store_, 33), gnr::kSuccess);
    EXPECT_EQ(Lengths(), (std::vector<int>{10, 3}));
    EXPECT_EQ(store_.ends, (std::vector<unsigned>{30}));
    EXPECT_EQ(units_, 33U) << "what the earlier run did counts";
    calls.clear();
    store_.begin = 33;
    EXPECT_EQ(Run(true, &store_, 33), gnr::kSuccess);
    EXPECT_EQ(Lengths(), std::vector<int>());
}

TEST_F(Stages, NoIterationsGiveTheImageBack) {
    EXPECT_EQ(Run(true, &store_, 0), gnr::kSuccess);
    EXPECT_EQ(Lengths(), std::vector<int>());
    EXPECT_EQ(volume_.data()[0], 0.0f);
}

TEST_F(Stages, StopAndFailureEndTheRun) {
    stopAt_ = 13;
    EXPECT_EQ(Run(false, &store_, 40), gnr::kStopped);
    EXPECT_EQ(store_.ends, (std::vector<unsigned>{10}));
    resultOfStages = gnr::kNotReady;
    stopAt_ = 1000;
    EXPECT_EQ(Run(false, nullptr, 40), gnr::kOutOfMemory);
}

TEST_F(Stages, EachIterateIsShown) {
    IterateLog log;
    EXPECT_EQ(Run(true, nullptr, 12, &log), gnr::kSuccess);
    ASSERT_EQ(log.seen.size(), 12U);
    for (std::size_t n = 0; n < 12; ++n) EXPECT_EQ(log.seen[n], static_cast<float>(n + 1));
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
