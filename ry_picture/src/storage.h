// SPDX-License-Identifier: MIT
#pragma once

// Zeroed storage of pictures, with sizes that no product can wrap.

#include <ry_system/alloc.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <optional>

namespace gnr::detail {

/// The product, or nothing where it exceeds `most`.
inline std::optional<std::uint64_t> ProductWithin(std::uint64_t most,
                                                  std::initializer_list<std::uint64_t> factors) {
    std::uint64_t product = 1;
    for (const std::uint64_t factor : factors) {
        if (factor != 0 && product > most / factor) return std::nullopt;
        product *= factor;
    }
    return product;
}

/// Bytes that one block can have.
inline constexpr std::uint64_t kMostBytes = std::numeric_limits<std::ptrdiff_t>::max();

inline void* ZeroedBytes(std::uint64_t bytes) {
    return CRyAlloc::Alloc(CRyAlloc::kZeroed, static_cast<std::size_t>(bytes));
}

}  // namespace gnr::detail
