// SPDX-License-Identifier: MIT
#pragma once

// The bytes of a lite variant: one record after the other, numbers with the lowest byte first.
//
//   kind        1 byte
//   key length  4 bytes, characters
//   key         4 bytes a character
//   value       4 bytes of an integer, 8 of a double's bits, 1 of a truth value; of a level 8 bytes that count
//               those of the records inside, which follow

#include <cstddef>
#include <cstdint>
#include <vector>

namespace gnr::detail {

enum class RecordKind : unsigned char { kLevel = 'L', kInteger = 'i', kDouble = 'd', kTruth = 'b' };

inline constexpr int kLiteVariantDone = 0;
inline constexpr int kLiteVariantNoMemory = -3;
inline constexpr int kLiteVariantRefused = -4;

inline constexpr std::size_t kDeepestLevel = 64;

/// Bytes of a value of this kind; 0 where the byte names no kind.
constexpr std::size_t ValueBytes(RecordKind kind) {
    switch (kind) {
        case RecordKind::kLevel:
        case RecordKind::kDouble:
            return 8;
        case RecordKind::kInteger:
            return 4;
        case RecordKind::kTruth:
            return 1;
    }
    return 0;
}

inline void PutNumber(unsigned char* to, std::uint64_t value, std::size_t count) {
    for (std::size_t n = 0; n < count; ++n) to[n] = static_cast<unsigned char>(value >> (8 * n));
}

inline std::uint64_t GetNumber(const unsigned char* from, std::size_t count) {
    std::uint64_t value = 0;
    for (std::size_t n = 0; n < count; ++n) value |= std::uint64_t{from[n]} << (8 * n);
    return value;
}

}  // namespace gnr::detail
