// SPDX-License-Identifier: MIT
// Texts and pictures as they stand in a page.

#include <gtest/gtest.h>
#include <png.h>

#include <limits>
#include <string>
#include <vector>

#include "report/html/markup.h"

namespace rydecon {
namespace {

TEST(Markup, EscapesWhatWouldBeMarkup) {
    EXPECT_EQ(Escaped("a < b & c > \"d\" 'e'"), "a &lt; b &amp; c &gt; &quot;d&quot; &#39;e&#39;");
    EXPECT_EQ(Escaped("&amp;"), "&amp;amp;");
    EXPECT_EQ(Escaped(""), "");
    EXPECT_EQ(Element("td", "<", "class=\"x\""), "<td class=\"x\">&lt;</td>");
}

TEST(Markup, KeepsWellFormedUtf8AndReplacesTheRest) {
    const std::string whole = "Größe µ 細胞 \xF0\x9F\x94\xAC";
    EXPECT_EQ(Escaped(whole), whole);
    const std::string r = "\xEF\xBF\xBD";
    EXPECT_EQ(Escaped("a\xFF\xC3"), "a" + r + r);
    EXPECT_EQ(Escaped("\xC3("), r + "(");                   // the second byte is missing
    EXPECT_EQ(Escaped("\xC0\xBC"), r + r);                  // an overlong '<'
    EXPECT_EQ(Escaped("\xE0\x80\xBC"), r + r + r);          // longer still
    EXPECT_EQ(Escaped("\xED\xA0\x80"), r + r + r);          // a surrogate
    EXPECT_EQ(Escaped("\xF4\x90\x80\x80"), r + r + r + r);  // beyond the last character
    EXPECT_EQ(Escaped("\xE7\xB4"), r + r);                  // cut off
    EXPECT_EQ(Escaped(std::string("a\0b\x1B"
                                  "c\td",
                                  7)),
              "a" + r + "b" + r + "c\td");
}

TEST(Markup, Base64OfTheStandardsExamples) {
    const auto encoded = [](const std::string& text) { return Base64({text.begin(), text.end()}); };
    EXPECT_EQ(encoded(""), "");
    EXPECT_EQ(encoded("f"), "Zg==");
    EXPECT_EQ(encoded("fo"), "Zm8=");
    EXPECT_EQ(encoded("foo"), "Zm9v");
    EXPECT_EQ(encoded("foobar"), "Zm9vYmFy");
    EXPECT_EQ(Base64({0xFB, 0xFF, 0xBF}), "+/+/");
}

TEST(Markup, NumbersAreShort) {
    EXPECT_EQ(ShownNumber(0.0), "0");
    EXPECT_EQ(ShownNumber(-12.5), "−12.5");
    EXPECT_EQ(ShownNumber(1234567.0), "1.235×10⁶");
    EXPECT_EQ(ShownNumber(1e-12), "10⁻¹²");
    EXPECT_EQ(ShownNumber(-2e20), "−2×10²⁰");
    EXPECT_EQ(ShownNumber(123456.0, 6), "123456");
    EXPECT_EQ(ShownNumber(std::numeric_limits<double>::quiet_NaN()), "not a number");
    EXPECT_EQ(ShownNumber(-std::numeric_limits<double>::infinity()), "−∞");
    EXPECT_EQ(ShownLength(0.2826), "282.6 nm");
    EXPECT_EQ(ShownLength(1.25), "1.25 µm");
    EXPECT_EQ(ShownBytes(812.4e6), "812 MB");
    EXPECT_EQ(ShownBytes(1.254e9), "1.254 GB");
}

TEST(Markup, DurationsRoundToWholeParts) {
    EXPECT_EQ(ShownDuration(0.0), "0.00 s");
    EXPECT_EQ(ShownDuration(4.1), "4.10 s");
    EXPECT_EQ(ShownDuration(42.34), "42.3 s");
    EXPECT_EQ(ShownDuration(59.97), "1 min 0 s");
    EXPECT_EQ(ShownDuration(185.4), "3 min 5 s");
    EXPECT_EQ(ShownDuration(3599.7), "1 h 0 min");
    EXPECT_EQ(ShownDuration(7790.0), "2 h 10 min");
    EXPECT_EQ(ShownDuration(std::numeric_limits<double>::quiet_NaN()), "unknown");
}

TEST(Markup, PngShowsThePaletteColours) {
    GreyPicture picture(3, 2);
    const std::uint8_t greys[] = {0, 64, 128, 200, 255, 1};
    for (int n = 0; n < 6; ++n) picture.Set(n % 3, n / 3, greys[n]);
    const std::vector<unsigned char> png = EncodePng(picture, DivergingPalette());
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    ASSERT_NE(png_image_begin_read_from_memory(&image, png.data(), png.size()), 0);
    image.format = PNG_FORMAT_RGB;
    ASSERT_EQ(PNG_IMAGE_SIZE(image), 18u);
    unsigned char pixels[18];
    ASSERT_NE(png_image_finish_read(&image, nullptr, pixels, 0, nullptr), 0);
    for (std::size_t n = 0; n < 6; ++n) {
        for (std::size_t c = 0; c < 3; ++c) EXPECT_EQ(pixels[3 * n + c], DivergingPalette()[greys[n]][c]);
    }
}

TEST(Markup, PaletteIsBlueBelowWhiteAtAndRedAboveItsMiddle) {
    const Palette& palette = DivergingPalette();
    EXPECT_EQ(palette[128], (std::array<std::uint8_t, 3>{247, 247, 247}));
    EXPECT_GT(palette[0][2], palette[0][0] + 100);
    EXPECT_GT(palette[255][0], palette[255][2] + 100);
    const auto brightness = [&](std::size_t n) { return palette[n][0] + palette[n][1] + palette[n][2]; };
    for (std::size_t n = 2; n <= 128; ++n) EXPECT_GE(brightness(n), brightness(n - 1)) << n;
    for (std::size_t n = 129; n < 256; ++n) EXPECT_LE(brightness(n), brightness(n - 1)) << n;
}

}  // namespace
}  // namespace rydecon
