// SPDX-License-Identifier: MIT
// Several images of which some end early: killed from outside, or stopped by the user.

#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <thread>

#include "support/batch_scene.h"

namespace rydecon {
namespace {

using test::ProgramResult;
using test::RunningProgram;
using test::Words;
using Clock = std::chrono::steady_clock;

class BatchStop : public test::BatchTest {
  protected:
    /// b runs until somebody ends it; a and c are short.
    void WriteManifest() const {
        std::ofstream(In("list.tsv")) << "image\toutput\titerations\nin/a.tif\tout/a.tif\t2\n"
                                         "in/b.tif\tout/b.tif\t100000\nin/c.tif\tout/c.tif\t2\n";
    }
    static Words LongRun(const char* jobs) {
        return {"restore", "--manifest", "list.tsv", "--psf", "psf.tif", "--no-auto-stop", "--jobs", jobs};
    }
    static std::vector<int> ChildrenOf(int process) {
        const std::string id = std::to_string(process);
        std::ifstream list("/proc/" + id + "/task/" + id + "/children");
        return {std::istream_iterator<int>(list), {}};
    }
    bool Exists(const std::string& name) const { return std::filesystem::exists(In(name)); }

    template <class Condition>
    static void WaitUntil(Condition condition) {
        const auto latest = Clock::now() + std::chrono::seconds(30);
        while (!condition() && Clock::now() < latest)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        EXPECT_TRUE(condition());
    }
};

TEST_F(BatchStop, AKilledProcessLeavesTheOthersAlone) {
    WriteManifest();
    RunningProgram program(folder_.path(), LongRun("2"));
    WaitUntil([this] { return Exists("out/c.tif.json"); });
    std::vector<int> children;
    WaitUntil([&] { return (children = ChildrenOf(program.process())).size() == 1; });
    kill(children.at(0), SIGKILL);
    const ProgramResult result = program.Wait();
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(Tells(TableLine(result, "in/a.tif"), "done    2")) << result.out;
    EXPECT_TRUE(Tells(TableLine(result, "in/c.tif"), "done    2")) << result.out;
    EXPECT_TRUE(Tells(TableLine(result, "in/b.tif"), "failed")) << result.out;
    EXPECT_TRUE(
        Tells(TableLine(result, "in/b.tif"), "ended by signal 9 (Killed), perhaps for want of memory"));
    EXPECT_TRUE(Tells(result.err, "rydecon: error: 'in/b.tif': its process was ended by signal 9"))
        << result.err;
    EXPECT_FALSE(Exists("out/b.tif"));
}

TEST_F(BatchStop, CtrlCEndsAllCleanly) {
    WriteManifest();
    for (const int kind : {SIGINT, SIGTERM, SIGHUP}) {
        std::filesystem::remove_all(In("out"));
        RunningProgram program(folder_.path(), LongRun("1"));
        WaitUntil([this] { return Exists("out/a.tif.json") && EntriesOf("out").size() == 3; });
        std::this_thread::sleep_for(std::chrono::milliseconds(100));  // into the iterations of b
        const auto start = Clock::now();
        program.Signal(kind);
        const ProgramResult result = program.Wait();
        EXPECT_LT(Clock::now() - start, std::chrono::seconds(10));
        EXPECT_EQ(result.exitCode, 3);
        EXPECT_TRUE(Tells(TableLine(result, "in/a.tif"), "done")) << result.out;
        EXPECT_TRUE(Tells(TableLine(result, "in/b.tif"), "stopped")) << result.out;
        EXPECT_TRUE(Tells(TableLine(result, "in/c.tif"), "not begun")) << result.out;
        EXPECT_TRUE(Tells(result.err, "rydecon: error: stopped; 1 of 3 images are restored\n")) << result.err;
        EXPECT_EQ(EntriesOf("out"), (Words{"a.tif", "a.tif.json"})) << "no temporary file is left";
    }
}

TEST_F(BatchStop, NoProcessOutlivesTheProgram) {
    WriteManifest();
    std::vector<int> children;
    {
        RunningProgram program(folder_.path(), LongRun("3"));
        WaitUntil([this] { return Exists("out/a.tif.json") && Exists("out/c.tif.json"); });
        WaitUntil([&] { return (children = ChildrenOf(program.process())).size() == 1; });
    }  // killed, so that it can tell nobody
    WaitUntil([&] { return kill(children.at(0), 0) != 0; });
    EXPECT_EQ(EntriesOf("out"), (Words{"a.tif", "a.tif.json", "c.tif", "c.tif.json"}));
}

}  // namespace
}  // namespace rydecon
