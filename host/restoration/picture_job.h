// SPDX-License-Identifier: MIT
#pragma once

// One restoration of a picture, or of a stack plane by plane, from files to file.

#include "restoration/job.h"
#include "restoration/picture_method.h"

namespace rydecon {

/// Runs the job; the output appears whole or not at all. Returns what there is to tell of it. Throws UserError, with ExitCode::Stopped after
/// Ctrl-C. Peak memory: two pictures, the PSF, and the method's buffers for one tile.
RestorationRecord RunPictureJob(const RestoreJob& job, const PictureMethod& method, const Messages& messages);

}  // namespace rydecon
