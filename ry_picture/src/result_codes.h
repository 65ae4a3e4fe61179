// SPDX-License-Identifier: MIT
#pragma once

// What the operations of this library return.

namespace gnr::detail {

inline constexpr int kPictureDone = 0;
inline constexpr int kPictureNoMemory = -3;
inline constexpr int kPictureBadArgument = -4;

}  // namespace gnr::detail
