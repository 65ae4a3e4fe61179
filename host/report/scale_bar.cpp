// SPDX-License-Identifier: MIT

#include "report/scale_bar.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "report/bitmap_font.h"

namespace rydecon {
namespace {

constexpr int kThickness = 6;
constexpr int kGap = 8;

struct RoundLength {
    double digit = 1.0;
    int exponent = 0;

    double Value() const { return digit * std::pow(10.0, exponent); }
};

/// Largest 1, 2 or 5 times a power of ten that does not exceed `most`.
RoundLength RoundDown(double most) {
    // The allowance keeps a round limit itself, which a division may have left a rounding below.
    const double limit = most * (1.0 + 1e-9);
    RoundLength length = {1.0, static_cast<int>(std::floor(std::log10(limit)))};
    for (const double digit : {2.0, 5.0}) {
        if (RoundLength{digit, length.exponent}.Value() <= limit) length.digit = digit;
    }
    return length;
}

std::string Label(const RoundLength& length, const char* unit) {
    char text[48];
    std::snprintf(text, sizeof text, "%.*f %s", std::max(0, -length.exponent), length.Value(), unit);
    return text;
}

}  // namespace

ScaleBar ChooseScaleBar(int pictureWidth, double pixelsPerSample, std::optional<double> pitch,
                        const char* micrometre) {
    const double perUnit = pixelsPerSample / pitch.value_or(1.0);
    double most = pictureWidth / 3.0 / perUnit;
    if (!pitch) most = std::max(most, 1.0);
    const RoundLength length = RoundDown(most);
    const int pixels = std::max(1, static_cast<int>(std::lround(length.Value() * perUnit)));
    return {pixels, Label(length, pitch ? micrometre : "px")};
}

void DrawScaleBar(GreyPicture& picture, int left, int top, const ScaleBar& bar) {
    picture.FillBox(left, top + (kScaleBarHeight - kThickness) / 2, bar.pixels, kThickness,
                    GreyPicture::kWhite);
    DrawText(picture, left + bar.pixels + kGap, top + (kScaleBarHeight - kTextHeight) / 2, bar.label);
}

int WidthOf(const ScaleBar& bar) {
    return bar.pixels + kGap + TextWidth(bar.label);
}

}  // namespace rydecon
