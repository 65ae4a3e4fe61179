// SPDX-License-Identifier: MIT
#pragma once

// Checks of the arguments of a transform.

#include <algorithm>
#include <initializer_list>
#include <limits>

namespace gnr::detail {

inline bool AnyNull(std::initializer_list<const void*> pointers) {
    return std::any_of(pointers.begin(), pointers.end(), [](const void* p) { return p == nullptr; });
}

/// Sides of something that decomposes: even and not 0.
inline bool AreEvenSides(std::initializer_list<unsigned> sides) {
    return std::all_of(sides.begin(), sides.end(), [](unsigned side) { return side > 0 && side % 2 == 0; });
}

/// Sides of a band: not 0, and twice the side is still an unsigned.
inline bool AreBandSides(std::initializer_list<unsigned> sides) {
    constexpr unsigned kLargest = std::numeric_limits<unsigned>::max() / 2;
    return std::all_of(sides.begin(), sides.end(),
                       [](unsigned side) { return side > 0 && side <= kLargest; });
}

}  // namespace gnr::detail
