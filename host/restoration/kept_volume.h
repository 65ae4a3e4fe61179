// SPDX-License-Identifier: MIT
#pragma once

// Restored volumes that wait in pieces until the whole output is known, as the range that integers are to hold.

#include <optional>

#include "io/stack_writer.h"
#include "report/messages.h"
#include "restoration/blocks/block_grid.h"
#include "restoration/blocks/part_folder.h"
#include "restoration/restoration_record.h"
#include "restoration/restore_job.h"
#include "volume/plane_stream.h"

namespace rydecon {

/// One volume whose pieces a folder holds.
struct KeptVolume {
    BlockGrid grid;
    unsigned volume = 0;
    std::string identity;   ///< of its pieces
    float pedestal = 0.0f;  ///< in the pieces, and not in the volume

    PieceHead HeadOf(int block) const {
        return {volume, static_cast<unsigned>(block), grid.counts(), grid.Used(block).size(), identity};
    }
};

/// A plane on its own as a piece of the folder.
KeptVolume KeepPlane(PartFolder& parts, unsigned number, const float* plane, int width, int height);

/// Puts the pieces together. Returns the sum of all samples.
double WriteKept(const PartFolder& parts, const KeptVolume& kept, PlaneSink& to);

/// Takes planes that are kept elsewhere.
class DroppedPlanes final : public PlaneSink {
  public:
    void WritePlane(int /*k*/, const float* /*rows*/, std::ptrdiff_t /*rowStride*/) override {}
};

/// Brings the restored samples of all volumes into the integers of the file: the least becomes 0, the largest the
/// largest of the type. Before the first plane is written. Told in the record and in a note.
void RescaleOutput(const RestoreJob& job, RestorationRecord& record, StackWriter& writer,
                   const Messages& messages);

}  // namespace rydecon
