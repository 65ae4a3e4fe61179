// SPDX-License-Identifier: MIT
#pragma once

// What somebody may have meant by a mistyped name.

#include <string>
#include <vector>

namespace rydecon {

/// " (did you mean 'iterations'?)" where one of the names is much like the one given; else empty.
std::string DidYouMean(const std::string& given, const std::vector<std::string>& names);

}  // namespace rydecon
