// SPDX-License-Identifier: MIT
#pragma once

// What the operations return.

namespace ry_platform::detail {

inline constexpr int kSuccess = 0;
inline constexpr int kRefused = -9;

}  // namespace ry_platform::detail
