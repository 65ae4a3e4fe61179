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
    std::uint64_t exchange = 0;  ///< the unit that is read ahead, and the one that is being written
    std::uint64_t views = 0;     ///< what a report is going to show of volumes restored before
    std::uint64_t earlier = 0;   ///< most memory that the process had before
    std::uint64_t Total() const;
};

/// The volumes of an output that share a PSF, and so a plan.
struct VolumeSet {
    Extent shape;        ///< of each
    unsigned first = 0;  ///< number of the first of them
    unsigned count = 1;  ///< of them
    unsigned all = 1;    ///< of the whole output
    std::uint64_t held =
        0;  ///< bytes of samples that the process has already for what it reads and writes meanwhile
};

struct RunPlan {
    BlockGrid grid;
    Extent frame;  ///< the padded volume, of the largest block
    MemoryNeed need;
    MemoryLimit limit;
    /// Units, which are the blocks or, where there are none, the volumes of the output, are read and written while
    /// the one between them is computed.
    bool overlapped = false;
    bool curve = false;  ///< there is memory for how well each iterate explains the image

    bool InBlocks() const { return grid.blocks() > 1; }
    /// Padded samples of all blocks.
    double Samples() const;
};

/// The plan for some volumes: in one piece where that fits the limit, else in the blocks with the
/// fewest padded samples.
/// counts  blocks along the axes that are taken where they fit, as those of an earlier run; empty: none
/// UserError where not even the smallest blocks fit, and where the job cannot be cut.
RunPlan PlanRun(const RestoreJob& job, const Method& method, const VolumeRestoration& restoration,
                const VolumeSet& volumes, const std::optional<Extent>& counts = std::nullopt);

/// What the method's core takes in a padded volume.
struct CoreNeed {
    std::uint64_t asked = 0;    ///< bytes that it allocates
    std::uint64_t touched = 0;  ///< bytes of them that become memory
};
CoreNeed CoreNeedOf(const Method& method, const MethodSettings& settings, const Extent& frame);

}  // namespace rydecon
