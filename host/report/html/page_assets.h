// SPDX-License-Identifier: MIT
#pragma once

// The style sheet and the script of a report, as they stand in page.css and page.js.

#include <string_view>

namespace rydecon {

extern const std::string_view kPageStyle;
extern const std::string_view kPageScript;

}  // namespace rydecon
