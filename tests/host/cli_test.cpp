// SPDX-License-Identifier: MIT
// The command line as a whole: help, wrong usage, exit codes, standard streams, progress, stop.

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "report/progress_bar.h"
#include "report/stop_request.h"
#include "support/program_run.h"

namespace rydecon {
namespace {

using test::IsOneErrorLine;
using test::ProgramResult;
using test::ProgramSettings;
using test::RunningProgram;
using test::RunProgram;
using test::TemporaryFolder;
using Words = std::vector<std::string>;

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

class CommandLine : public ::testing::Test {
  protected:
    ProgramResult Run(const Words& arguments, const ProgramSettings& settings = {}) {
        return RunProgram(folder_.path(), arguments, settings);
    }
    void ExpectUsageError(const Words& arguments, const std::string& part) {
        const ProgramResult result = Run(arguments);
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_EQ(result.out, "");
        EXPECT_TRUE(IsOneErrorLine(result.err)) << result.err;
        EXPECT_TRUE(Contains(result.err, part)) << result.err;
        EXPECT_TRUE(folder_.Entries().empty());
    }
    TemporaryFolder folder_;
};

TEST_F(CommandLine, VersionIsTheProjects) {
    const ProgramResult result = Run({"--version"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out, "rydecon " RYDECON_VERSION "\n");
    EXPECT_EQ(result.err, "");
}

TEST_F(CommandLine, HelpTellsExitCodesForTheProgramAndEveryCommand) {
    for (const Words& words : {Words{"--help"}, Words{"restore", "--help"}, Words{"estimate", "--help"},
                               Words{"psf", "--help"}, Words{"simulate", "--help"}, Words{"compare", "-h"},
                               Words{"view", "--help"}, Words{"info", "-h"}}) {
        const ProgramResult result = Run(words);
        EXPECT_EQ(result.exitCode, 0) << words.front();
        EXPECT_TRUE(Contains(result.out, "Usage: rydecon")) << result.out;
        EXPECT_TRUE(Contains(result.out, "0 done, 1 failed, 2 wrong usage, 3 stopped")) << result.out;
        EXPECT_EQ(result.err, "");
    }
}

TEST_F(CommandLine, WrongUsageIsOneLineThatHelps) {
    ExpectUsageError({}, "the commands are restore, estimate, psf, simulate, compare, view, info");
    ExpectUsageError({"--quiet"}, "a command is missing");
    ExpectUsageError({"compute"}, "unknown command 'compute'");
    ExpectUsageError({"smiulate"}, "did you mean 'simulate'?");
    ExpectUsageError({"simulate", "-o", "d", "--sede", "3"}, "did you mean '--seed'?");
    ExpectUsageError({"simulate", "-o", "d", "--frobnicate=3"}, "unknown option '--frobnicate'; see");
    ExpectUsageError({"simulate"}, "option --output DIR is missing");
    ExpectUsageError({"simulate", "-o"}, "--output needs a value: --output DIR");
    ExpectUsageError({"simulate", "-o", "d", "--size", "8", "8"}, "--size needs 3 values: --size X Y Z");
    ExpectUsageError({"simulate", "-o", "d", "--seed", "1", "--seed", "2"},
                     "--seed is given more than once; give it once");
    ExpectUsageError({"restore", "a.tif", "--psf"}, "--psf needs a value: --psf PSF.tif");
    ExpectUsageError({"restore", "a.tif", "--psf", "p.tif", "--na", "1.4", "-o", "o.tif"},
                     "--psf and --na exclude one another; give one of them");
    ExpectUsageError({"simulate", "--size", "8", "8", "-o", "d"},
                     "--size is '-o'; a whole number from 8 to 65536 is needed");
    ExpectUsageError({"simulate", "-o", "d", "--photons", "many"},
                     "--photons is 'many'; a number such as 2 or 1.5 is needed");
    ExpectUsageError({"compare", "a.tif"}, "argument reference (B.tif) is missing");
    ExpectUsageError({"compare", "a.tif", "b.tif", "c.tif"}, "unexpected argument 'c.tif'");
    ExpectUsageError({"view", "a.tif"}, "option --output OUT.png is missing");
    ExpectUsageError({"view", "--outptu", "a.png", "a.tif"}, "did you mean '--output'?");
}

TEST_F(CommandLine, ValuesAreCheckedInOneWording) {
    const auto expect = [this](const Words& option, const std::string& part) {
        Words words = {"restore", "a.tif", "--psf", "p.tif", "-o", "o.tif"};
        words.insert(words.end(), option.begin(), option.end());
        ExpectUsageError(words, part);
    };
    const std::string whole = "; a whole number from 0 to 100000 is needed";
    for (const std::string text : {"1000000", "-5", "1.5", "99999999999999999999"}) {
        expect({"--iterations", text}, "--iterations is " + text + whole);
    }
    for (const std::string text : {"five", "0x10", "", "1_000", " 3"}) {
        expect({"--iterations", text}, "--iterations is '" + text + "'" + whole);
    }
    expect({"--inner", "5"}, "--inner is 5; 1, 10 or 20 is needed");
    expect({"--stop", "never"}, "--stop is 'never'; own or split is needed");
    expect({"--guard", "0.5"}, "--guard is 0.5; off, 0.3 or 0.8 is needed");
    for (const std::string text : {"u32", "2", "U16"}) {
        expect({"--dtype", text}, text + (text == "2" ? "" : "'") + "; float32, u16 or u8 is needed");
    }
    expect({"--regularization", "1,5"}, "--regularization is '1,5'; a number such as 2 or 1.5 is needed");
    expect({"--regularization", "inf"}, "a number such as 2 or 1.5 is needed");
    expect({"--background", "dark"}, "--background is 'dark'; auto or a number from -1e9 to 1e9 is needed");
    expect({"--background", ""}, "--background is ''");
    expect({"--seed", "-1"}, "--seed is -1; a whole number from 0");
    expect({"--channels", ""}, "--channels is ''; numbers from 1");
    ExpectUsageError({"psf", "--na", "1,4", "-o", "p.tif"}, "--na is '1,4'; a number such as");
    ExpectUsageError({"psf", "--pixel", "-1", "-o", "p.tif"}, "--pixel is -1 um; a distance from");
}

TEST_F(CommandLine, DigitsAreDecimal) {
    const ProgramResult result = Run({"simulate", "-o", "d", "--size", "010", "012", "8", "--seed", "010"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_TRUE(Contains(result.out, "10 x 12 x 8 samples")) << result.out;
    EXPECT_TRUE(Contains(result.out, "seed 10")) << result.out;
}

/// As a script gives them whose variable is not set.
TEST_F(CommandLine, EmptyNamesOfFilesAreRefused) {
    for (const char* option :
         {"--psf", "--truth", "--report", "--curve", "--checkpoint", "--psf-out", "--config"}) {
        ExpectUsageError({"restore", "a.tif", "-o", "o.tif", option, ""},
                         std::string(option) + " is ''; the name of a file is needed");
    }
    ExpectUsageError({"restore", "", "--psf", "p.tif", "-o", "o.tif"}, "argument image (IN.tif) is ''");
    ExpectUsageError({"simulate", "-o", ""}, "--output is ''; the name of a file is needed");
}

TEST_F(CommandLine, NamesOfOtherPicturesAreNoNamesOfStacks) {
    ExpectUsageError({"restore", "a.tif", "--psf", "p.tif", "-o", "o.PNG"},
                     "the output is a TIFF: 'o.PNG' needs a name that ends in .tif");
    ExpectUsageError({"psf", "-o", "p.jpg"}, "'p.jpg' needs a name that ends in .tif");
}

TEST_F(CommandLine, FileThatLooksLikeAnOption) {
    std::ofstream(folder_.path() / "-a.tif") << "text";
    const ProgramResult result = Run({"info", "-a.tif"});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_TRUE(Contains(result.err, "if the file is meant, write './-a.tif'")) << result.err;
}

TEST_F(CommandLine, ControlCharactersCannotBreakTheLine) {
    ExpectUsageError({"compare", "a.tif", "b.tif", "two\nlines"}, "unexpected argument 'two lines'");
    const ProgramResult result = Run({"compare", "no\nsuch.tif", "b.tif"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(IsOneErrorLine(result.err)) << result.err;
}

TEST_F(CommandLine, QuietStandsBeforeOrBehindTheCommand) {
    const Words simulate = {"simulate", "-o", "d", "--size", "8", "8", "8", "--overwrite"};
    EXPECT_NE(Run(simulate).out, "");
    Words before = simulate;
    before.insert(before.begin(), "--quiet");
    Words behind = simulate;
    behind.push_back("-q");
    for (const Words& words : {before, behind}) {
        const ProgramResult result = Run(words);
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_EQ(result.out + result.err, "");
    }
}

TEST_F(CommandLine, ResultThatCannotBeDeliveredIsAFailure) {
    ProgramSettings settings;
    settings.outputToFullDevice = true;
    for (const Words& words : {Words{"--help"}, Words{"simulate", "-o", "d", "--size", "8", "8", "8"}}) {
        const ProgramResult result = Run(words, settings);
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_TRUE(IsOneErrorLine(result.err)) << result.err;
    }
}

TEST_F(CommandLine, ProgressShowsOnATerminalOnlyAndLeavesNothing) {
    const Words words = {"simulate", "-o", "d", "--size", "64", "64", "64", "--overwrite"};
    EXPECT_EQ(Run(words).err, "");

    ProgramSettings terminal;
    terminal.errorsToTerminal = true;
    terminal.environment = {"TERM=xterm", "NO_COLOR="};
    const std::string shown = Run(words, terminal).err;
    EXPECT_TRUE(Contains(shown, "simulating ["));
    EXPECT_TRUE(Contains(shown, "\033[32m"));
    const std::string cleaned = "\r\033[K";
    ASSERT_GE(shown.size(), cleaned.size());
    EXPECT_EQ(shown.substr(shown.size() - cleaned.size()), cleaned);

    terminal.environment = {"TERM=xterm", "NO_COLOR=1"};
    const std::string plain = Run(words, terminal).err;
    EXPECT_TRUE(Contains(plain, "simulating ["));
    EXPECT_FALSE(Contains(plain, "\033[32m"));

    Words quiet = words;
    quiet.push_back("--quiet");
    EXPECT_EQ(Run(quiet, terminal).err, "");
    terminal.environment = {"TERM=dumb"};
    EXPECT_EQ(Run(words, terminal).err, "");
}

TEST_F(CommandLine, StopLeavesNothingBehind) {
    for (const int kind : {SIGINT, SIGTERM}) {
        RunningProgram program(folder_.path(), {"simulate", "-o", "d", "--size", "320", "320", "96"});
        // The handler stands before the folder is made.
        while (!std::filesystem::exists(folder_.path() / "d")) std::this_thread::yield();
        program.Signal(kind);
        const ProgramResult result = program.Wait();
        EXPECT_EQ(result.exitCode, 3);
        EXPECT_EQ(result.err, "rydecon: error: stopped; nothing was written\n");
        EXPECT_TRUE(folder_.Entries().empty());
    }
}

TEST(StopRequestDeathTest, SecondSignalEndsAtOnce) {
    const auto stopTwice = [] {
        CatchStopSignals();
        std::raise(SIGTERM);
        if (!StopRequested()) std::_Exit(1);
        std::raise(SIGTERM);
        std::_Exit(2);
    };
    EXPECT_EXIT(stopTwice(), ::testing::KilledBySignal(SIGTERM), "");
}

TEST(StopRequestDeathTest, IgnoredSignalsStayIgnored) {
    const auto ignoreOne = [] {
        std::signal(SIGHUP, SIG_IGN);
        CatchStopSignals();
        std::raise(SIGHUP);
        std::_Exit(StopRequested() ? 1 : 0);
    };
    EXPECT_EXIT(ignoreOne(), ::testing::ExitedWithCode(0), "");
}

TEST(ProgressLine, FitsTheTerminal) {
    EXPECT_EQ(ProgressLine("work", 0.5, "0:07", 40), "work [########........]  50 %  0:07 left");
    for (const int columns : {0, 1, 10, 20, 79, 200}) {
        for (const double fraction : {0.0, 0.999, 1.0}) {
            const std::string line = ProgressLine("restoring", fraction, "1:00:00", columns);
            EXPECT_LE(line.size(), static_cast<std::size_t>(columns));
        }
    }
    EXPECT_TRUE(Contains(ProgressLine("work", 0.999, "", 79), " 99 %"));
    EXPECT_TRUE(Contains(ProgressLine("work", 1.0, "", 79), "100 %"));
}

TEST(ProgressLine, ClockReadsAsAClock) {
    EXPECT_EQ(ClockText(std::chrono::seconds(0)), "0:00");
    EXPECT_EQ(ClockText(std::chrono::seconds(59)), "0:59");
    EXPECT_EQ(ClockText(std::chrono::seconds(3599)), "59:59");
    EXPECT_EQ(ClockText(std::chrono::seconds(3661)), "1:01:01");
}

}  // namespace
}  // namespace rydecon
