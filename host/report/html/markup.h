// SPDX-License-Identifier: MIT
#pragma once

// Texts and pictures as they stand in a page.

#include <string>
#include <string_view>
#include <vector>

#include "report/grey_picture.h"
#include "report/png_encoding.h"

namespace rydecon {

/// Safe as text and within quoted attributes. What is no UTF-8, and control characters other than blanks,
/// become U+FFFD.
std::string Escaped(std::string_view text);

std::string Base64(const std::vector<unsigned char>& bytes);

/// The picture as a "data:" address.
std::string PictureAddress(const GreyPicture& picture);
std::string PictureAddress(const GreyPicture& picture, const Palette& palette);

/// Blue for what lost light, white for 0 (value 128), red for what gained it.
const Palette& DivergingPalette();

/// "0.125", "1.25×10⁶", "not a number"; `digits` significant ones.
std::string ShownNumber(double number, int digits = 4);

/// The power of ten, "10⁻⁴".
std::string ShownPower(int exponent);

/// "282 nm", "1.25 µm".
std::string ShownLength(double micrometres);

/// "0.42 s", "3 min 5 s", "2 h 10 min".
std::string ShownDuration(double seconds);

/// "812 MB", "1.25 GB"; decimal units.
std::string ShownBytes(double bytes);

/// "<tag>escaped text</tag>"; attributes as they stand.
std::string Element(std::string_view tag, std::string_view text, std::string_view attributes = "");

}  // namespace rydecon
