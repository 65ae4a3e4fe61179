// SPDX-License-Identifier: MIT
// rydecon restore on several images: names, patterns and folders, what is skipped, what is refused.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "support/batch_scene.h"

namespace rydecon {
namespace {

namespace fs = std::filesystem;
using test::FileBytes;
using test::ProgramResult;
using test::RunProgram;
using test::Words;

class Batch : public test::BatchTest {
  protected:
    void ExpectRefused(const Words& words, int exitCode, const std::string& part) const {
        Words all = {"restore", "--psf", "psf.tif"};
        all.insert(all.end(), words.begin(), words.end());
        ExpectRefusal(all, exitCode, part);
        EXPECT_FALSE(fs::exists(In("out")));
    }
};

const Words kAllThree = {"a.tif", "a.tif.json", "b.tif", "b.tif.json", "c.tif", "c.tif.json"};

TEST_F(Batch, NamesPatternsAndFoldersGiveWhatSingleRunsGive) {
    ASSERT_EQ(Run({"in/a.tif", "-o", "single.tif"}).exitCode, 0);
    const Words ways[] = {{"in/a.tif", "in/b.tif", "in/c.tif"}, {"in/[abc].tif"}, {"in/*"}, {"in"}, {"in/"},
                          {"in/a.tif", "in", "in/?.tif"}};
    for (const Words& way : ways) {
        Words words = way;
        words.insert(words.end(), {"-o", "out/deep"});
        const ProgramResult result = Run(words);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(EntriesOf("out/deep"), kAllThree) << way.front();
        EXPECT_EQ(FileBytes(In("out/deep/a.tif")), FileBytes(In("single.tif")));
        EXPECT_TRUE(Tells(TableLine(result, "in/b.tif"), "done  ")) << result.out;
        fs::remove_all(In("out"));
    }
}

TEST_F(Batch, SuffixAndRecursionKeepNames) {
    fs::create_directories(In("in/day 1/empty"));
    WriteImage("in/day 1/a.tif", 5);
    WriteImage("in/day 1/d.ome.tif", 6);
    std::ofstream(In("in/notes.txt")) << "no image";
    std::ofstream(In("in/.hidden.tif")) << "no image";
    ASSERT_EQ(Run({"in", "-o", "flat", "--suffix", "_r"}).exitCode, 0);
    EXPECT_EQ(EntriesOf("flat"),
              (Words{"a_r.tif", "a_r.tif.json", "b_r.tif", "b_r.tif.json", "c_r.tif", "c_r.tif.json"}));
    ASSERT_EQ(Run({"in", "-o", "tree", "--recursive", "--suffix", "_r", "--no-sidecar"}).exitCode, 0);
    EXPECT_EQ(EntriesOf("tree"),
              (Words{"a_r.tif", "b_r.tif", "c_r.tif", "day 1/a_r.tif", "day 1/d_r.ome.tif"}));
}

TEST_F(Batch, OutputsBelowTheInputsAreNoImages) {
    for (int run = 0; run < 2; ++run) {
        const ProgramResult result =
            Run({"in", "-o", "in/out", "--recursive", "--no-sidecar", "--overwrite"});
        EXPECT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(EntriesOf("in"), (Words{"a.tif", "b.tif", "c.tif", "out/a.tif", "out/b.tif", "out/c.tif"}));
    }
}

TEST_F(Batch, EachImageGetsTheSettingsOfTheCommandLine) {
    const Words words = {"restore",  "in/a.tif", "in/b.tif", "--psf",        "psf.tif", "-o", "out",
                         "--method", "blind",    "--guard",  "0.8",          "--inner", "10", "--pixel",
                         "0.1",      "--z-step", "300nm",    "--iterations", "10"};
    const ProgramResult result = RunProgram(folder_.path(), words);
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const auto record = nlohmann::json::parse(FileBytes(In("out/b.tif.json")));
    EXPECT_EQ(record["settings"]["guard"], "0.8");
    EXPECT_EQ(record["settings"]["inner"], 10);
    EXPECT_NEAR(record["inputs"]["image"]["voxel_um"]["z"].get<double>(), 0.3, 1e-9);
}

TEST_F(Batch, OneImageWithAnOptionForSeveralGoesToAFolder) {
    ASSERT_EQ(Run({"in/a.tif", "-o", "out", "--jobs", "2"}).exitCode, 0);
    EXPECT_EQ(EntriesOf("out"), (Words{"a.tif", "a.tif.json"}));
}

TEST_F(Batch, ANameThatExistsIsNoPattern) {
    WriteImage("in/x[ab].tif", 1);
    ASSERT_EQ(Run({"in/x[ab].tif", "-o", "one.tif"}).exitCode, 0);
    EXPECT_TRUE(fs::is_regular_file(In("one.tif")));
}

TEST_F(Batch, GoesOnAfterABadFileAndTellsAtTheEnd) {
    const std::string whole = FileBytes(In("in/a.tif"));
    std::ofstream(In("in/b.tif"), std::ios::binary) << whole.substr(0, whole.size() / 2);
    for (const char* jobs : {"1", "3"}) {
        const ProgramResult result = Run({"in", "-o", "out", "--jobs", jobs, "--overwrite"});
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_EQ(EntriesOf("out"), (Words{"a.tif", "a.tif.json", "c.tif", "c.tif.json"}));
        EXPECT_TRUE(Tells(result.err, "rydecon: error: cannot read 'in/b.tif': the file is truncated"));
        EXPECT_TRUE(Tells(result.err, "rydecon: error: 1 of 3 images could not be restored\n")) << result.err;
        EXPECT_TRUE(Tells(TableLine(result, "in/a.tif"), "done    3 ")) << result.out;
        EXPECT_TRUE(Tells(TableLine(result, "in/b.tif"), "failed")) << result.out;
        EXPECT_TRUE(Tells(TableLine(result, "in/b.tif"), "the file is truncated")) << result.out;
    }
}

TEST_F(Batch, QuietLeavesErrorsOnly) {
    EXPECT_EQ(Run({"in", "-o", "out", "-q"}).out, "");
    fs::remove_all(In("out"));
    std::ofstream(In("in/b.tif")) << "no image";
    const ProgramResult result = Run({"in", "-o", "out", "-q"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 2) << result.err;
}

TEST_F(Batch, LinesOfOneImageStandTogether) {
    const ProgramResult result = Run({"in", "-o", "out", "--jobs", "3", "--truth", "in/c.tif"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    std::istringstream lines(result.out);
    std::string line;
    for (int image = 0; image < 3; ++image) {
        for (int n = 0; n <= 3; ++n) {
            ASSERT_TRUE(std::getline(lines, line));
            const std::string begin = n < 3 ? "iteration " + std::to_string(n + 1) + " rmse " : "out/";
            EXPECT_EQ(line.rfind(begin, 0), 0U) << result.out;
        }
    }
}

TEST_F(Batch, ProcessesShareTheThreads) {
    test::ProgramSettings four;
    four.environment = {"OMP_NUM_THREADS=4"};
    const auto threads = [&](const char* jobs) {
        const ProgramResult result = RunProgram(folder_.path(),
                                                {"restore", "in", "--psf", "psf.tif", "-o", "out",
                                                 "--iterations", "1", "--overwrite", "--jobs", jobs},
                                                four);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        return nlohmann::json::parse(FileBytes(In("out/b.tif.json")))["threads"].get<int>();
    };
    EXPECT_EQ(threads("1"), 4);
    EXPECT_EQ(threads("2"), 2);
    EXPECT_EQ(threads("3"), 1);
    EXPECT_EQ(threads("1000"), 1);
}

// ---------------------------------------------------------------------------------------- done already

TEST_F(Batch, WhatIsDoneIsLeftAlone) {
    ASSERT_EQ(Run({"in/a.tif", "in/c.tif", "-o", "out"}).exitCode, 0);
    const auto time = fs::last_write_time(In("out/a.tif"));
    fs::last_write_time(In("in/a.tif"), fs::file_time_type::clock::now());  // touched, not changed
    const ProgramResult result = Run({"in", "-o", "out", "--regularization", "1"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_TRUE(Tells(TableLine(result, "in/a.tif"), "already done  3")) << result.out;
    EXPECT_TRUE(Tells(TableLine(result, "in/b.tif"), "done          3")) << result.out;
    EXPECT_TRUE(Tells(result.out, "out/a.tif: already restored with these settings\n"));
    EXPECT_EQ(fs::last_write_time(In("out/a.tif")), time);

    EXPECT_EQ(Run({"in", "-o", "out", "--overwrite"}).exitCode, 0);
    EXPECT_NE(fs::last_write_time(In("out/a.tif")), time);
}

TEST_F(Batch, OutputsOfOtherSettingsAreRefusedOneByOne) {
    ASSERT_EQ(Run({"in", "-o", "out"}).exitCode, 0);
    WriteImage("in/a.tif", 77);                                       // another image
    std::ofstream(In("out/b.tif"), std::ios::app) << "edited since";  // another output
    fs::remove(In("out/c.tif.json"));                                 // no record
    WriteImage("in/d.tif", 9);
    const ProgramResult result = Run({"in", "-o", "out"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(Tells(TableLine(result, "in/a.tif"), "made with other settings or from other files"))
        << result.out;
    EXPECT_TRUE(Tells(TableLine(result, "in/b.tif"), "was changed since it was made")) << result.out;
    EXPECT_TRUE(Tells(TableLine(result, "in/c.tif"), "no record tells what made it")) << result.out;
    EXPECT_TRUE(Tells(TableLine(result, "in/d.tif"), "done")) << result.out;
    EXPECT_TRUE(Tells(result.err, "3 of 4 images could not be restored"));
    EXPECT_EQ(Run({"in", "-o", "out", "--iterations=4"}).exitCode, 2) << "an option given twice";
    EXPECT_EQ(Run({"in", "-o", "out", "--overwrite"}).exitCode, 0);
    EXPECT_EQ(Run({"in", "-o", "out"}).exitCode, 0);
}

TEST_F(Batch, ResultsInTheSameFolderAreNoImages) {
    for (int run = 0; run < 2; ++run) {
        const ProgramResult result = Run({"in", "-o", "in", "--suffix", "_r"});
        EXPECT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(EntriesOf("in").size(), 9U);
        EXPECT_EQ(Tells(result.err, "note: 'in': 3 files are results of restore"), run == 1) << result.err;
    }
}

// ---------------------------------------------------------------------------------------- refusals

TEST_F(Batch, InputsThatAreNotThere) {
    fs::create_directory(In("empty"));
    fs::create_directories(In("nested/in"));
    WriteImage("nested/in/a.tif", 1);
    ExpectRefused({"empty", "-o", "out"}, 1, "cannot read 'empty': it is a folder without images");
    ExpectRefused({"nested", "-o", "out"}, 1, "--recursive looks into the folders in it");
    ExpectRefused({"in/*.lsm", "-o", "out"}, 1, "cannot read 'in/*.lsm': no file matches this pattern");
    ExpectRefused({"in/a.tif", "in/none.tif", "-o", "out"}, 1,
                  "cannot read 'in/none.tif': there is no such file");
    ExpectRefusal({"restore", "in", "--psf", "none.tif", "-o", "out"}, 1,
                  "cannot read 'none.tif': there is no such");
}

TEST_F(Batch, OutputsThatMeetOneAnotherOrAnInput) {
    fs::create_directory(In("other"));
    WriteImage("other/a.tif", 3);
    ExpectRefused({"in/a.tif", "other/a.tif", "-o", "out"}, 1,
                  "cannot write 'out/a.tif': it would be the result of both 'in/a.tif' and 'other/a.tif'");
    ExpectRefused({"in", "-o", "in"}, 1, "cannot write 'in/a.tif': it is an input of this command");
    ExpectRefused({"in", "-o", "in/../in", "--overwrite"}, 1, "it is an input of this command");
    WriteImage("in/psf.tif", 3);
    ExpectRefused({"in", "-o", "."}, 1, "cannot write './psf.tif': it is an input of this command");
}

TEST_F(Batch, FoldersThatCannotBeWritten) {
    std::ofstream(In("file")) << "in the way";
    ExpectRefused({"in", "-o", "file"}, 1, "cannot make the folder 'file': 'file' is a file");
    ExpectRefused({"in", "-o", "file/out"}, 1, "cannot make the folder 'file/out': 'file' is a file");
    ExpectRefused({"in", "-o", "/proc/out"}, 1, "cannot make the folder '/proc/out': ");
}

TEST_F(Batch, OptionsThatMakeNoSense) {
    ExpectRefused({"in", "-o", "out", "--jobs", "0"}, 2,
                  "--jobs is 0; a whole number from 1 to 1024 is needed");
    ExpectRefused({"in", "-o", "out", "--jobs", "-1"}, 2, "--jobs");
    ExpectRefused({"in", "-o", "out", "--suffix", "a/b"}, 2, "--suffix");
    ExpectRefused({"in"}, 2, "option --output OUT.tif is missing");
    ExpectRefused({"-o", "out", "--jobs", "2"}, 2, "argument image (IN.tif) is missing");
    ExpectRefused({"in", "-o", "out", "--method", "magic"}, 2, "--method 'magic' does not exist");
    ExpectRefused({"in", "-o", "out", "--noise", "2"}, 2, "--noise means nothing to --method accelerated");
    ExpectRefused({"in", "-o", "out", "--regularization", "0.5"}, 2,
                  "--regularization of method accelerated");
    ExpectRefused({"in", "-o", "out", "--method", "tv", "--checkpoint", "run.ckpt"}, 2,
                  "--checkpoint names one file for several images");
}

}  // namespace
}  // namespace rydecon
