// SPDX-License-Identifier: MIT
// rydecon restore on pictures: what it refuses, in one line, with nothing left behind; and the plan of tiles.

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "io/tiff_fixture.h"
#include "report/user_error.h"
#include "restoration/tile_plan.h"
#include "support/picture_scene.h"

namespace rydecon {
namespace {

using test::IsOneErrorLine;
using test::MakeStack;
using test::PlanePsf;
using test::Stack;
using test::Words;

Stack Slope(int width, int height, int planes = 1) {
    return MakeStack(width, height, planes, [](int i, int j, int k) { return 10 + i + j * (k + 1); });
}

class PictureRefusal : public test::RestoreTest {
  protected:
    void SetUp() override {
        Write("in.tif", Slope(120, 60));
        Write("psf.tif", PlanePsf());
    }
    void Expect(const Words& more, int exitCode, const std::string& part) const {
        Words words = {"restore", "in.tif", "--psf", "psf.tif", "-o", "out.tif"};
        words.insert(words.end(), more.begin(), more.end());
        ExpectRefusal(words, exitCode, part);
    }
};

TEST_F(PictureRefusal, TilesThatNobodyMeans) {
    for (const char* tiles : {"0x1", "1x0", "-1x2", "3", "3x", "x3", "3x2x1", "3 x 2", "1e3x1", "100001x1",
                              "99999999999999999999x1", "Auto", "many", ""}) {
        Expect({"--method", "rltm", "--tiles", tiles}, 2,
               "--tiles is '" + std::string(tiles) + "'; auto is needed");
    }
    Expect({"--method", "rltm", "--tiles", "3x1"}, 2, "50 pixels or more: take 2x1 or fewer");
    Expect({"--method", "blind", "--tiles", "100000x100000"}, 2, "take 2x1 or fewer");
}

TEST_F(PictureRefusal, NumbersOutOfRange) {
    for (const char* method : {"rltm", "rltv", "landweber-plain"}) {
        for (const char* strength : {"-1", "1001"}) {
            Expect({"--method", method, "--regularization", strength}, 2,
                   "a number from 0 to 1000 is needed");
        }
        for (const char* strength : {"nan", "inf"}) {
            Expect({"--method", method, "--regularization", strength}, 2,
                   "a number such as 2 or 1.5 is needed");
        }
    }
    Expect({"--method", "rltv-real", "--regularization", "29"}, 2, "a number from 0 to 28 is needed");
    for (const char* method : {"rltv", "rltv-real", "landweber"}) {
        Expect({"--method", method, "--regularization", "2.5"}, 2, " is 2.5; a whole number is needed");
    }
    Expect({"--method", "blind", "--energy-stop", "nan"}, 2, "--energy-stop");
}

TEST_F(PictureRefusal, OptionsThatTheMethodDoesNotRead) {
    Expect({"--method", "rltm", "--stop-ratio", "1"}, 2, "--stop-ratio means nothing to --method rltm");
    Expect({"--method", "rltv", "--truth", "in.tif"}, 2, "--truth means nothing to --method rltv");
    Expect({"--tiles", "2x1"}, 2, "--tiles means nothing to --method accelerated; it is read by");
    Expect({"--per-plane"}, 2,
           "--per-plane means nothing to --method accelerated; it is read by rltm, rltv, ");
    // Read by the method for stacks of the same name.
    for (const Words& more : {Words{"--psf-out", "p.tif"}, {"--inner", "10"}, {"--guard", "0.3"}}) {
        Expect({"--method", "blind", more[0], more[1]}, 2,
               more[0] + " means nothing to --method blind on pictures");
    }
    Expect({"--method", "landweber", "--threshold-scale", "1"}, 2, "on pictures");
    Write("in.tif", Slope(20, 20, 4));
    Expect({"--method", "blind", "--per-plane", "--psf-out", "p.tif"}, 2, "on pictures");
    Expect({"--method", "blind", "--tiles", "auto"}, 2, "--tiles means nothing to --method blind on stacks");
}

TEST_F(PictureRefusal, ImagesThatAreNoPictures) {
    Write("in.tif", Slope(20, 20, 4));
    Expect({"--method", "rltm"}, 1, "'in.tif' is a stack of 4 planes; add --per-plane");
    Write("in.tif", Slope(15, 40));
    Expect({"--method", "rltm"}, 1, "15 x 40 pixels is too small; 16 x 16 or more are needed");
    Stack bad = Slope(20, 20, 2);
    bad.samples[3] = std::numeric_limits<float>::quiet_NaN();
    bad.samples[500] = std::numeric_limits<float>::infinity();
    Write("in.tif", bad);
    Expect({"--method", "rltm", "--per-plane"}, 1, "2 samples are NaN or infinite");
    Write("in.tif", MakeStack(20, 20, 1, [](int, int, int) { return -1.0; }));
    Expect({"--method", "rltm"}, 1, "no sample lies above 0");
    Write("in.tif", MakeStack(20, 20, 1, [](int, int, int) { return 1e30; }));
    Expect({"--method", "rltm"}, 1, "beyond single precision");
    Expect({"--method", "rlxx"}, 2, "--method 'rlxx' does not exist");
}

TEST_F(PictureRefusal, ColoursThatAreNoPicture) {
    testing::TestPage page = testing::PageOf<std::uint8_t>(20, 20, std::vector<std::uint8_t>(20 * 20 * 3, 9));
    page.samplesPerPixel = 3;
    page.photometric = PHOTOMETRIC_RGB;
    testing::WriteTiff(In("in.tif"), "wl", {page, page});
    Expect({"--method", "rltm"}, 1, "a stack of 6 planes");
    page.description = "ImageJ=1.53\nimages=2\nchannels=2\nslices=1\n";
    page.samplesPerPixel = 1;
    page.photometric = PHOTOMETRIC_MINISBLACK;
    page.bytes.resize(20 * 20);
    testing::WriteTiff(In("in.tif"), "wl", {page, page, page});
    Expect({"--method", "rltm"}, 1, "2 channels, 1 slice and 1 time point, but it holds 3 planes");
}

TEST_F(PictureRefusal, PsfsThatDoNotFit) {
    Write("psf.tif", PlanePsf(1.5, 31));
    Expect({"--method", "rltm"}, 1, "the PSF of 63 x 63 pixels is larger than the picture of 120 x 60");
    Write("psf.tif", test::GaussianPsf());
    Expect({"--method", "rltm"}, 1, "11 planes; a picture needs a PSF of one plane");
    Write("psf.tif", MakeStack(9, 9, 1, [](int, int, int) { return 0.0; }));
    Expect({"--method", "rltm"}, 1, "no sample above 0");
    Write("psf.tif", MakeStack(9, 9, 1, [](int i, int, int) { return i == 3 ? std::nan("") : 1.0; }));
    Expect({"--method", "rltm"}, 1, "9 samples of the PSF are NaN or infinite");
}

TEST_F(PictureRefusal, AnExistingOutputStaysAsItWas) {
    Write("out.tif", Slope(3, 3));
    const std::string before = test::FileBytes(In("out.tif"));
    Expect({"--method", "rltm"}, 1, "--overwrite");
    EXPECT_EQ(test::FileBytes(In("out.tif")), before);
}

TEST_F(PictureRefusal, AStopLeavesNothing) {
    Write("in.tif", Slope(400, 400, 4));
    for (const char* method : {"rltv", "blind"}) {
        const Words before = folder_.Entries();
        test::RunningProgram program(folder_.path(),
                                     {"restore", "in.tif", "--psf", "psf.tif", "-o", "out.tif", "--per-plane",
                                      "--method", method, "--iterations", "100000"});
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        program.Signal(SIGINT);
        const test::ProgramResult result = program.Wait();
        EXPECT_EQ(result.exitCode, 3) << result.err;
        EXPECT_TRUE(IsOneErrorLine(result.err)) << result.err;
        EXPECT_EQ(folder_.Entries(), before);
    }
}

TEST(TilePlan, AutomaticGridsAreSoundAndTheirFramesBounded) {
    for (int side = 16; side < 3000; side += 7) {
        const TileGrid grid = PlanTiles({std::nullopt}, side, 40000, 40);
        const int tile = static_cast<int>((static_cast<unsigned>(side) + grid.x - 1) / grid.x);
        EXPECT_TRUE(grid.x == 1 || tile >= 50) << side;
        EXPECT_LT((static_cast<int>(grid.x) - 1) * tile, side);
        EXPECT_LE((40000 + grid.y - 1) / grid.y + 100 + 80, 2048U);
    }
    EXPECT_EQ(PlanTiles({std::nullopt}, 432, 433, 40), (TileGrid{1, 1}));
    // 944 pixels and a margin of 80 fill 1024; one more takes three tiles of 512.
    EXPECT_EQ(PlanTiles({std::nullopt}, 944, 945, 40), (TileGrid{1, 3}));
}

/// 51 pixels a tile leave nothing for the last of a hundred.
TEST(TilePlan, GridsWithAnEmptyTileAreRefused) {
    EXPECT_THROW(PlanTiles({TileGrid{100, 1}}, 5001, 100, 40), UserError);
    EXPECT_EQ(PlanTiles({TileGrid{99, 1}}, 5001, 100, 40), (TileGrid{99, 1}));
    EXPECT_EQ(PlanTiles({TileGrid{1, 1}}, 20, 16, 40), (TileGrid{1, 1}));
}

}  // namespace
}  // namespace rydecon
