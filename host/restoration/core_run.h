// SPDX-License-Identifier: MIT
#pragma once

// One run of a prepared core on an image and a PSF, with its bar, its memory and its ways to end.

#include <string>

#include "report/messages.h"
#include "restoration/checkpointed_run.h"
#include "restoration/method.h"
#include "volume/padded_volume.h"

namespace rydecon {

struct CoreRun {
    const char* label = "restoring";
    const CheckpointedRun* parked = nullptr;  ///< what a stopped run leaves; null: nothing
    const bool* enough =
        nullptr;  ///< ends the run, and well, once it is true; looked at as steps begin and end
};

/// Prepares and runs the core on the two volumes, and frees its buffers. Returns the units of work done.
/// UserError where memory does not suffice, and with ExitCode::Stopped after Ctrl-C.
unsigned RunCore(PreparedMethod& method, const PaddedVolume& image, const PaddedVolume& psf,
                 const Extent& shape, const CoreRun& run, const Messages& messages);

}  // namespace rydecon
