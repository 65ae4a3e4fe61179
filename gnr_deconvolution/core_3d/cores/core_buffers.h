// SPDX-License-Identifier: MIT
#pragma once

// The working buffers of a core between Prepare and Free. A core keeps plain pointers, since its assignment
// copies them as they stand; these three operations are all that may change them.

#include <span>

namespace gnr::detail {

/// Asks for every buffer of `floats` floats, also after a failure. kSuccess, or kOutOfMemory where any is
/// missing; what was had stays until DestroyBuffers.
int AllocateBuffers(std::span<float** const> buffers, long long floats);

/// Destroys what is there and nulls every pointer.
void DestroyBuffers(std::span<float** const> buffers);

bool AllPresent(std::span<float** const> buffers);

}  // namespace gnr::detail
