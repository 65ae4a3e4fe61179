// SPDX-License-Identifier: MIT
#pragma once

// Sizes that suit the transform: a divisor times a product of the primes 2, 3 and 5.

#include <cstdint>

namespace gnr::detail {

/// Smallest seed * 2^a * 3^b * 5^c, a, b, c >= 0, not below `proposed`; seed at least 1.
/// 0xFFFFFFFF where no such number fits 32 bits.
std::uint32_t SmoothSizeNotBelow(std::uint32_t proposed, std::uint32_t seed);

/// The three sides of a volume, each with its own divisor. Returns kSuccess.
int RoundUpDimensions(unsigned& x, unsigned& y, unsigned& z, unsigned divisorX, unsigned divisorY,
                      unsigned divisorZ);

}  // namespace gnr::detail
