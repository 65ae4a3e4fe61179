// SPDX-License-Identifier: MIT
#pragma once

// The pieces of a volume, put together plane by plane.

#include <functional>

#include "restoration/blocks/block_grid.h"
#include "restoration/blocks/part_folder.h"
#include "volume/plane_stream.h"

namespace rydecon {

/// Sum of the pieces times their weights, less `pedestal`, and where there is a pedestal no less than 0. Takes
/// the memory of two planes. Returns the sum of all samples.
/// head  of each block's piece
double AssemblePieces(const PartFolder& parts, const BlockGrid& grid,
                      const std::function<PieceHead(int block)>& head, float pedestal, PlaneSink& to);

}  // namespace rydecon
