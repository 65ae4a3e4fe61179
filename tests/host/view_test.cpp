// SPDX-License-Identifier: MIT
// rydecon view: the picture as another decoder reads it.

#include <gtest/gtest.h>
#include <png.h>

#include <algorithm>
#include <fstream>
#include <limits>
#include <string>
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
using test::RunProgram;
using test::Stack;
using test::TemporaryFolder;
using Words = std::vector<std::string>;

constexpr int kMargin = 8;
constexpr int kBetween = 12;
constexpr int kGap = 6;
constexpr int kBarStrip = 26;
constexpr int kLabelStrip = 20;

struct Picture {
    int width = 0;
    int height = 0;
    bool grey8 = false;
    std::vector<unsigned char> pixels;

    int At(int x, int y) const {
        return pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                      static_cast<std::size_t>(x)];
    }
};

Picture Decode(const fs::path& path) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&image, path.c_str()) == 0) return {};
    Picture picture;
    picture.width = static_cast<int>(image.width);
    picture.height = static_cast<int>(image.height);
    picture.grey8 = image.format == PNG_FORMAT_GRAY;
    picture.pixels.resize(PNG_IMAGE_SIZE(image));
    if (png_image_finish_read(&image, nullptr, picture.pixels.data(), 0, nullptr) == 0) return {};
    return picture;
}

class View : public ::testing::Test {
  protected:
    fs::path In(const std::string& name) const { return folder_.path() / name; }
    ProgramResult Run(const Words& more, const ProgramSettings& settings = {}) {
        Words words = {"view"};
        words.insert(words.end(), more.begin(), more.end());
        return RunProgram(folder_.path(), words, settings);
    }
    Picture Draw(const Words& inputs) {
        Words words = inputs;
        words.insert(words.end(), {"-o", "out.png", "--overwrite"});
        const ProgramResult result = Run(words);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(result.out, "");
        return Decode(In("out.png"));
    }
    void ExpectFailure(const ProgramResult& result, int exitCode, const std::string& part) {
        EXPECT_EQ(result.exitCode, exitCode);
        EXPECT_TRUE(IsOneErrorLine(result.err)) << result.err;
        EXPECT_NE(result.err.find(part), std::string::npos) << result.err;
    }
    TemporaryFolder folder_;
};

/// A dark stack with one bright sample, in planes above the limit of magnification.
Stack Spark(int width, int height, int planes, int x, int y, int z, const VoxelSize& voxel = {}) {
    return MakeStack(
        width, height, planes, [=](int i, int j, int k) { return i == x && j == y && k == z ? 9.0f : 1.0f; },
        voxel);
}

TEST_F(View, ShowsBothProjectionsAtOneScale) {
    test::WriteStack(In("a.tif"), Spark(300, 260, 20, 100, 50, 5, {0.1, 0.1, 0.4}));
    const Picture picture = Draw({"a.tif"});
    EXPECT_TRUE(picture.grey8);
    EXPECT_EQ(picture.width, 300 + 2 * kMargin);
    EXPECT_EQ(picture.height, 260 + kGap + 4 * 20 + kBarStrip + 2 * kMargin);
    // One bright sample lies beyond percentile 99.9: the extremes are black and white then.
    EXPECT_EQ(picture.At(kMargin + 100, kMargin + 50), 255);
    EXPECT_EQ(picture.At(kMargin + 101, kMargin + 50), 0);
    EXPECT_EQ(picture.At(kMargin + 100, kMargin + 51), 0);
    // Plane 5 of 4 pixels each: centre between pixels 21 and 22.
    const int below = kMargin + 260 + kGap;
    EXPECT_GT(picture.At(kMargin + 100, below + 21), 200);
    EXPECT_EQ(picture.At(kMargin + 100, below + 21), picture.At(kMargin + 100, below + 22));
    EXPECT_EQ(picture.At(kMargin + 100, below + 17), 0);
    EXPECT_EQ(picture.At(kMargin + 100, below + 26), 0);
}

TEST_F(View, AxesWithoutPitchKeepTheirSamples) {
    test::WriteStack(In("a.tif"), Spark(300, 260, 20, 1, 1, 1));
    EXPECT_EQ(Draw({"a.tif"}).height, 260 + kGap + 20 + kBarStrip + 2 * kMargin);
    test::WriteStack(In("b.tif"), Spark(300, 260, 20, 1, 1, 1, {0.1, 0.1, std::nullopt}));
    EXPECT_EQ(Draw({"b.tif"}).height, 260 + kGap + 20 + kBarStrip + 2 * kMargin);
}

TEST_F(View, FinePlanesStretchThePlaneInstead) {
    test::WriteStack(In("a.tif"), Spark(150, 100, 300, 1, 1, 1, {0.2, 0.2, 0.1}));
    const Picture picture = Draw({"a.tif"});
    EXPECT_EQ(picture.width, 300 + 2 * kMargin);
    EXPECT_EQ(picture.height, 200 + kGap + 300 + kBarStrip + 2 * kMargin);
}

TEST_F(View, SmallStacksAreMagnified) {
    test::WriteStack(In("a.tif"), Spark(100, 50, 3, 1, 1, 1));
    const Picture picture = Draw({"a.tif"});
    EXPECT_EQ(picture.width, 300 + 2 * kMargin);
    EXPECT_EQ(picture.height, 150 + kGap + 9 + kBarStrip + 2 * kMargin);
}

TEST_F(View, ScaleBarHasItsLength) {
    // 300 samples of 0.1 um: 10 um is a third, 100 samples.
    test::WriteStack(In("a.tif"), Spark(300, 260, 4, 1, 1, 1, {0.1, 0.1, 0.1}));
    const Picture picture = Draw({"a.tif"});
    const int row = picture.height - kMargin - kBarStrip / 2;
    int length = 0;
    while (picture.At(kMargin + length, row) == 255) ++length;
    EXPECT_EQ(length, 100);
}

TEST_F(View, TwoStacksStandSideBySideEachWithItsContrast) {
    test::WriteStack(In("a.tif"), Spark(300, 260, 4, 100, 50, 1));
    Stack bright = Spark(280, 270, 6, 30, 40, 1);
    for (float& sample : bright.samples) sample = 1000.0f * sample - 5000.0f;
    test::WriteStack(In("b.tif"), bright);
    const Picture picture = Draw({"a.tif", "b.tif"});
    EXPECT_EQ(picture.width, 300 + 280 + kBetween + 2 * kMargin);
    EXPECT_EQ(picture.height, kLabelStrip + 270 + kGap + 6 + kBarStrip + 2 * kMargin);
    const int top = kMargin + kLabelStrip;
    EXPECT_EQ(picture.At(kMargin + 100, top + 50), 255);
    EXPECT_EQ(picture.At(kMargin + 300 + kBetween + 30, top + 40), 255);
    EXPECT_EQ(picture.At(kMargin + 300 + kBetween + 31, top + 40), 0);
    EXPECT_TRUE(std::any_of(picture.pixels.begin() + kMargin * picture.width,
                            picture.pixels.begin() + (kMargin + 14) * picture.width,
                            [](unsigned char pixel) { return pixel == 255; }))
        << "labels";
}

TEST_F(View, UnusualSamplesAreNoDanger) {
    const float infinity = std::numeric_limits<float>::infinity();
    const float largest = std::numeric_limits<float>::max();
    test::WriteStack(In("constant.tif"), MakeStack(20, 20, 2, [](int, int, int) { return 7.0f; }));
    EXPECT_EQ(Draw({"constant.tif"}).At(kMargin + 30, kMargin + 30), 0);
    test::WriteStack(In("range.tif"),
                     MakeStack(300, 20, 2, [&](int i, int, int) { return i < 150 ? -largest : largest; }));
    const Picture range = Draw({"range.tif"});
    EXPECT_EQ(range.At(kMargin + 10, kMargin + 10), 0);
    EXPECT_EQ(range.At(kMargin + 290, kMargin + 10), 255);

    test::WriteStack(In("bad.tif"), MakeStack(300, 20, 2, [&](int i, int, int k) {
                         return k == 0 && i < 10 ? infinity : static_cast<float>(i);
                     }));
    const ProgramResult result = Run({"bad.tif", "-o", "bad.png"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err,
              "rydecon: note: 'bad.tif': 200 samples that are NaN or infinite are left out of the picture\n");
    test::WriteStack(In("nothing.tif"), MakeStack(9, 9, 2, [&](int, int, int) { return -infinity; }));
    EXPECT_EQ(Run({"nothing.tif", "-o", "nothing.png"}).exitCode, 0);
    EXPECT_GT(Decode(In("nothing.png")).width, 0);
}

TEST_F(View, SmallestStackIsAPicture) {
    test::WriteStack(In("a.tif"), MakeStack(1, 1, 1, [](int, int, int) { return 1.0f; }, {1e-3, 1e-3, 1e3}));
    EXPECT_GT(Draw({"a.tif"}).width, 0);
}

TEST_F(View, NeverReplacesUnasked) {
    test::WriteStack(In("a.tif"), Spark(20, 20, 2, 1, 1, 1));
    std::ofstream(In("a.png")) << "mine";
    ExpectFailure(Run({"a.tif", "-o", "a.png"}), 1, "add --overwrite");
    EXPECT_EQ(fs::file_size(In("a.png")), 4U);
    EXPECT_EQ(Run({"a.tif", "-o", "a.png", "--overwrite"}).exitCode, 0);
    EXPECT_GT(fs::file_size(In("a.png")), 4U);
}

TEST_F(View, InputIsNeverReplaced) {
    test::WriteStack(In("a.tif"), Spark(20, 20, 2, 1, 1, 1));
    fs::create_symlink("a.tif", In("link.png"));
    ExpectFailure(Run({"a.tif", "-o", "link.png", "--overwrite"}), 1, "it is an input");
    ExpectFailure(Run({"a.tif", "-o", "a.tif", "--overwrite"}), 1, "it is an input");
    EXPECT_EQ(folder_.Entries(), (Words{"a.tif", "link.png"}));
}

TEST_F(View, FailuresLeaveNothing) {
    test::WriteStack(In("a.tif"), Spark(200, 200, 2, 1, 1, 1));
    ExpectFailure(Run({"a.tif", "-o", "a.jpg"}), 2, "ends in .png");
    ExpectFailure(Run({"none.tif", "-o", "a.png"}), 1, "none.tif");
    ExpectFailure(Run({"a.tif", "-o", "no/folder/a.png"}), 1, "does not exist");
    ProgramSettings settings;
    settings.fileSizeLimit = 100;
    ExpectFailure(Run({"a.tif", "-o", "a.png"}, settings), 1, "a.png");
    EXPECT_EQ(folder_.Entries(), Words{"a.tif"});
}

}  // namespace
}  // namespace rydecon
