// SPDX-License-Identifier: MIT
#pragma once

// Texts of ImageJ's blocks, UTF-16, and the program's own, UTF-8 (RFC 2781, RFC 3629).

#include <string>
#include <string_view>

namespace rydecon {

/// Halves of a pair that stand alone become '?'.
std::string Utf8From(std::u16string_view text);

/// Bytes that are no UTF-8 become '?'.
std::u16string Utf16From(std::string_view text);

}  // namespace rydecon
