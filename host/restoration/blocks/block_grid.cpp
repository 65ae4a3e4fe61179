// SPDX-License-Identifier: MIT
#include "restoration/blocks/block_grid.h"

#include <algorithm>

namespace rydecon {

namespace {

/// Even where a PSF is a point, two blocks meet softly.
constexpr int kShortestRamp = 4;

Overlap OverlapFor(int low, int high, int step) {
    const int reach = std::max(low, high);
    return {reach + reach / 2, std::max(reach / 2, kShortestRamp), step};
}

}  // namespace

Overlaps OverlapsFor(const PsfReach& reach, int step) {
    return {OverlapFor(reach.low.x, reach.high.x, step), OverlapFor(reach.low.y, reach.high.y, step),
            OverlapFor(reach.low.z, reach.high.z, step)};
}

}  // namespace rydecon
