// SPDX-License-Identifier: MIT
#pragma once

// What a restoration will take, decided before it begins: its blocks, and the memory of each part of it.

#include <cstdint>
#include <optional>
#include <string>

#include "restoration/blocks/block_grid.h"
#include "restoration/blocks/memory_limit.h"
#include "restoration/method.h"
#include "restoration/restore_job.h"
#include "restoration/volume_restoration.h"

namespace rydecon {

/// Bytes at the time of most memory.
struct MemoryNeed {
    std::uint64_t process = 0;   ///< the program itself
    std::uint64_t psf = 0;       ///< where the PSF comes from, as far as it stays
    std::uint64_t volumes = 0;   ///< padded image and PSF, and the truth
    std::uint64_t core = 0;      ///< the method's buffers
    std::uint64_t idle = 0;      ///< addresses of those that it never touches; no memory
    std::uint64_t planes = 0;    ///< of the files
    std::uint64_t exchange = 0;  ///< the block that is read ahead, and the piece that is being written
    std::uint64_t earlier = 0;   ///< most memory that the process had before
    std::uint64_t Total() const;
};

struct RunPlan {
    BlockGrid grid;
    Extent frame;  ///< the padded volume, of the largest block
    MemoryNeed need;
    MemoryLimit limit;
    bool overlapped = false;  ///< blocks are read and written while the one between them is computed
    bool curve = false;       ///< there is memory for how well each iterate explains the image

    bool InBlocks() const { return grid.blocks() > 1; }
    /// Padded samples of all blocks.
    double Samples() const;
};

/// The plan for volumes of one shape: in one piece where that fits the limit, else in the blocks with the
/// fewest padded samples.
/// counts  blocks along the axes that are taken where they fit, as those of an earlier run; empty: none
/// UserError where not even the smallest blocks fit, and where the job cannot be cut.
RunPlan PlanRun(const RestoreJob& job, const Method& method, const VolumeRestoration& restoration,
                const Extent& shape, const std::optional<Extent>& counts = std::nullopt);

/// What the method's core takes in a padded volume.
struct CoreNeed {
    std::uint64_t asked = 0;    ///< bytes that it allocates
    std::uint64_t touched = 0;  ///< bytes of them that become memory
};
CoreNeed CoreNeedOf(const Method& method, const MethodSettings& settings, const Extent& frame);

}  // namespace rydecon
