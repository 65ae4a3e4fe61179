// SPDX-License-Identifier: MIT
// rydecon restore --manifest: tables of images, their settings, and what is refused with its line.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <nlohmann/json.hpp>

#include "support/batch_scene.h"

namespace rydecon {
namespace {

using test::FileBytes;
using test::ProgramResult;
using test::RunProgram;
using test::Words;

class Manifest : public test::BatchTest {
  protected:
    void WriteManifest(const std::string& name, const std::string& text) const {
        std::ofstream(In(name), std::ios::binary) << text;
    }
    ProgramResult RunManifest(const std::string& name, const Words& more = {}) const {
        Words words = {"restore", "--psf", "psf.tif", "--manifest", name};
        words.insert(words.end(), more.begin(), more.end());
        return RunProgram(folder_.path(), words);
    }
    nlohmann::json SettingsOf(const std::string& output) const {
        return nlohmann::json::parse(FileBytes(In(output + ".json")))["settings"];
    }
    void ExpectRefused(const std::string& text, int exitCode, const std::string& part,
                       const std::string& name = "list.tsv") const {
        WriteManifest(name, text);
        ExpectRefusal({"restore", "--psf", "psf.tif", "--manifest", name}, exitCode, part);
        EXPECT_FALSE(std::filesystem::exists(In("out")));
    }
};

TEST_F(Manifest, CellsWinOverTheCommandLineAndEmptyOnesLeaveIt) {
    WriteManifest("list.tsv",
                  "# which is which\nimage\toutput\titerations\tmethod\tno-auto-stop\n"
                  "in/a.tif\tout/x.tif\t2\t\ttrue\n"
                  "\n"
                  "in/b.tif\tout/y/b.tif\t\tlucy-richardson\t\n"
                  "in/b.tif\tout/z.tif\t\t\tfalse\n");
    const ProgramResult result = RunManifest("list.tsv", {"--iterations", "3", "--jobs", "2"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(SettingsOf("out/x.tif")["iterations"], 2);
    EXPECT_EQ(SettingsOf("out/x.tif")["method"], "accelerated");
    EXPECT_EQ(SettingsOf("out/x.tif")["no-auto-stop"], true);
    EXPECT_EQ(SettingsOf("out/y/b.tif")["iterations"], 3);
    EXPECT_EQ(SettingsOf("out/y/b.tif")["method"], "lucy-richardson");
    EXPECT_EQ(SettingsOf("out/z.tif")["no-auto-stop"], false);
}

TEST_F(Manifest, CellsSilenceWhatTheyExclude) {
    WriteManifest("list.csv", "image,output,na\nin/a.tif,out/a.tif,0.8\nin/b.tif,out/b.tif,\n");
    const ProgramResult result = RunManifest("list.csv", {"--iterations", "1"});
    EXPECT_EQ(result.exitCode, 1) << "without its PSF file the first lacks the rest of the optics";
    EXPECT_TRUE(Tells(TableLine(result, "in/a.tif"), "the PSF cannot be computed without --modality"))
        << result.out;
    EXPECT_TRUE(Tells(TableLine(result, "in/b.tif"), "done")) << result.out;
}

TEST_F(Manifest, QuotedCellsOfCsvHoldCommasQuotesAndBlanks) {
    WriteImage("in/a, \"b\".tif", 4);
    WriteManifest("list.csv",
                  "\xEF\xBB\xBFimage,output , psf-out,method\r\n"
                  "\"in/a, \"\"b\"\".tif\", out/a 1.tif,out/psf.tif,blind\r\n");
    const ProgramResult result = RunManifest("list.csv", {"--iterations", "2"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(EntriesOf("out"), (Words{"a 1.tif", "a 1.tif.json", "psf.tif"}));
}

TEST_F(Manifest, OutputsAreRelativeToTheFolderGiven) {
    WriteManifest("list.tsv", "output\timage\na.tif\tin/a.tif\n");
    EXPECT_EQ(RunManifest("list.tsv", {"-o", "out/deep", "--iterations", "1"}).exitCode, 0);
    EXPECT_EQ(EntriesOf("out"), (Words{"deep/a.tif", "deep/a.tif.json"}));
}

TEST_F(Manifest, SettingsMayComeFromAFileToo) {
    WriteManifest("list.tsv", "image\toutput\titerations\nin/a.tif\tout/a.tif\t\nin/b.tif\tout/b.tif\t5\n");
    std::ofstream(In("my.ini")) << "method = lucy-richardson\niterations = 2\n";
    EXPECT_EQ(RunManifest("list.tsv", {"--config", "my.ini"}).exitCode, 0);
    EXPECT_EQ(SettingsOf("out/a.tif")["iterations"], 2);
    EXPECT_EQ(SettingsOf("out/b.tif")["iterations"], 5);
    EXPECT_EQ(SettingsOf("out/b.tif")["method"], "lucy-richardson");
}

TEST_F(Manifest, ColumnsThatMakeNoSense) {
    ExpectRefused(
        "image\toutput\titeration\nin/a.tif\tout/a.tif\t3\n", 2,
        "'list.tsv': unknown column 'iteration' (did you mean 'iterations'?); columns, parted by tabs");
    ExpectRefused("image\toutput\tjobs\nin/a.tif\tout/a.tif\t3\n", 2, "unknown column 'jobs'");
    ExpectRefused("image\titerations\nin/a.tif\t3\n", 2, "a column 'output' is needed");
    ExpectRefused("image\toutput\timage\nin/a.tif\tout/a.tif\tin/b.tif\n", 2,
                  "column 'image' stands there twice");
    ExpectRefused("", 2, "a column 'image' is needed");
    ExpectRefused("image\toutput\n", 2, "it has no rows below its header");
}

TEST_F(Manifest, CellsThatMakeNoSense) {
    const std::string head = "image\toutput\titerations\tno-auto-stop\nin/a.tif\tout/a.tif\t3\t\n";
    ExpectRefused(head + "in/b.tif\tout/b.tif\n", 2,
                  "'list.tsv', line 3: the row has 2 cells, the header has 4");
    ExpectRefused(head + "in/b.tif\tout/b.tif\t3\t\t\n", 2, "line 3: the row has 5 cells");
    ExpectRefused(head + "in/b.tif\t \t3\t\n", 2, "'list.tsv', line 3: the cell of column 'output' is empty");
    ExpectRefused(head + "\tout/b.tif\t3\t\n", 2, "line 3: the cell of column 'image' is empty");
    ExpectRefused(head + "in/b.tif\tout/b.tif\tmany\t\n", 2,
                  "'list.tsv', line 3: --iterations is 'many'; a whole number");
    ExpectRefused(head + "in/b.tif\tout/b.tif\t3\tmaybe\n", 2,
                  "line 3: column no-auto-stop cannot be 'maybe'");
    ExpectRefused("image,output\n\"in/a.tif,out/a.tif\n", 2, "'list.csv', line 2: a quote is not closed",
                  "list.csv");
    ExpectRefused("image\toutput\tmethod\nin/a.tif\tout/a.tif\tmagic\n", 2,
                  "'list.tsv', line 2: --method 'magic' does not exist");
    ExpectRefused("image\toutput\tregularization\nin/a.tif\tout/a.tif\t0.5\n", 2,
                  "'list.tsv', line 2: --regularization of method accelerated is 0.5");
}

TEST_F(Manifest, FilesThatAreMissingOrMeet) {
    ExpectRefused("image\toutput\nin/a.tif\tout/a.tif\nin/none.tif\tout/b.tif\n", 1,
                  "'list.tsv', line 3: cannot read 'in/none.tif': there is no such file");
    ExpectRefused("image\toutput\ttruth\nin/a.tif\tout/a.tif\tnone.tif\n", 1,
                  "'list.tsv', line 2: cannot read 'none.tif': there is no such file");
    ExpectRefused(
        "image\toutput\nin/a.tif\tout/a.tif\nin/b.tif\tout/./a.tif\n", 1,
        "line 3: cannot write 'out/./a.tif': it would be the result of both 'in/a.tif' and 'in/b.tif'");
    ExpectRefused("image\toutput\nin/a.tif\tout/a.tif\nin/b.tif\tin/a.tif\n", 1,
                  "line 3: cannot write 'in/a.tif': it is an input of this command");
    ExpectRefused(
        "image\toutput\tmethod\tpsf-out\nin/a.tif\tout/a.tif\tblind\tout/p.tif\n"
        "in/b.tif\tout/b.tif\tblind\tout/p.tif\n",
        1, "line 3: cannot write 'out/p.tif': it would be the result of both");
}

TEST_F(Manifest, ManifestsThatAreNone) {
    ExpectRefusal({"restore", "--psf", "psf.tif", "--manifest", "none.tsv"}, 1,
                  "cannot read 'none.tsv': there is no such file");
    ASSERT_EQ(mkfifo(In("pipe.tsv").c_str(), 0600), 0);
    ExpectRefusal({"restore", "--psf", "psf.tif", "--manifest", "pipe.tsv"}, 1,
                  "cannot read 'pipe.tsv': it is no regular file");
    std::filesystem::remove(In("pipe.tsv"));
    ExpectRefused(std::string("i\0m\0", 4), 2,
                  "cannot read 'list.tsv': it is no plain text; save the table in UTF-8");
    ExpectRefused("image;output\nin/a.tif;out/a.tif\n", 2, "columns, parted by commas, are", "list.csv");
    ExpectRefused("image\toutput\n", 2, "a manifest is called NAME.tsv or NAME.csv", "list.txt");
    WriteManifest("list.tsv", "image\toutput\nin/a.tif\tout/a.tif\n");
    ExpectRefusal({"restore", "in/a.tif", "--psf", "psf.tif", "--manifest", "list.tsv"}, 2,
                  "image means nothing beside --manifest");
    ExpectRefusal({"restore", "--suffix", "_r", "--psf", "psf.tif", "--manifest", "list.tsv"}, 2,
                  "--suffix means nothing beside --manifest");
}

}  // namespace
}  // namespace rydecon
