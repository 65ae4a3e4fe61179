// SPDX-License-Identifier: MIT
// rydecon restore on pictures: each method comes nearer to the truth, in one piece and in tiles, and a stack
// plane by plane.

#include <gtest/gtest.h>
#include <png.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "io/tiff_fixture.h"
#include "support/picture_scene.h"

namespace rydecon {
namespace {

using test::AllFinite;
using test::BlurredPicture;
using test::FileBytes;
using test::MakeStack;
using test::PictureMethodNames;
using test::PictureTruth;
using test::PlaneOf;
using test::PlanePsf;
using test::Rmse;
using test::Stack;
using test::Words;

class RestorePicture : public test::RestoreTest {
  protected:
    static Words With(const std::string& method, Words more = {}) {
        more.insert(more.begin(), {"--method", method});
        return more;
    }
    bool Says(const std::string& part) const { return said_.out.find(part) != std::string::npos; }

    const Stack psf_ = PlanePsf();
};

TEST_F(RestorePicture, EachMethodComesNearerToTheTruth) {
    const Stack truth = PictureTruth(70, 62, {0.1, 0.12, {}});
    const Stack image = BlurredPicture(truth, psf_);
    for (const std::string& method : PictureMethodNames()) {
        SCOPED_TRACE(method);
        const Stack restored = Restored(image, psf_, With(method));
        ASSERT_EQ(restored.samples.size(), image.samples.size());
        EXPECT_TRUE(AllFinite(restored));
        EXPECT_LT(Rmse(restored, truth), 0.75 * Rmse(image, truth));
        EXPECT_NEAR(restored.Sum() / image.Sum(), 1.0, 0.02);
        EXPECT_NEAR(restored.header.voxel.x.value(), 0.1, 1e-6);
        EXPECT_NEAR(restored.header.voxel.y.value(), 0.12, 1e-6);
        EXPECT_TRUE(Says("70 x 62 x 1 samples, method " + method + ", ")) << said_.out;
    }
}

/// A tile sees 50 pixels of its neighbours, ten times the reach of this PSF.
TEST_F(RestorePicture, TilesAgreeWithTheWholePicture) {
    const Stack image = BlurredPicture(PictureTruth(171, 120), psf_);
    for (const std::string& method : PictureMethodNames()) {
        SCOPED_TRACE(method);
        Words settings = With(method);
        // A stop test and a threshold look at their tile alone.
        if (method == "rltm") settings.insert(settings.end(), {"--iterations", "6"});
        if (method.starts_with("landweber")) {
            settings.insert(settings.end(), {"--iterations", "6", "--regularization", "0"});
        }
        const Stack whole = Restored(image, psf_, settings);
        settings.insert(settings.end(), {"--tiles", "3x2"});
        const Stack tiled = Restored(image, psf_, settings);
        EXPECT_TRUE(Says("in 3 x 2 tiles")) << said_.out;
        // The energies that accelerate the blind method are those of a tile, and subbands with steps of their own
        // depend on where the pyramid of a tile begins.
        const double bound = method == "blind" ? 40.0 : method == "landweber" ? 100.0 : 4.0;
        double worst = 0.0;
        for (std::size_t n = 0; n < whole.samples.size(); ++n) {
            worst = std::max(worst, std::abs(double{whole.samples[n]} - tiled.samples.at(n)));
        }
        EXPECT_LT(worst, bound);
        EXPECT_GT(worst, 0.0);
    }
}

TEST_F(RestorePicture, AutomaticTilesAreThoseOfTheSmallestFrames) {
    // 360 and its margin of 80 take a frame of 512; two tiles of 230 take 512 each, three of 333 take 512.
    Restored(BlurredPicture(PictureTruth(360, 40), psf_), psf_,
             With("rltv", {"--tiles", "auto", "--iterations", "1"}));
    EXPECT_TRUE(Says(", 1 iteration (the limit)")) << said_.out;
    // 960 takes 1024 in one piece only without margin: 2048 against three times 512.
    Restored(BlurredPicture(PictureTruth(960, 40), psf_), psf_,
             With("rltv", {"--tiles", "auto", "--iterations", "1"}));
    EXPECT_TRUE(Says("3 iterations in 3 x 1 tiles, at most 1 in one (the limit)")) << said_.out;
}

TEST_F(RestorePicture, IterationsOfMethodsThatEndThemselvesAreCounted) {
    const Stack image = BlurredPicture(PictureTruth(120, 60), psf_);
    Restored(image, psf_, With("rltm", {"--iterations", "5"}));
    EXPECT_TRUE(Says(", 5 iterations (the limit)")) << said_.out;
    Restored(image, psf_, With("rltm", {"--iterations", "3", "--tiles", "2x1"}));
    EXPECT_TRUE(Says("6 iterations in 2 x 1 tiles, at most 3 in one (the limit)")) << said_.out;
    // A flat picture has nothing to gain.
    Restored(MakeStack(40, 40, 1, [](int, int, int) { return 7.0; }), psf_, With("rltm"));
    EXPECT_TRUE(Says("(ended by its stop test)")) << said_.out;
}

TEST_F(RestorePicture, SettingsReachTheMethod) {
    const Stack image = BlurredPicture(PictureTruth(60, 50), psf_);
    for (const std::string& method : PictureMethodNames()) {
        SCOPED_TRACE(method);
        const Stack usual = Restored(image, psf_, With(method, {"--iterations", "4"}));
        EXPECT_GT(Rmse(Restored(image, psf_, With(method, {"--iterations", "2"})), usual), 0.0);
        const Words setting = method == "blind" ? Words{"--energy-stop", "1000", "--iterations", "4"}
                                                : Words{"--regularization", "5", "--iterations", "4"};
        EXPECT_GT(Rmse(Restored(image, psf_, With(method, setting)), usual), 0.0);
    }
}

TEST_F(RestorePicture, SampleTypesGiveTheSamePicture) {
    const Stack image = MakeStack(41, 35, 1, [](int i, int j, int) { return (i * 7 + j * 11) % 200; });
    const Stack expected = Restored(image, psf_, With("rltv"));
    const auto as = [&]<class T>(T) {
        const std::vector<T> samples(image.samples.begin(), image.samples.end());
        testing::WriteTiff(In("in.tif"), "wl", {testing::PageOf<T>(41, 35, samples)});
        const test::ProgramResult result = Restore(With("rltv"));
        EXPECT_EQ(result.exitCode, 0) << result.err;
        return test::ReadStack(In("out.tif"));
    };
    EXPECT_EQ(as(std::uint8_t{}).samples, expected.samples);
    EXPECT_EQ(as(std::uint16_t{}).samples, expected.samples);
    EXPECT_EQ(as(double{}).samples, expected.samples);
}

/// Red, green and blue are three pictures, restored by themselves and written as the channels of one.
TEST_F(RestorePicture, ColourIsSplitAndPutTogetherAgain) {
    const auto red = [](int i, int j) { return (i * 7 + j * 11) % 200; };
    const auto component = [&](int c, int i, int j) {
        return c == 0 ? red(i, j) : c == 1 ? 3 * i : 200 - 2 * j;
    };
    std::vector<std::uint16_t> pixels;
    for (int j = 0; j < 35; ++j) {
        for (int i = 0; i < 41; ++i) {
            for (int c = 0; c < 3; ++c) pixels.push_back(static_cast<std::uint16_t>(component(c, i, j)));
        }
    }
    testing::TestPage page = testing::PageOf<std::uint16_t>(41, 35, pixels);
    page.samplesPerPixel = 3;
    page.photometric = PHOTOMETRIC_RGB;
    page.rowsPerStrip = 8;
    page.compression = COMPRESSION_LZW;
    Write("psf.tif", psf_);
    for (const char* mode : {"wl", "wb"}) {
        testing::WriteTiff(In("in.tif"), mode, {page});
        const test::ProgramResult result = Restore(With("rltv"));
        ASSERT_EQ(result.exitCode, 0) << result.err;
        EXPECT_NE(result.out.find("41 x 35 x 3 samples, method rltv channel by channel"), std::string::npos);
        StackReader reader(In("out.tif"), Messages(true), Accept::AnyStack);
        ASSERT_EQ(reader.header().channels, 3);
        ASSERT_EQ(reader.header().planes(), 3);
        std::vector<std::vector<float>> channels(3, std::vector<float>(41 * 35));
        for (int c = 0; c < 3; ++c) reader.ReadPlane(c, channels[static_cast<std::size_t>(c)].data(), 41);
        for (int c = 0; c < 3; ++c) {
            const Stack plane = MakeStack(41, 35, 1, [&](int i, int j, int) { return component(c, i, j); });
            EXPECT_EQ(Restored(plane, psf_, With("rltv")).samples, channels[static_cast<std::size_t>(c)])
                << c;
        }
    }
}

/// Writes a PNG of 8 or 16 bits, grey or colour, with f(c, i, j) in its samples.
template <class Sample, class F>
void WritePngFile(const std::filesystem::path& path, int width, int height, int channels, F f) {
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    png_struct* png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_info* info = png_create_info_struct(png);
    png_init_io(png, file);
    png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height),
                 8 * sizeof(Sample), channels == 3 ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY,
                 PNG_INTERLACE_ADAM7, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (int pass = png_set_interlace_handling(png); pass > 0; --pass) {
        for (int j = 0; j < height; ++j) {
            std::vector<png_byte> row;
            for (int n = 0; n < width * channels; ++n) {
                const auto sample = static_cast<unsigned>(f(n % channels, n / channels, j));
                if (sizeof(Sample) == 2) row.push_back(static_cast<png_byte>(sample >> 8));
                row.push_back(static_cast<png_byte>(sample & 0xFF));
            }
            png_write_row(png, row.data());
        }
    }
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    std::fclose(file);
}

TEST_F(RestorePicture, PngFilesAreReadAsTheyStand) {
    const auto f = [](int c, int i, int j) { return (c + 1) * (i * 5 + j) % 251; };
    const auto plane = [&](int c, int scale) {
        return MakeStack(40, 30, 1, [&](int i, int j, int) { return scale * f(c, i, j); });
    };
    Write("psf.tif", psf_);
    const Words words = {"restore", "in.png",      "--psf",    "psf.tif", "-o",
                         "out.tif", "--overwrite", "--method", "rltv"};
    WritePngFile<std::uint8_t>(In("in.png"), 40, 30, 1, f);
    ASSERT_EQ(test::RunProgram(folder_.path(), words).exitCode, 0);
    const Stack grey = test::ReadStack(In("out.tif"));
    EXPECT_EQ(grey.samples, Restored(plane(0, 1), psf_, With("rltv")).samples);
    WritePngFile<std::uint16_t>(In("in.png"), 40, 30, 1,
                                [&](int c, int i, int j) { return 257 * f(c, i, j); });
    ASSERT_EQ(test::RunProgram(folder_.path(), words).exitCode, 0);
    const Stack wide = test::ReadStack(In("out.tif"));
    EXPECT_EQ(wide.samples, Restored(plane(0, 257), psf_, With("rltv")).samples);
    WritePngFile<std::uint8_t>(In("in.png"), 40, 30, 3, f);
    ASSERT_EQ(test::RunProgram(folder_.path(), words).exitCode, 0);
    StackReader colours(In("out.tif"), Messages(true), Accept::AnyStack);
    ASSERT_EQ(colours.header().channels, 3);
    std::vector<float> blue(40 * 30);
    colours.ReadPlane(2, blue.data(), 40);
    EXPECT_EQ(Restored(plane(2, 1), psf_, With("rltv")).samples, blue);
}

TEST_F(RestorePicture, PngPsfsAndDamagedPngFiles) {
    const Stack image = BlurredPicture(PictureTruth(40, 40), psf_);
    const auto spread = [&](int, int i, int j) { return std::lround(60000 * psf_.At(i, j, 0)); };
    WritePngFile<std::uint16_t>(In("psf.png"), 11, 11, 1, spread);
    const Stack expected = Restored(image, psf_, With("rltv"));
    const auto run = [&](const Words& files) {
        Words words = {"restore", "-o", "out.tif", "--method", "rltv", "--overwrite"};
        words.insert(words.end(), files.begin(), files.end());
        return test::RunProgram(folder_.path(), words);
    };
    ASSERT_EQ(run({"in.tif", "--psf", "psf.png"}).exitCode, 0);
    EXPECT_LT(Rmse(test::ReadStack(In("out.tif")), expected), 1.0);
    const std::vector<unsigned char> whole = testing::BytesOfFile(In("psf.png"));
    for (const std::size_t length : {std::size_t{8}, std::size_t{20}, whole.size() / 2, whole.size() - 20}) {
        testing::WriteBytes(In("bad.png"),
                            {whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)});
        const test::ProgramResult result = run({"bad.png", "--psf", "psf.tif"});
        EXPECT_EQ(result.exitCode, 1) << length;
        EXPECT_TRUE(test::IsOneErrorLine(result.err)) << result.err;
        EXPECT_NE(result.err.find("damaged"), std::string::npos) << result.err;
    }
    WritePngFile<std::uint8_t>(In("rgb.png"), 11, 11, 3, spread);
    EXPECT_NE(
        run({"in.tif", "--psf", "rgb.png"})
            .err.find("it is a PNG of 8-bit colours; grey of 8 or 16 bits without transparency is needed"),
        std::string::npos);
}

/// Scale, an odd or even number of pixels and the place of the peak are the file's own affair.
TEST_F(RestorePicture, ThePsfFileMayLieAnywhere) {
    const Stack image = BlurredPicture(PictureTruth(60, 50), psf_);
    const Stack expected = Restored(image, psf_, With("rltv"));
    const Stack moved = MakeStack(18, 15, 1, [&](int i, int j, int) {
        const bool inside = i >= 4 && i < 15 && j >= 1 && j < 12;
        return inside ? 1000.0 * psf_.At(i - 4, j - 1, 0) : 0.0;
    });
    const Stack restored = Restored(image, moved, With("rltv"));
    EXPECT_LT(Rmse(restored, expected), 0.01);
}

TEST_F(RestorePicture, WithoutAFileThePsfIsThatOfTheOptics) {
    Write("in.tif", BlurredPicture(PictureTruth(60, 50), psf_));
    const Words words = {"restore",    "in.tif",    "-o",      "out.tif", "--method", "rltv",
                         "--modality", "widefield", "--na",    "1.4",     "--ri",     "1.515",
                         "--emission", "520nm",     "--pixel", "60nm"};
    const test::ProgramResult result = test::RunProgram(folder_.path(), words);
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const Stack restored = test::ReadStack(In("out.tif"));
    EXPECT_GT(Rmse(restored, test::ReadStack(In("in.tif"))), 1.0);
    EXPECT_NEAR(restored.header.voxel.x.value(), 0.06, 1e-9);
}

TEST_F(RestorePicture, AStackPlaneByPlaneIsItsPicturesRestored) {
    const Stack truth = PictureTruth(40, 36);
    const Stack stack = MakeStack(
        40, 36, 3, [&](int i, int j, int k) { return (k + 1.0) * truth.At(i, j, 0) + (k == 2 ? 5 * i : 0); },
        {0.1, 0.1, 0.3});
    for (const std::string& method : PictureMethodNames()) {
        SCOPED_TRACE(method);
        const Stack restored = Restored(stack, psf_, With(method, {"--per-plane"}));
        ASSERT_EQ(restored.header.planes(), 3);
        EXPECT_NEAR(restored.header.voxel.z.value(), 0.3, 1e-9);
        EXPECT_TRUE(Says("method " + method + " plane by plane, ")) << said_.out;
        for (int k = 0; k < 3; ++k) {
            const Stack plane = PlaneOf(restored, k);
            EXPECT_EQ(Restored(PlaneOf(stack, k), psf_, With(method)).samples, plane.samples) << k;
        }
    }
}

/// A name that stands for both kinds means that of the image.
TEST_F(RestorePicture, NamesOfBothKindsMeanThatOfTheImage) {
    const Stack stack = MakeStack(20, 20, 4, [](int i, int j, int k) { return 10 + i * j + k; });
    Restored(stack, psf_, With("blind"));
    EXPECT_TRUE(Says("sweeps of image and PSF")) << said_.out;
    Restored(PlaneOf(stack, 0), psf_, With("blind"));
    EXPECT_TRUE(Says("1 cycle (the limit)")) << said_.out;
    EXPECT_FALSE(Says("padded to")) << said_.out;
    Restored(stack, psf_, With("landweber", {"--threshold-scale", "1"}));
    EXPECT_TRUE(Says("padded to")) << said_.out;
}

TEST_F(RestorePicture, NegativeSamplesBecomeZeroWithANote) {
    Stack image = BlurredPicture(PictureTruth(40, 40), psf_);
    image.samples[7] = -3.0f;
    const Stack restored = Restored(image, psf_, With("rltv"));
    EXPECT_NE(said_.err.find("1 negative sample of the image is set to 0"), std::string::npos) << said_.err;
    image.samples[7] = 0.0f;
    EXPECT_EQ(Restored(image, psf_, With("rltv")).samples, restored.samples);
}

TEST_F(RestorePicture, ABlackPictureStaysBlack) {
    const Stack black = MakeStack(24, 20, 1, [](int, int, int) { return 0.0; });
    for (const std::string& method : PictureMethodNames()) {
        EXPECT_EQ(Restored(black, psf_, With(method)).Sum(), 0.0) << method;
    }
}

TEST_F(RestorePicture, TheSameFilesGiveTheSameBytes) {
    const Stack image = BlurredPicture(PictureTruth(120, 60), psf_);
    Restored(image, psf_, With("rltm", {"--tiles", "2x1"}));
    const std::string first = FileBytes(In("out.tif"));
    Restored(image, psf_, With("rltm", {"--tiles", "2x1"}));
    EXPECT_EQ(FileBytes(In("out.tif")), first);
}

}  // namespace
}  // namespace rydecon
