// SPDX-License-Identifier: MIT
#pragma once

// The planes of blocks: cropped out of the image and made fit, and cropped to what becomes a piece.

#include <vector>

#include "restoration/blocks/block_grid.h"
#include "restoration/blocks/image_scan.h"
#include "restoration/blocks/unit_exchange.h"
#include "volume/plane_stream.h"

namespace rydecon {

/// The blocks of an image as they are read.
class BlockPlanes final : public UnitSource {
  public:
    /// from, grid  must outlive the object
    BlockPlanes(PlaneSource& from, const BlockGrid& grid, const Preparation& preparation);

    Extent ShapeOf(int block) const override { return grid_.Read(block).size(); }
    void ReadPlane(int block, int k, float* rows, std::ptrdiff_t rowStride) override;

  private:
    PlaneSource& from_;
    const BlockGrid& grid_;
    Preparation preparation_;
    std::vector<float> plane_;  // of the whole image
};

/// Takes the planes of a block as it was read, and hands on what of them is its piece.
class UsedPlanes final : public PlaneSink {
  public:
    UsedPlanes(PlaneSink& to, const BlockGrid& grid, int block) : to_(to), grid_(grid), block_(block) {}

    void WritePlane(int k, const float* rows, std::ptrdiff_t rowStride) override;

  private:
    PlaneSink& to_;
    const BlockGrid& grid_;
    int block_;
};

}  // namespace rydecon
