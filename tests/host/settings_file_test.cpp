// SPDX-License-Identifier: MIT
// --config and --print-config: settings from a file, what wins over them, and what is refused with its line.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "support/restore_scene.h"

namespace rydecon {
namespace {

using test::GaussianPsf;
using test::MakeStack;
using test::ProgramResult;
using test::RunProgram;
using test::Words;

class SettingsFile : public test::RestoreTest {
  protected:
    void SetUp() override {
        Write("in.tif", MakeStack(13, 11, 7, [](int i, int j, int k) { return 10 + i + j * k; }));
        Write("psf.tif", GaussianPsf());
    }
    void WriteSettings(const std::string& text) const { std::ofstream(In("my.ini")) << text; }

    /// Restores with the file and more, and expects the summary to tell of `part`.
    void ExpectRun(const Words& more, const std::string& part) const {
        Words words = {"restore", "in.tif", "-o", "out.tif", "--overwrite", "--config", "my.ini"};
        words.insert(words.end(), more.begin(), more.end());
        const ProgramResult result = RunProgram(folder_.path(), words);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        EXPECT_NE(result.out.find(part), std::string::npos) << result.out << "lacks: " << part;
    }
    void ExpectRefused(const std::string& text, const std::string& part) const {
        WriteSettings(text);
        ExpectRefusal({"restore", "in.tif", "--psf", "psf.tif", "-o", "out.tif", "--config", "my.ini"}, 2,
                      part);
    }
};

TEST_F(SettingsFile, GivesWhatTheCommandLineLeavesOpen) {
    WriteSettings(
        "# for the left microscope\n\nmethod = lucy-richardson\n  iterations=4  # few\npsf = 'psf.tif'\n");
    ExpectRun({}, "method lucy-richardson, 4 iterations");
}

TEST_F(SettingsFile, QuotedTextIsTakenAsItStands) {
    for (const char* name : {"my psf, #2.tif", "it's.tif", "[1].tif", "a=b ;.tif"}) {
        std::filesystem::copy_file(In("psf.tif"), In(name));
        WriteSettings("\xEF\xBB\xBFiterations = 2\r\npsf = \"" + std::string(name) +
                      "\"  # quoted\r\n; also a comment\r\n");
        ExpectRun({}, "2 iterations");
    }
}

TEST_F(SettingsFile, CommandLineWinsAndSilencesWhatItExcludes) {
    WriteSettings("psf = \"none.tif\"\niterations = 4\nmethod = lucy-richardson\n");
    ExpectRun({"--psf", "psf.tif", "--iterations", "3"}, "lucy-richardson, 3 iterations");
    WriteSettings("na = 1.2\nmodality = widefield\niterations = 4\n");
    ExpectRun({"--psf", "psf.tif"}, "4 iterations");
}

TEST_F(SettingsFile, MayGiveImageOutputAndQuiet) {
    WriteSettings("image = in.tif\noutput = other.tif\npsf = psf.tif\niterations = 1\nquiet = true\n");
    const ProgramResult result = RunProgram(folder_.path(), {"restore", "--config", "my.ini"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.out, "");
    EXPECT_TRUE(std::filesystem::exists(In("other.tif")));
}

TEST_F(SettingsFile, SectionsCountForTheirCommand) {
    WriteSettings(
        "[psf]\nna = 99\n[restore]\npsf = psf.tif\nmethod = lucy-richardson\niterations = "
        "2\n[simulate]\nseed = 3\n");
    ExpectRun({}, "2 iterations");
    WriteSettings(
        "[simulate]\nsize = [16, 12,\n  8]  # a list over two lines\nphotons = 50\n[restore]\nna = 3\n");
    const ProgramResult simulated =
        RunProgram(folder_.path(), {"simulate", "-o", "made", "--config", "my.ini"});
    EXPECT_EQ(simulated.exitCode, 0) << simulated.err;
    EXPECT_EQ(test::ReadStack(In("made/blurred.tif")).header.width, 16);
    WriteSettings(
        "[psf]\nmodality = widefield\nna = 1.2\nri = 1.33\nemission = 520nm\npixel = 0.1\nz-step = 0.3\n");
    EXPECT_EQ(RunProgram(folder_.path(), {"psf", "-o", "made.tif", "--config", "my.ini"}).exitCode, 0);
}

TEST_F(SettingsFile, FlagsAreTrueOrFalse) {
    WriteSettings("psf = psf.tif\niterations = 60\nno-auto-stop = true\n");
    ExpectRun({}, "60 iterations (the limit)");
    // A flag that is off is one that was not given: wiener does not read it.
    WriteSettings("psf = psf.tif\nno-auto-stop = false\nmethod = wiener\n");
    ExpectRun({}, "method wiener");
}

TEST_F(SettingsFile, RefusalsNameFileLineAndKey) {
    ExpectRefused("\niteration = 5\n",
                  "'my.ini', line 2: unknown key 'iteration' (did you mean 'iterations'?)");
    ExpectRefused("iterations = many\n",
                  "'my.ini', line 1: --iterations is 'many'; a whole number from 0 to 100000 is needed");
    ExpectRefused("[psf]\nna=1\n[restore]\niterations = -1\n", "'my.ini', line 4: --iterations");
    ExpectRefused("iterations = 5 6\n", "line 1: --iterations is given more than once");
    ExpectRefused("iterations = 5\niterations = 6\n", "line 2: key 'iterations' stands there twice");
    ExpectRefused("no-auto-stop = maybe\n", "line 1: key 'no-auto-stop' cannot be 'maybe'");
    ExpectRefused("iterations =\n", "line 1: a line 'option = value' is needed");
    ExpectRefused("x\n", "line 1: a line 'option = value' is needed");
    ExpectRefused("iterations\n", "line 1: a line 'option = value' is needed, not 'iterations'");
    ExpectRefused("{\"iterations\": 3}\n", "line 1: a line 'option = value' is needed, not '{");
    ExpectRefused(std::string(5000, 'x') + "\n", "needed, not '" + std::string(60, 'x') + " ...'");
    ExpectRefused("method = \"wiener\n", "line 1: a quote is not closed");
    ExpectRefused("[restor]\n", "line 1: there is no command 'restor'");
    ExpectRefused("config = other.ini\n", "line 1: key 'config' cannot stand in a file");
    ExpectRefused("jobs = 3\n", "line 1: key 'jobs' cannot stand in a file");
}

TEST_F(SettingsFile, ValuesThatOnlyTheRunRefusesAreNamedToo) {
    ExpectRefused("\nmethod = magic\n", "'my.ini', line 2: --method 'magic' does not exist");
    ExpectRefused("regularization = 0.5\n",
                  "'my.ini', line 1: --regularization of method accelerated is 0.5");
    ExpectRefused("noise = 2\n", "'my.ini', line 1: --noise means nothing to --method accelerated");
    ExpectRefused("method = rltm\ntiles = 3by2\n", "'my.ini', line 2: --tiles");
}

TEST_F(SettingsFile, FilesThatCannotBeRead) {
    const Words plain = {"restore", "in.tif", "--psf", "psf.tif", "-o", "out.tif", "--config"};
    const std::pair<const char*, const char*> files[] = {
        {"none.ini", "cannot read 'none.ini': there is no such file"},
        {".", "cannot read '.': it is a folder"},
        {"pipe", "cannot read 'pipe': it is no regular file"},
        {"in.tif", "cannot read 'in.tif': it is no plain text"}};
    ASSERT_EQ(mkfifo(In("pipe").c_str(), 0600), 0);
    for (const auto& [file, part] : files) {
        Words words = plain;
        words.emplace_back(file);
        ExpectRefusal(words, 1, part);
    }
}

TEST_F(SettingsFile, PrintedSettingsAreAFileOfSettings) {
    WriteSettings("method = blind\nguard = 0.8\niterations = 9\n");
    const ProgramResult printed = RunProgram(folder_.path(), {"restore", "--config", "my.ini", "--iterations",
                                                              "6", "--psf", "psf.tif", "--print-config"});
    EXPECT_EQ(printed.exitCode, 0) << printed.err;
    EXPECT_EQ(printed.out, "[restore]\npsf=\"psf.tif\"\nmethod=\"blind\"\niterations=6\nguard=0.8\n");
    WriteSettings(printed.out);
    ExpectRun({}, "method blind, 6 sweeps");
    ExpectRefusal({"restore", "--iterations", "many", "--print-config"}, 2, "--iterations");
}

}  // namespace
}  // namespace rydecon
