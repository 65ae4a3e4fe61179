// SPDX-License-Identifier: MIT

#include "report/bitmap_font.h"

#include <algorithm>
#include <array>

namespace rydecon {
namespace {

constexpr int kDot = 2;
constexpr int kDotsWide = 5;
constexpr int kDotsHigh = 7;
constexpr int kAdvance = (kDotsWide + 1) * kDot;

struct Glyph {
    char letter;
    std::array<std::string_view, kDotsHigh> rows;
};

constexpr Glyph kGlyphs[] = {
    {'0', {" ### ", "#   #", "#  ##", "# # #", "##  #", "#   #", " ### "}},
    {'1', {"  #  ", " ##  ", "  #  ", "  #  ", "  #  ", "  #  ", " ### "}},
    {'2', {" ### ", "#   #", "    #", "   # ", "  #  ", " #   ", "#####"}},
    {'3', {" ### ", "#   #", "    #", "  ## ", "    #", "#   #", " ### "}},
    {'4', {"   # ", "  ## ", " # # ", "#  # ", "#####", "   # ", "   # "}},
    {'5', {"#####", "#    ", "#### ", "    #", "    #", "#   #", " ### "}},
    {'6', {"  ## ", " #   ", "#    ", "#### ", "#   #", "#   #", " ### "}},
    {'7', {"#####", "    #", "   # ", "  #  ", " #   ", " #   ", " #   "}},
    {'8', {" ### ", "#   #", "#   #", " ### ", "#   #", "#   #", " ### "}},
    {'9', {" ### ", "#   #", "#   #", " ####", "    #", "   # ", " ##  "}},
    {'.', {"     ", "     ", "     ", "     ", "     ", " ##  ", " ##  "}},
    {'a', {"     ", "     ", " ### ", "    #", " ####", "#   #", " ####"}},
    {'b', {"#    ", "#    ", "#### ", "#   #", "#   #", "#   #", "#### "}},
    {'e', {"     ", "     ", " ### ", "#   #", "#####", "#    ", " ### "}},
    {'f', {"  ## ", " #   ", "#### ", " #   ", " #   ", " #   ", " #   "}},
    {'m', {"     ", "     ", "## # ", "# # #", "# # #", "# # #", "# # #"}},
    {'o', {"     ", "     ", " ### ", "#   #", "#   #", "#   #", " ### "}},
    {'p', {"     ", "     ", "#### ", "#   #", "#### ", "#    ", "#    "}},
    {'r', {"     ", "     ", "# ## ", "##   ", "#    ", "#    ", "#    "}},
    {'t', {" #   ", " #   ", "#### ", " #   ", " #   ", " #   ", "  ## "}},
    {'u', {"     ", "     ", "#   #", "#   #", "#   #", "#   #", " ####"}},
    {'x', {"     ", "     ", "#   #", " # # ", "  #  ", " # # ", "#   #"}},
};
static_assert(kTextHeight == kDotsHigh * kDot);

}  // namespace

int TextWidth(std::string_view text) {
    return text.empty() ? 0 : static_cast<int>(text.size()) * kAdvance - kDot;
}

void DrawText(GreyPicture& picture, int left, int top, std::string_view text) {
    for (const char letter : text) {
        const auto* const glyph = std::find_if(std::begin(kGlyphs), std::end(kGlyphs),
                                               [letter](const Glyph& g) { return g.letter == letter; });
        for (int row = 0; glyph != std::end(kGlyphs) && row < kDotsHigh; ++row) {
            const std::string_view dots = glyph->rows[static_cast<std::size_t>(row)];
            for (int column = 0; column < kDotsWide; ++column) {
                if (dots[static_cast<std::size_t>(column)] != '#') continue;
                picture.FillBox(left + column * kDot, top + row * kDot, kDot, kDot, GreyPicture::kWhite);
            }
        }
        left += kAdvance;
    }
}

}  // namespace rydecon
