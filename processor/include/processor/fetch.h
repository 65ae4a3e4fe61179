// SPDX-License-Identifier: MIT
#pragma once

// What the processor is asked to bring from memory before it is met. Its own look ahead begins anew with every row of
// a volume and with every column of a plane, and comes too late; some virtual machines do without.

#include <cstddef>
#include <cstdint>

namespace gnr {

/// Asks for `count` floats from the float `first` behind p on, whether or not there are any.
inline void Fetch(const float* p, std::ptrdiff_t first, std::ptrdiff_t count) {
    constexpr std::ptrdiff_t line = 16;
    const auto place = reinterpret_cast<std::uintptr_t>(p);
    for (std::ptrdiff_t i = first; i < first + count; i += line) {
        // A pointer behind the floats must not be formed; a number may be.
        const auto at = place + static_cast<std::uintptr_t>(i) * sizeof(float);
        __builtin_prefetch(reinterpret_cast<const void*>(at));  // NOLINT(performance-no-int-to-ptr)
    }
}

}  // namespace gnr
