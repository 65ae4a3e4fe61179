// SPDX-License-Identifier: MIT
#pragma once

// What the operations of this library return.

namespace gnr::detail {

inline constexpr int kWaveletDone = 0;
inline constexpr int kWaveletNoMemory = -3;
inline constexpr int kWaveletBadArgument = -4;

}  // namespace gnr::detail
