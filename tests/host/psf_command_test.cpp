// SPDX-License-Identifier: MIT
// rydecon psf: what it writes and prints, and what it refuses.

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include "support/program_run.h"
#include "support/stack_files.h"

namespace rydecon {
namespace {

namespace fs = std::filesystem;
using test::IsOneErrorLine;
using test::MakeStack;
using test::ProgramResult;
using test::ProgramSettings;
using test::ReadStack;
using test::RunningProgram;
using test::RunProgram;
using test::Stack;
using test::TemporaryFolder;
using test::WriteStack;
using Words = std::vector<std::string>;

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

class PsfCommand : public ::testing::Test {
  protected:
    ProgramResult Run(Words words) {
        words.insert(words.begin(), "psf");
        words.insert(words.end(), {"-o", "psf.tif"});
        return RunProgram(folder_.path(), words);
    }
    /// The usual options, then `more`.
    ProgramResult RunUsual(const Words& more) {
        Words words = usual_;
        words.insert(words.end(), more.begin(), more.end());
        return Run(words);
    }
    /// The usual options with one of them changed.
    ProgramResult RunChanged(const std::string& option, const std::string& value) {
        Words words = usual_;
        for (std::size_t n = 0; n + 1 < words.size(); ++n) {
            if (words[n] == option) words[n + 1] = value;
        }
        return Run(words);
    }
    void ExpectRefusal(const ProgramResult& result, int exitCode, const std::string& part) {
        EXPECT_EQ(result.exitCode, exitCode) << result.err;
        EXPECT_TRUE(IsOneErrorLine(result.err)) << result.err;
        EXPECT_TRUE(Contains(result.err, part)) << result.err;
        EXPECT_FALSE(fs::exists(folder_.path() / "psf.tif"));
    }
    Stack Psf() const { return ReadStack(folder_.path() / "psf.tif"); }

    TemporaryFolder folder_;
    const Words usual_ = {"--modality", "widefield", "--na",    "0.9",  "--ri",     "1.33",
                          "--emission", "520nm",     "--pixel", "0.13", "--z-step", "300nm"};
};

TEST_F(PsfCommand, WritesACentredPsfOfSumOneWithItsPitches) {
    for (const Words& size : {Words{}, Words{"--size", "40", "31", "16"}}) {
        Words more = size;
        more.push_back("--overwrite");
        const ProgramResult result = RunUsual(more);
        ASSERT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(result.err, "");
        const Stack psf = Psf();
        const StackHeader& header = psf.header;
        EXPECT_EQ(header.sampleType, SampleType::Float32);
        EXPECT_NEAR(header.voxel.x.value(), 0.13, 1e-9);
        EXPECT_NEAR(header.voxel.y.value(), 0.13, 1e-9);
        EXPECT_NEAR(header.voxel.z.value(), 0.3, 1e-9);
        EXPECT_NEAR(psf.Sum(), 1.0, 1e-5);
        const float peak = psf.At(header.width / 2, header.height / 2, header.planes() / 2);
        for (const float sample : psf.samples) EXPECT_LE(sample, peak);
    }
    EXPECT_EQ(Psf().header.width, 40);
    EXPECT_EQ(Psf().header.height, 31);
    EXPECT_EQ(Psf().header.planes(), 16);
}

TEST_F(PsfCommand, PrintsRecordExtentsAndWidths) {
    const ProgramResult result = RunUsual({});
    for (const char* part :
         {"widefield", "numerical aperture           0.9", "refractive index             1.33",
          "emission wavelength          0.52 um", "pixel size                   0.13 um",
          "distance of planes           0.3 um", "--na", "recommended size", "full width at half max in x",
          "full width at half max in z", "theory"}) {
        EXPECT_TRUE(Contains(result.out, part)) << part << "\n" << result.out;
    }
    const ProgramResult quiet = RunUsual({"--quiet", "--overwrite"});
    EXPECT_EQ(quiet.out + quiet.err, "");
}

TEST_F(PsfCommand, EveryModalityAndModelWorks) {
    for (const char* modality : {"widefield", "confocal", "two-photon", "widefield-coarse", "confocal-1um"}) {
        for (const char* model : {"layered", "fast"}) {
            const ProgramResult result =
                Run({"--modality", modality, "--model",         model,   "--na",    "0.9", "--ri",     "1.33",
                     "--emission", "520nm",  "--excitation",    "488nm", "--pixel", "0.1", "--z-step", "0.3",
                     "--pinhole",  "50um",   "--magnification", "60",    "--size",  "24",  "24",       "9",
                     "--overwrite"});
            ASSERT_EQ(result.exitCode, 0) << modality << model << result.err;
            EXPECT_NEAR(Psf().Sum(), 1.0, 1e-5) << modality << model;
        }
    }
}

TEST_F(PsfCommand, RefusesNumbersThatMakeNoSense) {
    ExpectRefusal(RunChanged("--na", "1.33"), 2, "--na 1.33 must be below --ri 1.33");
    ExpectRefusal(RunChanged("--na", "1.5"), 2, "must be below");
    ExpectRefusal(RunChanged("--na", "0"), 2, "--na");
    ExpectRefusal(RunChanged("--na", "nan"), 2, "--na");
    ExpectRefusal(RunChanged("--ri", "0.5"), 2, "--ri");
    ExpectRefusal(RunChanged("--emission", "199nm"), 2, "200 to 2000 nm");
    ExpectRefusal(RunChanged("--emission", "2001nm"), 2, "200 to 2000 nm");
    ExpectRefusal(RunChanged("--emission", "520"), 2, "write 520nm");
    ExpectRefusal(RunChanged("--emission", "green"), 2, "--emission");
    ExpectRefusal(RunChanged("--pixel", "0"), 2, "--pixel");
    ExpectRefusal(RunChanged("--pixel", "-0.1"), 2, "--pixel");
    ExpectRefusal(RunChanged("--z-step", "0nm"), 2, "--z-step");
    ExpectRefusal(RunChanged("--pixel", "1e-5"), 1, "above the limit");
    ExpectRefusal(RunChanged("--modality", "wide"), 2, "the modalities are: widefield, confocal");
    ExpectRefusal(RunUsual({"--model", "slow"}), 2, "the models are: layered, fast");
    ExpectRefusal(RunUsual({"--depth", "-1", "--sample-ri", "1.4"}), 2, "--depth");
    ExpectRefusal(RunUsual({"--size", "0", "8", "8"}), 2, "--size");
}

TEST_F(PsfCommand, AsksForAllThatIsMissingAtOnce) {
    ExpectRefusal(Run({}), 2, "--modality, --na, --ri, --pixel and --z-step");
    ExpectRefusal(Run({"--modality", "confocal", "--na", "0.9", "--pixel", "0.1"}), 2,
                  "--ri, --emission, --excitation, --z-step, --pinhole and --magnification");
    ExpectRefusal(RunUsual({"--depth", "3"}), 2, "without --sample-ri:");
}

TEST_F(PsfCommand, NotesWhatIsNotRead) {
    const ProgramResult result = RunUsual({"--pinhole", "50"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_TRUE(Contains(result.err, "note: --pinhole means nothing to --modality widefield")) << result.err;
}

TEST_F(PsfCommand, TakesSidesAndPitchesOfAStack) {
    WriteStack(folder_.path() / "in.tif",
               MakeStack(20, 18, 7, [](int, int, int) { return 1.0; }, {0.11, 0.11, 0.25}));
    const ProgramResult result = Run({"--modality", "widefield", "--na", "0.9", "--ri", "1.33", "--emission",
                                      "520nm", "--z-step", "0.4", "--for", "in.tif"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const StackHeader header = Psf().header;
    EXPECT_EQ(header.width, 20);
    EXPECT_EQ(header.height, 18);
    EXPECT_EQ(header.planes(), 7);
    EXPECT_NEAR(header.voxel.x.value(), 0.11, 1e-9);
    EXPECT_NEAR(header.voxel.z.value(), 0.4, 1e-9);
    EXPECT_TRUE(Contains(result.out, "ImageJ metadata")) << result.out;
    EXPECT_EQ(Run({"--size", "8", "8", "8", "--for", "in.tif", "--overwrite"}).exitCode, 2);
}

/// Needs no distance of planes, and is the plane that a stack has in its middle.
TEST_F(PsfCommand, WritesTheFocalPlaneAlone) {
    ASSERT_EQ(RunUsual({"--size", "31", "31", "9"}).exitCode, 0);
    const Stack stack = Psf();
    Words words(usual_.begin(), usual_.end() - 2);
    words.insert(words.end(), {"--plane", "--size", "31", "31", "9", "--overwrite"});
    const ProgramResult result = Run(words);
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const Stack plane = Psf();
    ASSERT_EQ(plane.header.planes(), 1);
    EXPECT_FALSE(plane.header.voxel.z.has_value());
    EXPECT_FALSE(Contains(result.out, "half max in z")) << result.out;
    EXPECT_NEAR(plane.Sum(), 1.0, 1e-5);
    const double scale = plane.At(15, 15, 0) / stack.At(15, 15, 4);
    for (int i = 0; i < 31; ++i) EXPECT_NEAR(plane.At(i, 15, 0), scale * stack.At(i, 15, 4), 1e-6) << i;
}

TEST_F(PsfCommand, KeepsAnExistingFile) {
    ASSERT_EQ(RunUsual({}).exitCode, 0);
    const ProgramResult again = RunUsual({});
    EXPECT_EQ(again.exitCode, 1);
    EXPECT_TRUE(IsOneErrorLine(again.err)) << again.err;
}

TEST_F(PsfCommand, StopsOnRequestAndLeavesNothing) {
    // Many oscillations of the pupil integral at every radius: a second of work or more.
    RunningProgram program(folder_.path(),
                           {"psf",  "--model", "fast",       "--modality", "widefield", "--na", "0.9",
                            "--ri", "1",       "--emission", "200nm",      "--pixel",   "1",    "--z-step",
                            "15",   "--size",  "600",        "600",        "64",        "-o",   "psf.tif"});
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    program.Signal(SIGINT);
    const ProgramResult result = program.Wait();
    EXPECT_EQ(result.exitCode, 3) << result.err;
    EXPECT_TRUE(IsOneErrorLine(result.err)) << result.err;
    EXPECT_TRUE(folder_.Entries().empty());
}

TEST_F(PsfCommand, ItsFileCanBeSimulatedWithAndShown) {
    ASSERT_EQ(RunUsual({}).exitCode, 0);
    const ProgramResult simulation = RunProgram(
        folder_.path(), {"simulate", "--psf", "psf.tif", "--size", "40", "40", "16", "-o", "made"});
    EXPECT_EQ(simulation.exitCode, 0) << simulation.err;
    EXPECT_NEAR(ReadStack(folder_.path() / "made" / "blurred.tif").header.voxel.x.value(), 0.13, 1e-9);
    EXPECT_EQ(RunProgram(folder_.path(), {"view", "psf.tif", "-o", "psf.png"}).exitCode, 0);
    EXPECT_GT(fs::file_size(folder_.path() / "psf.png"), 100U);
}

}  // namespace
}  // namespace rydecon
