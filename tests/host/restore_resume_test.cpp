// SPDX-License-Identifier: MIT
// rydecon restore --resume: killed and stopped runs in blocks, and pieces that do not fit.

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <thread>

#include "support/block_scene.h"

namespace rydecon {
namespace {

using test::BlockImage;
using test::FileBytes;
using test::GaussianPsf;
using test::ProgramResult;
using test::ProgramSettings;
using test::RunningProgram;
using test::Words;
using Clock = std::chrono::steady_clock;

class RestoreResume : public test::BlocksTest {
  protected:
    void SetUp() override {
        Write("in.tif", BlockImage());
        Write("psf.tif", GaussianPsf());
        method_ = {"--method", "lucy-richardson", "--iterations", "60"};
        limit_ = LimitFor(method_, 0.3);
    }
    Words Command(const Words& more = {}) const {
        const Words words =
            With({"restore", "in.tif", "--psf", "psf.tif", "-o", "out.tif", "--overwrite"}, method_);
        return With(With(words, {"--max-memory", limit_}), more);
    }
    ProgramResult Run(const Words& more = {}) const {
        return test::RunProgram(folder_.path(), Command(more));
    }

    std::vector<std::filesystem::path> Pieces() const {
        std::vector<std::filesystem::path> pieces;
        std::error_code none;
        for (const auto& entry : std::filesystem::directory_iterator(In("out.tif.parts"), none)) {
            const std::string name = entry.path().filename().string();
            if (name.front() != '.') pieces.push_back(entry.path());
        }
        std::sort(pieces.begin(), pieces.end());
        return pieces;
    }
    /// Sends a signal once there is a piece more than before.
    ProgramResult Interrupted(int kind, const Words& more = {}) const {
        const std::size_t before = more.empty() ? 0 : Pieces().size();
        RunningProgram program(folder_.path(), Command(more));
        const auto latest = Clock::now() + std::chrono::seconds(60);
        while (Pieces().size() <= before && Clock::now() < latest) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        program.Signal(kind);
        return program.Wait();
    }
    Words NamesWithoutLeftovers() const {
        Words names;
        for (const std::string& name : folder_.Entries()) {
            if (name.front() != '.') names.push_back(name);
        }
        return names;
    }

    Words method_;
    std::string limit_;
};

TEST_F(RestoreResume, KilledSeveralTimesEndsWithTheSameBytes) {
    const ProgramResult unbroken = Run();
    ASSERT_EQ(unbroken.exitCode, 0) << unbroken.err;
    ASSERT_NE(unbroken.out.find(" blocks, each"), std::string::npos) << unbroken.out;
    const std::string expected = FileBytes(In("out.tif"));
    std::filesystem::remove(In("out.tif"));

    ASSERT_EQ(Interrupted(SIGKILL).exitCode, 128 + SIGKILL);
    for (int kill = 0; kill < 2; ++kill)
        ASSERT_EQ(Interrupted(SIGKILL, {"--resume"}).exitCode, 128 + SIGKILL);
    EXPECT_FALSE(std::filesystem::exists(In("out.tif")));
    const std::size_t kept = Pieces().size();
    EXPECT_GE(kept, 3U);

    const ProgramResult resumed = Run({"--resume"});
    ASSERT_EQ(resumed.exitCode, 0) << resumed.err;
    EXPECT_EQ(resumed.err, "");
    EXPECT_NE(resumed.out.find(std::to_string(kept) + " of them from an earlier run"), std::string::npos)
        << resumed.out;
    EXPECT_TRUE(FileBytes(In("out.tif")) == expected);
    EXPECT_EQ(NamesWithoutLeftovers(), (Words{"in.tif", "out.tif", "out.tif.json", "psf.tif"}));
}

TEST_F(RestoreResume, TheIterationsOfAStopTestAreThoseOfTheUnbrokenRun) {
    method_ = {"--method", "accelerated", "--iterations", "80", "--stop-ratio", "1.05"};
    limit_ = LimitFor(method_, 0.4);
    ASSERT_EQ(Run().exitCode, 0);
    const std::string expected = FileBytes(In("out.tif"));
    ASSERT_EQ(Interrupted(SIGKILL).exitCode, 128 + SIGKILL);
    ASSERT_EQ(Run({"--resume"}).exitCode, 0);
    EXPECT_TRUE(FileBytes(In("out.tif")) == expected);
}

TEST_F(RestoreResume, AfterCtrlCTheErrorTellsHowToGoOn) {
    ASSERT_EQ(Run().exitCode, 0);
    const std::string expected = FileBytes(In("out.tif"));
    std::filesystem::remove(In("out.tif"));
    std::filesystem::remove(In("out.tif.json"));
    const ProgramResult stopped = Interrupted(SIGINT);
    EXPECT_EQ(stopped.exitCode, 3);
    EXPECT_TRUE(test::IsOneErrorLine(stopped.err)) << stopped.err;
    EXPECT_NE(stopped.err.find("in 'out.tif.parts', and the same command with --resume goes on"),
              std::string::npos)
        << stopped.err;
    EXPECT_EQ(folder_.Entries(), (Words{"in.tif", "out.tif.parts", "psf.tif"}));
    // The image may stand behind --resume, too.
    Words words = With({"restore", "--resume", "in.tif", "--psf", "psf.tif", "-o", "out.tif"}, method_);
    const ProgramResult resumed = test::RunProgram(folder_.path(), With(words, {"--max-memory", limit_}));
    ASSERT_EQ(resumed.exitCode, 0) << resumed.err;
    EXPECT_NE(resumed.out.find("from an earlier run"), std::string::npos) << resumed.out;
    EXPECT_TRUE(FileBytes(In("out.tif")) == expected);
}

TEST_F(RestoreResume, TheBlocksOfTheEarlierRunAreKeptWhateverMemoryThereIsNow) {
    ASSERT_EQ(Run().exitCode, 0);
    const std::string expected = FileBytes(In("out.tif"));
    Interrupted(SIGKILL);
    limit_ = "4G";
    const ProgramResult resumed = Run({"--resume"});
    EXPECT_NE(resumed.out.find("from an earlier run"), std::string::npos) << resumed.out;
    EXPECT_TRUE(FileBytes(In("out.tif")) == expected);
}

TEST_F(RestoreResume, DamagedPiecesAreToldAndMadeAnew) {
    ASSERT_EQ(Run().exitCode, 0);
    const std::string expected = FileBytes(In("out.tif"));
    const auto damages = {
        +[](const std::filesystem::path& piece) {  // a sample
            std::fstream file(piece, std::ios::in | std::ios::out | std::ios::binary);
            file.seekp(5000);
            file.put('\x55');
        },
        +[](const std::filesystem::path& piece) { std::filesystem::resize_file(piece, 3000); },
        +[](const std::filesystem::path& piece) { std::filesystem::resize_file(piece, 0); },
    };
    for (const auto damage : damages) {
        Interrupted(SIGKILL);
        damage(Pieces().at(0));
        const ProgramResult resumed = Run({"--resume"});
        ASSERT_EQ(resumed.exitCode, 0) << resumed.err;
        // A file without a head does not even tell whose it was.
        EXPECT_NE(resumed.err.find("piece"), std::string::npos) << resumed.err;
        EXPECT_TRUE(FileBytes(In("out.tif")) == expected);
    }
}

TEST_F(RestoreResume, PiecesOfOtherRunsAreToldAndMadeAnew) {
    const auto change = [this](const char* what) {
        if (std::string(what) == "settings") method_.back() = "50";
        if (std::string(what) == "psf") Write("psf.tif", GaussianPsf(1.3));
        if (std::string(what) == "image") {
            test::Stack image = BlockImage();
            image.samples[1000] += 1.0f;
            Write("in.tif", image);
        }
    };
    for (const char* what : {"settings", "psf", "image"}) {
        SetUp();
        Interrupted(SIGKILL);
        change(what);
        const ProgramResult resumed = Run({"--resume"});
        ASSERT_EQ(resumed.exitCode, 0) << resumed.err;
        EXPECT_NE(resumed.err.find("the piece belongs to another run"), std::string::npos)
            << what << resumed.err;
        const std::string bytes = FileBytes(In("out.tif"));
        ASSERT_EQ(Run().exitCode, 0);
        EXPECT_TRUE(FileBytes(In("out.tif")) == bytes) << what;
    }
}

TEST_F(RestoreResume, WithoutItOldPiecesAreDiscardedWithANote) {
    Interrupted(SIGKILL);
    ASSERT_GE(Pieces().size(), 1U);
    std::ofstream(In("out.tif.parts/mine.txt")) << "kept";
    const ProgramResult anew = Run();
    ASSERT_EQ(anew.exitCode, 0) << anew.err;
    EXPECT_NE(anew.err.find("of an earlier run discarded; with --resume"), std::string::npos) << anew.err;
    EXPECT_EQ(anew.out.find("from an earlier run"), std::string::npos) << anew.out;
    EXPECT_EQ(FileBytes(In("out.tif.parts/mine.txt")), "kept") << "only pieces are removed";
}

TEST_F(RestoreResume, NothingToGoOnWithIsNoError) {
    const ProgramResult resumed = Run({"--resume"});
    EXPECT_EQ(resumed.exitCode, 0);
    EXPECT_NE(resumed.err.find("there is no piece of an earlier run"), std::string::npos) << resumed.err;
}

TEST_F(RestoreResume, PiecesThatCannotBeWrittenAreOneLine) {
    ProgramSettings small;
    small.fileSizeLimit = 100000;
    const ProgramResult full = test::RunProgram(folder_.path(), Command(), small);
    EXPECT_EQ(full.exitCode, 1);
    EXPECT_TRUE(test::IsOneErrorLine(full.err)) << full.err;
    EXPECT_NE(full.err.find("cannot write 'out.tif.parts/volume-0000-block-"), std::string::npos) << full.err;
    EXPECT_EQ(folder_.Entries(), (Words{"in.tif", "psf.tif"}));

    std::ofstream(In("out.tif.parts")) << "a file";
    const ProgramResult blocked = Run();
    EXPECT_EQ(blocked.exitCode, 1);
    EXPECT_TRUE(test::IsOneErrorLine(blocked.err)) << blocked.err;
    EXPECT_NE(blocked.err.find("'out.tif.parts': a folder for finished pieces is needed there"),
              std::string::npos)
        << blocked.err;
    EXPECT_EQ(FileBytes(In("out.tif.parts")), "a file");
}

}  // namespace
}  // namespace rydecon
