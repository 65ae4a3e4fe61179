// SPDX-License-Identifier: MIT
#pragma once

// Numbers of things in a sentence.

#include <concepts>
#include <string>

namespace rydecon {

/// "1 plane", "12 planes".
template <std::integral N>
std::string Counted(N number, const std::string& thing) {
    return std::to_string(number) + " " + thing + (number == 1 ? "" : "s");
}

/// The verb behind it.
template <std::integral N>
std::string IsOrAre(N number) {
    return number == 1 ? "is" : "are";
}

}  // namespace rydecon
