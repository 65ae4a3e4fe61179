// SPDX-License-Identifier: MIT
#pragma once

// Paths as the system keeps them, bytes, and as callers pass them, wide characters. The two ways are inverse
// to each other for every byte string, whatever the locale: a byte that is not part of well-formed UTF-8
// becomes a lone low surrogate, U+DC80 to U+DCFF, and a lone low surrogate of that range becomes its byte.

#include <string>
#include <string_view>

namespace ry_platform::detail {

std::wstring WidePath(std::string_view bytes);

/// Characters that no path can hold, such as other lone surrogates, become U+FFFD.
std::string BytePath(std::wstring_view path);

}  // namespace ry_platform::detail
