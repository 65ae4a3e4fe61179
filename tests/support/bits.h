// SPDX-License-Identifier: MIT
#pragma once

// Comparison bit for bit: tells -0 from +0 and one NaN from another.

#include <gtest/gtest.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>

namespace gnr::test {

inline std::uint32_t Bits(float value) {
    return std::bit_cast<std::uint32_t>(value);
}

/// Success where both hold the same bits; otherwise names the first difference.
inline testing::AssertionResult SameBits(std::span<const float> got, std::span<const float> expected) {
    if (got.size() != expected.size()) {
        return testing::AssertionFailure() << got.size() << " floats, expected " << expected.size();
    }
    for (std::size_t n = 0; n < got.size(); ++n) {
        if (Bits(got[n]) != Bits(expected[n])) {
            return testing::AssertionFailure()
                   << "float " << n << ": " << got[n] << ", expected " << expected[n];
        }
    }
    return testing::AssertionSuccess();
}

}  // namespace gnr::test
