// SPDX-License-Identifier: MIT
#pragma once

// A frame of W by H floats as the ippi operations see it.

#include <fft/ippi.h>

namespace gnr::detail {

/// Bytes from row to row.
inline int StepOf(unsigned W) {
    return static_cast<int>(W * sizeof(float));
}

inline IppiSize SizeOf(unsigned W, unsigned H) {
    return {static_cast<int>(W), static_cast<int>(H)};
}

}  // namespace gnr::detail
