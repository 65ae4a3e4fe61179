// SPDX-License-Identifier: MIT
#pragma once

// The volumes of one output restored piece by piece: each in one piece where memory allows, in blocks where
// not; what is finished survives the end of the program.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "report/html/report_views.h"
#include "report/messages.h"
#include "restoration/blocks/image_scan.h"
#include "restoration/blocks/part_folder.h"
#include "restoration/blocks/run_plan.h"
#include "restoration/blocks/unit_exchange.h"
#include "restoration/kept_volume.h"
#include "restoration/method.h"
#include "restoration/restoration_record.h"
#include "restoration/restore_job.h"
#include "restoration/volume_restoration.h"
#include "volume/plane_stream.h"

namespace rydecon {

/// Where the planes of one volume come from and go to.
struct VolumePassage {
    PlaneSource& from;              ///< read once or, in blocks, several times
    std::shared_ptr<PlaneSink> to;  ///< may get them on another thread, until the writer has waited for it
    ReportViews* views = nullptr;   ///< is shown the result, before Restore returns
    std::function<void()> loaded = {};  ///< called once no plane is read again but of a failed run
};

class PiecewiseRestoration {
  public:
    /// Plans the run. All arguments but `volumes` must outlive the object.
    /// parts    of the output; its owner removes them once the output is in its place
    /// writer   of these parts; its owner waits for it at the end
    /// volumes  of several each is a piece of its own, at least
    PiecewiseRestoration(PartFolder& parts, UnitWriter& writer, const RestoreJob& job, const Method& method,
                         VolumeRestoration& restoration, const VolumeSet& volumes, const Messages& messages);

    const RunPlan& plan() const { return plan_; }

    /// Samples of a volume to be held while another is computed; 0: none is.
    std::size_t RoomForVolume() const {
        return plan_.overlapped && !plan_.InBlocks() ? RoomOf(plan_.grid.shape()) : 0;
    }

    /// The restored volumes that the folder holds, as they were restored.
    const std::vector<KeptVolume>& kept() const { return kept_; }

    /// Restores volume number `volume`, from 0, or takes over what an earlier run has of it.
    /// use  of the PSF; it is kept where the volume is cut
    VolumeRecord Restore(unsigned volume, const VolumePassage& passage, VolumeRestoration::PsfUse use);

  private:
    VolumeRecord RestoreKept(unsigned volume, const VolumePassage& passage, VolumeRestoration::PsfUse use);
    VolumeRecord RestoreInBlocks(unsigned volume, const VolumePassage& passage);
    std::optional<VolumeRecord> TakeOver(unsigned volume, const VolumePassage& passage);
    void Assemble(const KeptVolume& kept, const VolumePassage& passage, VolumeRecord& record);
    Preparation Prepare(const ImageScan& scan, const Extent& shape) const;
    PieceEnd MakePieces(PlaneSource& from, const ImageScan& scan, const Preparation& preparation,
                        const std::function<PieceHead(int)>& head, VolumeRecord& record);
    struct BlockPassage {
        PlaneSource& from;
        PlaneSink& to;
        std::function<void()> loaded;
    };
    PieceEnd RestoreBlock(int block, const std::optional<PieceEnd>& first, const ImageScan& scan,
                          const Preparation& preparation, const BlockPassage& passage, VolumeRecord& record);
    KeptVolume Keep(unsigned volume, std::uint32_t image, float pedestal) const;
    std::string Identity(std::uint32_t image) const;

    PartFolder& parts_;
    UnitWriter& writer_;
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
