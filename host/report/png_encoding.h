// SPDX-License-Identifier: MIT
#pragma once

// Pictures as PNG in memory.

#include <array>
#include <cstdint>
#include <vector>

#include "report/grey_picture.h"

namespace rydecon {

/// The colour that each of the 256 values of a picture is shown in: red, green, blue.
using Palette = std::array<std::array<std::uint8_t, 3>, 256>;

/// 8-bit PNG: grey, or the colours of a palette. std::runtime_error with the encoder's reason where that
/// cannot be.
std::vector<unsigned char> EncodePng(const GreyPicture& picture);
std::vector<unsigned char> EncodePng(const GreyPicture& picture, const Palette& palette);

}  // namespace rydecon
