// SPDX-License-Identifier: MIT
#pragma once

// Whether a restoration gave back what it was given.

#include <cstdint>

#include "volume/padded_volume.h"
#include "volume/plane_stream.h"

namespace rydecon {

/// CRC-32 of the samples of the stack at the origin of a volume.
std::uint32_t ChecksumOfStack(const PaddedVolume& volume, const Extent& shape);

/// Whether the stack at the origin equals the planes, sample by sample; `cut` ones count as 0 where they are
/// negative. Memory: a plane.
bool EqualsPlanes(const PaddedVolume& volume, PlaneSource& planes, bool cut);

}  // namespace rydecon
