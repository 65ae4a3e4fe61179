// SPDX-License-Identifier: MIT
// rydecon restore as a process: stop signals, progress, a disk that runs full, memory.

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <thread>

#include "restoration/frame_plan.h"
#include "restoration/method_choice.h"
#include "support/restore_scene.h"

namespace rydecon {
namespace {

using test::AllMethods;
using test::GaussianPsf;
using test::IsOneErrorLine;
using test::MakeStack;
using test::ProgramResult;
using test::ProgramSettings;
using test::RunningProgram;
using test::Stack;
using test::Words;
using Clock = std::chrono::steady_clock;

class RestoreRun : public test::RestoreTest {
  protected:
    static Stack Pattern(int width, int height, int planes) {
        return MakeStack(width, height, planes,
                         [](int i, int j, int k) { return 20 + (i * 7 + j * 13 + k * 5) % 31; });
    }
    /// Waits for the temporary file, which stands before the samples are read.
    void WaitForTemporaryFile() const {
        const auto latest = Clock::now() + std::chrono::seconds(30);
        while (folder_.Entries().size() < 3 && Clock::now() < latest) std::this_thread::yield();
    }
};

TEST_F(RestoreRun, StopsAtTheNextStepOfWorkAndLeavesNothing) {
    Write("in.tif", Pattern(96, 96, 48));
    Write("psf.tif", GaussianPsf());
    for (const int kind : {SIGINT, SIGTERM, SIGHUP}) {
        RunningProgram program(folder_.path(), {"restore", "in.tif", "--psf", "psf.tif", "-o", "out.tif",
                                                "--no-auto-stop", "--iterations", "100000"});
        WaitForTemporaryFile();
        std::this_thread::sleep_for(std::chrono::milliseconds(300));  // into the iterations
        const auto start = Clock::now();
        program.Signal(kind);
        const ProgramResult result = program.Wait();
        EXPECT_LT(Clock::now() - start, std::chrono::seconds(10)) << "one iteration takes a fraction of this";
        EXPECT_EQ(result.exitCode, 3);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, "rydecon: error: stopped; nothing was written\n");
        EXPECT_EQ(folder_.Entries(), (Words{"in.tif", "psf.tif"}));
    }
    const ProgramResult again = Restore({"--iterations", "2"});
    EXPECT_EQ(again.exitCode, 0) << again.err;
    EXPECT_EQ(folder_.Entries(), (Words{"in.tif", "out.tif", "out.tif.json", "psf.tif"}));
}

TEST_F(RestoreRun, StopAtAnyTimeIsAllOrNothing) {
    Write("in.tif", Pattern(120, 110, 60));
    Write("psf.tif", GaussianPsf());
    for (const std::string& method : AllMethods()) {
        int exitCode = 0;
        // On a busy machine a short run may be over before the signal arrives.
        for (int attempt = 0; attempt < 8 && exitCode == 0; ++attempt) {
            std::filesystem::remove(In("out.tif"));
            std::filesystem::remove(In("out.tif.json"));
            RunningProgram program(folder_.path(), {"restore", "in.tif", "--psf", "psf.tif", "-o", "out.tif",
                                                    "--method", method});
            WaitForTemporaryFile();
            program.Signal(SIGINT);
            exitCode = program.Wait().exitCode;
            const bool whole = exitCode == 0;
            EXPECT_EQ(folder_.Entries(), whole ? (Words{"in.tif", "out.tif", "out.tif.json", "psf.tif"})
                                               : (Words{"in.tif", "psf.tif"}));
        }
        EXPECT_EQ(exitCode, 3) << method;
    }
}

TEST_F(RestoreRun, ProgressShowsOnATerminalOnly) {
    Write("in.tif", Pattern(48, 40, 20));
    Write("psf.tif", GaussianPsf());
    ProgramSettings terminal;
    terminal.errorsToTerminal = true;
    terminal.environment = {"TERM=xterm", "NO_COLOR="};
    for (const std::string& method : AllMethods()) {
        EXPECT_EQ(Restore({"--method", method}).err, "");
        const std::string shown = Restore({"--method", method}, terminal).err;
        EXPECT_NE(shown.find("restoring [\033[32m"), std::string::npos) << method;
        EXPECT_EQ(shown.substr(shown.size() - 4), "\r\033[K") << "the bar is left on the terminal";
        EXPECT_EQ(Restore({"--method", method, "-q"}, terminal).err, "");
    }
    terminal.environment = {"TERM=xterm", "NO_COLOR=1"};
    const std::string plain = Restore({}, terminal).err;
    EXPECT_NE(plain.find("restoring ["), std::string::npos);
    EXPECT_EQ(plain.find("\033[3"), std::string::npos);
}

TEST_F(RestoreRun, FileSizeLimitIsToldAndLeavesNothing) {
    Write("in.tif", Pattern(48, 40, 20));
    Write("psf.tif", GaussianPsf());
    ProgramSettings small;
    small.fileSizeLimit = 10000;
    const ProgramResult result = Restore({}, small);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(IsOneErrorLine(result.err)) << result.err;
    EXPECT_NE(result.err.find("cannot write 'out.tif'"), std::string::npos) << result.err;
    EXPECT_EQ(folder_.Entries(), (Words{"in.tif", "psf.tif"}));
}

/// Bytes of a padded volume.
unsigned long long VolumeBytes(const DFT3D& sizes) {
    return sizeof(float) * static_cast<unsigned long long>(sizes.total);
}

TEST_F(RestoreRun, MemoryIsTheTwoVolumesTheCoresBuffersAndAPlane) {
    if (test::kInstrumented) GTEST_SKIP() << test::kNotMeasured;
    const Stack psf = GaussianPsf();
    const Stack large = Pattern(250, 240, 88);
    const Extent frame = PlanFrame({250, 240, 88}, {{4, 4, 5}, {4, 4, 5}});
    Write("psf.tif", psf);
    for (const std::string& method : AllMethods()) {
        Words words = {"--method", method};
        if (method != "wiener") words.insert(words.end(), {"--iterations", "2"});
        Write("in.tif", Pattern(8, 8, 8));
        const ProgramResult tiny = Restore(words);
        Write("in.tif", large);
        const ProgramResult result = Restore(words);
        ASSERT_EQ(result.exitCode, 0) << result.err;

        const Method& entry = *FindMethods(method).volume;
        const PreparedMethod prepared = entry.make(entry, MethodSettings(), nullptr);
        FloatPSF3D::DFT3D_InitSizes(&prepared.params->sizes, frame.x, frame.y, frame.z);
        const auto volumes =
            2 * VolumeBytes(prepared.params->sizes) + prepared.core->GetRequiredMemorySize(prepared.params);
        const unsigned long long plane = 250 * 240 * sizeof(float);
        const auto allowed = static_cast<double>(tiny.peakMemory) + 1.05 * static_cast<double>(volumes) +
                             static_cast<double>(plane);
        EXPECT_LT(static_cast<double>(result.peakMemory), allowed) << method;
        EXPECT_GT(static_cast<double>(result.peakMemory), 0.85 * static_cast<double>(volumes))
            << method << ": not measured";
        RecordProperty(method, std::to_string(result.peakMemory) + " of " +
                                   std::to_string(static_cast<long long>(allowed)));
    }
}

}  // namespace
}  // namespace rydecon
