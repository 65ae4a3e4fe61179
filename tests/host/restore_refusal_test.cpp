// SPDX-License-Identifier: MIT
// rydecon restore: what it refuses, in one line, with nothing left behind.

#include <gtest/gtest.h>

#include <filesystem>
#include <limits>

#include "support/restore_scene.h"

namespace rydecon {
namespace {

namespace fs = std::filesystem;
using test::GaussianPsf;
using test::MakeStack;
using test::Stack;
using test::Words;

class RestoreRefusal : public test::RestoreTest {
  protected:
    void SetUp() override {
        Write("in.tif", MakeStack(13, 11, 7, [](int i, int j, int k) { return 10 + i + j * k; }));
        Write("psf.tif", GaussianPsf());
    }
    static Words Plain() { return {"restore", "in.tif", "--psf", "psf.tif", "-o", "out.tif"}; }
    void ExpectWrongUsage(const Words& more, const std::string& part) const {
        Words words = Plain();
        words.insert(words.end(), more.begin(), more.end());
        ExpectRefusal(words, 2, part);
    }
    /// The same words with another output; an empty name is wrong usage.
    void ExpectOutputRefused(const std::string& output, const std::string& part,
                             const Words& more = {}) const {
        Words words = {"restore", "in.tif", "--psf", "psf.tif", "-o", output};
        words.insert(words.end(), more.begin(), more.end());
        ExpectRefusal(words, output.empty() ? 2 : 1, part);
    }
};

TEST_F(RestoreRefusal, NumbersOutOfRange) {
    for (const char* count : {"100001", "18446744073709551617", "-1", "2.5", "many", "nan", ""}) {
        ExpectWrongUsage({"--iterations", count}, "--iterations");
    }
    for (const char* strength : {"nan", "-1", "inf", "-inf", "0.99", "1e300", "strong"}) {
        ExpectWrongUsage({"--regularization", strength}, "--regularization");
    }
    for (const char* method : {"lucy-richardson", "lucy-richardson-auto"}) {
        ExpectWrongUsage({"--method", method, "--regularization", "-0.1"},
                         "--regularization of method " + std::string(method) + " is -0.1; a number from 0");
        ExpectWrongUsage({"--method", method, "--regularization", "nan"}, "is nan");
    }
    for (const char* ratio : {"nan", "-1", "inf", "1e300", "much"}) {
        ExpectWrongUsage({"--stop-ratio", ratio}, "--stop-ratio");
    }
    for (const char* noise : {"5", "-1", "1.5", "little"}) {
        ExpectWrongUsage({"--method", "wiener", "--noise", noise}, "--noise");
    }
}

TEST_F(RestoreRefusal, OptionsThatTheMethodDoesNotRead) {
    ExpectWrongUsage({"--method", "wiener", "--iterations", "5"},
                     "--iterations means nothing to --method wiener; it is read by accelerated");
    ExpectWrongUsage({"--method", "wiener", "--regularization", "5"}, "--regularization means nothing");
    ExpectWrongUsage({"--method", "wiener", "--truth", "in.tif"}, "--truth means nothing");
    ExpectWrongUsage({"--noise", "2"}, "--noise means nothing to --method accelerated; it is read by wiener");
    ExpectWrongUsage({"--method", "lucy-richardson", "--stop-ratio", "2"}, "--stop-ratio means nothing");
    ExpectWrongUsage({"--method", "lucy-richardson", "--no-auto-stop"}, "--no-auto-stop means nothing");
    ExpectWrongUsage({"--method", "lucy-richardson-auto", "--wiener-start"}, "it is read by accelerated");
}

TEST_F(RestoreRefusal, WordsThatDoNotExist) {
    ExpectWrongUsage(
        {"--method", "magic"},
        "--method 'magic' does not exist; the methods are: accelerated, lucy-richardson, "
        "lucy-richardson-auto, landweber, landweber-auto, landweber-wavelet, tv, tv-ictm, blind, wiener, "
        "rltm, rltv, rltv-real, landweber-plain");
    ExpectWrongUsage({"--iteration", "3"}, "did you mean '--iterations'?");
    ExpectRefusal({"restore", "in.tif", "--psf", "psf.tif"}, 2, "option --output OUT.tif is missing");
    ExpectRefusal({"restore", "in.tif", "-o", "out.tif"}, 2, "--psf");
    ExpectRefusal({"restore", "--psf", "psf.tif", "-o", "out.tif"}, 2, "argument image (IN.tif) is missing");
}

TEST_F(RestoreRefusal, WrongUsageIsToldBeforeAnyFileIsOpened) {
    ExpectRefusal({"restore", "no.tif", "--psf", "no.tif", "-o", "no/out.tif", "--regularization", "-1"}, 2,
                  "--regularization");
    ExpectRefusal({"restore", "no.tif", "--psf", "no.tif", "-o", "no/out.tif", "--stop-ratio", "nan"}, 2,
                  "--stop-ratio");
    ExpectRefusal({"restore", "no.tif", "--psf", "no.tif", "-o", "no/out.tif", "--method", "no"}, 2,
                  "--method 'no'");
}

TEST_F(RestoreRefusal, InputsThatAreNoStacks) {
    std::ofstream(In("text.tif")) << "not a picture, whatever its name says";
    std::ofstream(In("empty.tif")).flush();
    fs::create_directory(In("folder.tif"));
    const std::string whole = test::FileBytes(In("in.tif"));
    std::ofstream(In("half.tif")) << whole.substr(0, whole.size() / 2);
    const std::pair<const char*, const char*> files[] = {{"none.tif", "there is no such file"},
                                                         {"text.tif", "it is not a TIFF file"},
                                                         {"empty.tif", "the file is empty"},
                                                         {"folder.tif", "it is a folder"},
                                                         {"half.tif", "the file is truncated"}};
    for (const auto& [name, reason] : files) {
        const std::string line = "cannot read '" + std::string(name) + "': " + reason;
        ExpectRefusal({"restore", name, "--psf", "psf.tif", "-o", "out.tif"}, 1, line);
        ExpectRefusal({"restore", "in.tif", "--psf", name, "-o", "out.tif"}, 1, line);
        ExpectRefusal({"restore", "in.tif", "--psf", "psf.tif", "--truth", name, "-o", "out.tif"}, 1, line);
    }
}

TEST_F(RestoreRefusal, SamplesThatAreNoNumbersAreCounted) {
    Stack image = test::ReadStack(In("in.tif"));
    image.samples[100] = std::numeric_limits<float>::quiet_NaN();
    Write("nan.tif", image);
    ExpectRefusal({"restore", "nan.tif", "--psf", "psf.tif", "-o", "out.tif"}, 1,
                  "cannot read 'nan.tif': 1 sample is NaN or infinite");
    image.samples[3] = -std::numeric_limits<float>::infinity();
    image.samples.back() = std::numeric_limits<float>::infinity();
    Write("nan.tif", image);
    ExpectRefusal({"restore", "nan.tif", "--psf", "psf.tif", "-o", "out.tif"}, 1,
                  "cannot read 'nan.tif': 3 samples are NaN or infinite");
    ExpectRefusal({"restore", "in.tif", "--psf", "psf.tif", "-o", "out.tif", "--truth", "nan.tif"}, 1,
                  "cannot read 'nan.tif': 3 samples are");
}

TEST_F(RestoreRefusal, TruthOfAnotherShape) {
    Write("truth.tif", MakeStack(13, 11, 6, [](int, int, int) { return 1; }));
    ExpectRefusal({"restore", "in.tif", "--psf", "psf.tif", "-o", "out.tif", "--truth", "truth.tif"}, 1,
                  "cannot read 'truth.tif': the truth has 13 x 11 x 6 samples, the image 13 x 11 x 7");
}

TEST_F(RestoreRefusal, OutputThatIsAnInputUnderAnyName) {
    fs::create_symlink("in.tif", In("link.tif"));
    fs::create_hard_link(In("psf.tif"), In("hard.tif"));
    fs::create_directory(In("below"));
    Write("truth.tif", test::ReadStack(In("in.tif")));
    const std::string before = test::FileBytes(In("in.tif")) + test::FileBytes(In("psf.tif"));
    for (const Words& more : {Words{}, Words{"--overwrite"}}) {
        for (const char* name :
             {"in.tif", "./in.tif", "below/../in.tif", "link.tif", "psf.tif", "hard.tif"}) {
            ExpectOutputRefused(
                name, "cannot write '" + std::string(name) + "': it is an input of this command", more);
        }
    }
    ExpectOutputRefused("truth.tif", "it is an input", {"--truth", "truth.tif", "--overwrite"});
    EXPECT_EQ(test::FileBytes(In("in.tif")) + test::FileBytes(In("psf.tif")), before);
}

TEST_F(RestoreRefusal, ExistingOutputUnlessAllowed) {
    std::ofstream(In("out.tif")) << "mine";
    ExpectRefusal(Plain(), 1,
                  "cannot write 'out.tif': the file exists already; add --overwrite to replace it");
    EXPECT_EQ(test::FileBytes(In("out.tif")), "mine");
    EXPECT_EQ(Restore().exitCode, 0);
    EXPECT_EQ(test::ReadStack(In("out.tif")).header.width, 13);
    EXPECT_EQ(folder_.Entries(), (Words{"in.tif", "out.tif", "out.tif.json", "psf.tif"}));
}

TEST_F(RestoreRefusal, FailureKeepsTheOldOutput) {
    std::ofstream(In("out.tif")) << "mine";
    test::ProgramSettings small;
    small.fileSizeLimit = 2000;
    EXPECT_EQ(Restore({}, small).exitCode, 1);
    EXPECT_EQ(test::FileBytes(In("out.tif")), "mine");
}

TEST_F(RestoreRefusal, OutputThatCannotBeWritten) {
    fs::create_directory(In("folder"));
    ExpectOutputRefused("folder", "cannot write 'folder': it is a folder");
    ExpectOutputRefused("folder/", "the name of a file is needed");
    ExpectOutputRefused("", "the name of a file is needed");
    ExpectOutputRefused("none/out.tif", "the folder 'none' does not exist");
    ExpectOutputRefused("in.tif/out.tif", "'in.tif' is no folder");
    ExpectOutputRefused("/dev/null", "it is no regular file");
    // Nobody, not even the administrator, makes files there.
    ExpectOutputRefused("/proc/out.tif", "no file can be created in the folder '/proc'");
}

}  // namespace
}  // namespace rydecon
