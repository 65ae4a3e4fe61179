// SPDX-License-Identifier: MIT
#pragma once

// Conversions to integers that are defined for every double: settings of the host reach them unchecked.

#include <cmath>
#include <cstdint>
#include <limits>

namespace gnr::detail {

/// Rounded towards 0; the lowest integer for a NaN and for what does not fit, which every loop bound and
/// every maximum then takes as "nothing".
inline std::int32_t TruncateToInt32(double v) {
    constexpr double end = 2147483648.0;
    return v > -end - 1 && v < end ? static_cast<std::int32_t>(v) : std::numeric_limits<std::int32_t>::min();
}

/// Rounded towards 0, modulo 2^32; 0 for a NaN and for what does not fit 64 bits.
inline std::uint32_t TruncateToUInt32(double v) {
    constexpr double end = 9223372036854775808.0;
    return v >= -end && v < end ? static_cast<std::uint32_t>(static_cast<std::int64_t>(v)) : 0;
}

/// Modulo 2^32, read as a signed number.
constexpr std::int32_t WrapToInt32(std::int64_t v) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(v));
}

}  // namespace gnr::detail
