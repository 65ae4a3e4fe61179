// SPDX-License-Identifier: MIT
#pragma once

// Lettering for pictures: 5 by 7 dots a letter, only the letters that the program writes.

#include <string_view>

#include "report/grey_picture.h"

namespace rydecon {

inline constexpr int kTextHeight = 14;  // pixels; each dot is a square of two

/// Pixels from the left edge of the first letter to the right edge of the last.
int TextWidth(std::string_view text);

/// White on what is there. A character without a glyph leaves a gap.
void DrawText(GreyPicture& picture, int left, int top, std::string_view text);

}  // namespace rydecon
