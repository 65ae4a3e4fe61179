// SPDX-License-Identifier: MIT
// The parts of a picture: scale bar, lettering, stretching.

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "report/bitmap_font.h"
#include "report/scale_bar.h"
#include "report/stack_picture.h"

namespace rydecon {
namespace {

TEST(ScaleBar, LengthIsRoundAndAtMostAThird) {
    const struct {
        int width;
        int pixels;
        double magnification;
        std::optional<double> pitch;
        const char* label;
    } cases[] = {
        {300, 100, 1.0, 0.1, "10 um"},    {299, 50, 1.0, 0.1, "5 um"},       {600, 200, 2.0, 0.1, "10 um"},
        {300, 100, 1.0, 0.001, "0.1 um"}, {256, 80, 16.0, 0.004, "0.02 um"}, {300, 100, 1.0, 20.0, "2000 um"},
        {300, 100, 1.0, {}, "100 px"},    {256, 256, 256.0, {}, "1 px"},     {256, 64, 64.0, {}, "1 px"}};
    for (const auto& c : cases) {
        const ScaleBar bar = ChooseScaleBar(c.width, c.magnification, c.pitch);
        EXPECT_EQ(bar.label, c.label);
        EXPECT_EQ(bar.pixels, c.pixels) << c.label;
    }
}

TEST(BitmapFont, EveryLetterThatIsWrittenHasAGlyph) {
    for (const char letter : std::string("0123456789.umpxbeforeafter")) {
        GreyPicture picture(20, 20);
        DrawText(picture, 2, 2, std::string(1, letter));
        int dots = 0;
        for (int y = 0; y < 20; ++y) {
            for (int x = 0; x < 20; ++x) {
                if (picture.At(x, y) == 0) continue;
                ++dots;
                EXPECT_TRUE(x >= 2 && x < 2 + TextWidth("a") && y >= 2 && y < 2 + kTextHeight) << letter;
            }
        }
        EXPECT_GT(dots, 0) << letter;
    }
}

TEST(BitmapFont, TextBeyondThePictureIsCutOff) {
    GreyPicture picture(5, 5);
    DrawText(picture, -3, -3, "before");
    DrawText(picture, 100, 100, "after");
    EXPECT_EQ(TextWidth(""), 0);
}

TEST(StackPicture, StretchIsLinearAndKeepsTheSamples) {
    const std::vector<float> samples = {0.0f, 10.0f, 20.0f};
    const GreyPicture same = Render(samples, 3, 1, 3, 1, {0.0f, 20.0f});
    EXPECT_EQ(same.At(0, 0), 0);
    EXPECT_EQ(same.At(1, 0), 128);
    EXPECT_EQ(same.At(2, 0), 255);
    const GreyPicture wide = Render(samples, 3, 1, 6, 2, {0.0f, 20.0f});
    const int expected[] = {0, 32, 96, 159, 223, 255};  // centres at -1/4, 1/4, 3/4, ... samples
    for (int x = 0; x < 6; ++x) {
        EXPECT_EQ(wide.At(x, 0), expected[x]) << x;
        EXPECT_EQ(wide.At(x, 1), expected[x]) << x;
    }
}

TEST(StackPicture, ContrastIsThatOfThePercentiles) {
    StackHeader header;
    header.width = 1000;
    header.height = 10;
    header.slices = 1;
    Projections projections(header);
    std::vector<float> plane(10000);
    for (std::size_t n = 0; n < plane.size(); ++n) plane[n] = static_cast<float>(n);
    projections.AddPlane(plane.data());
    // 10000 samples 0 to 9999, and again the last row, 9000 to 9999.
    const Contrast contrast = ChooseContrast(projections);
    EXPECT_EQ(contrast.black, 110.0f);
    EXPECT_EQ(contrast.white, 9994.0f);
}

}  // namespace
}  // namespace rydecon
