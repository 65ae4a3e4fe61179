// SPDX-License-Identifier: MIT
#pragma once

// The volumes of one output restored piece by piece: each in one piece where memory allows, in blocks where
// not; what is finished survives the end of the program.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "report/messages.h"
#include "restoration/blocks/image_scan.h"
#include "restoration/blocks/part_folder.h"
#include "restoration/blocks/run_plan.h"
#include "restoration/kept_volume.h"
#include "restoration/method.h"
#include "restoration/restoration_record.h"
#include "restoration/restore_job.h"
#include "restoration/volume_restoration.h"
#include "volume/plane_stream.h"

namespace rydecon {

class PiecewiseRestoration {
  public:
    /// Which of an output's volumes have this PSF and so this plan.
    struct Volumes {
        unsigned first = 0;  ///< number of the first of them
        unsigned all = 1;    ///< of the whole output; of several each is a piece of its own, at least
    };

    /// Plans the run. All arguments must outlive the object.
    /// parts  of the output; its owner removes them once the output is in its place
    /// shape  of each volume
    PiecewiseRestoration(PartFolder& parts, const RestoreJob& job, const Method& method,
                         VolumeRestoration& restoration, const Extent& shape, const Volumes& volumes,
                         const Messages& messages);

    const RunPlan& plan() const { return plan_; }

    /// The restored volumes that the folder holds, as they were restored.
    const std::vector<KeptVolume>& kept() const { return kept_; }

    /// Restores volume number `volume`, from 0, or takes over what an earlier run has of it. Planes of `from`
    /// are read once or, in blocks, several times.
    /// use  of the PSF; it is kept where the volume is cut
    VolumeRecord Restore(unsigned volume, PlaneSource& from, PlaneSink& to, VolumeRestoration::PsfUse use);

  private:
    VolumeRecord RestoreWhole(unsigned volume, PlaneSource& from, PlaneSink& to,
                              VolumeRestoration::PsfUse use);
    VolumeRecord RestoreInBlocks(unsigned volume, PlaneSource& from, PlaneSink& to);
    Preparation Prepare(const ImageScan& scan, const Extent& shape) const;
    PieceEnd MakePieces(PlaneSource& from, const ImageScan& scan, const Preparation& preparation,
                        const std::function<PieceHead(int)>& head, VolumeRecord& record);
    PieceEnd RestoreBlock(int block, const std::optional<PieceEnd>& first, const ImageScan& scan,
                          const Preparation& preparation, PlaneSource& from, PlaneSink& to,
                          VolumeRecord& record);
    KeptVolume Keep(unsigned volume, std::uint32_t image, float pedestal) const;
    std::string Identity(std::uint32_t image) const;

    PartFolder& parts_;
    const RestoreJob& job_;
    const Method& method_;
    VolumeRestoration& restoration_;
    const Messages& messages_;
    bool keepsWhole_;  // a volume in one piece is kept as well
    RunPlan plan_;
    std::vector<KeptVolume> kept_;
    std::uint32_t psfChecksum_ = 0;
};

}  // namespace rydecon
