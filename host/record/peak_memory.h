// SPDX-License-Identifier: MIT
#pragma once

// How much memory the program has taken.

#include <cstdint>

namespace rydecon {

/// Bytes resident at most since the program began; 0 where the system does not tell.
std::uint64_t PeakMemory();

}  // namespace rydecon
