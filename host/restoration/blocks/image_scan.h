// SPDX-License-Identifier: MIT
#pragma once

// What must be known of the whole image before its blocks are restored, so that they agree.

#include <cstdint>
#include <vector>

#include "restoration/blocks/block_grid.h"
#include "restoration/stack_volume.h"
#include "volume/plane_stream.h"

namespace rydecon {

struct ImageScan {
    SampleRange range;
    double sum = 0.0;
    double borderMean = 0.0;          ///< of the outermost samples
    double positiveBorderMean = 0.0;  ///< likewise, with those below 0 taken for 0
    std::uint32_t checksum = 0;       ///< CRC-32 of the samples
    std::vector<double> energy;       ///< of each block: sum of squares of the samples that are most its own
    std::vector<double> light;        ///< likewise: sum of the samples above 0

    /// The block with most energy, the first of equals.
    int Brightest() const;

    /// Whether a block and its neighbours have next to no light between them.
    bool IsDark(int block, const BlockGrid& grid) const;
};

/// Reads all planes.
ImageScan ScanImage(PlaneSource& from, const BlockGrid& grid);

/// CRC-32 of the samples of a plane, on top of that of the planes before.
std::uint32_t ExtendChecksum(std::uint32_t checksum, const float* rows, std::ptrdiff_t rowStride,
                             const Extent& shape);

/// What is done to samples on their way into a block.
struct Preparation {
    float lift = 0.0f;         ///< added to each
    bool cutNegative = false;  ///< then set to 0 where below

    void Apply(float* row, int count) const;

    /// Mean of the image's border after that.
    float BorderMean(const ImageScan& scan) const {
        return static_cast<float>(cutNegative ? scan.positiveBorderMean : scan.borderMean) + lift;
    }
};

}  // namespace rydecon
