// SPDX-License-Identifier: MIT
#pragma once

// The bar that tells how long something in a picture is.

#include <optional>
#include <string>

#include "report/grey_picture.h"

namespace rydecon {

struct ScaleBar {
    int pixels = 0;     // length in the picture
    std::string label;  // "5 um", or "50 px" where the pitch is not known
};

inline constexpr int kScaleBarHeight = 26;  // of the strip that DrawScaleBar draws on

/// The longest bar of a round length (1, 2 or 5 times a power of ten, in micrometres or in samples) that
/// takes at most a third of the picture. `pixelsPerSample` is the magnification along x, `micrometre` how the
/// label writes that unit.
ScaleBar ChooseScaleBar(int pictureWidth, double pixelsPerSample, std::optional<double> pitch,
                        const char* micrometre = "um");

/// Bar and label beside it, in a strip of kScaleBarHeight whose upper left corner is given.
void DrawScaleBar(GreyPicture& picture, int left, int top, const ScaleBar& bar);

/// Pixels that the bar and its label take.
int WidthOf(const ScaleBar& bar);

}  // namespace rydecon
