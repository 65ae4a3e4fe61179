// SPDX-License-Identifier: MIT
#pragma once

// A restoration that leaves its record beside its output.

#include <string>

#include "report/messages.h"
#include "restoration/job.h"

namespace rydecon {

/// Runs the job and writes its sidecar once the output is in its place. A sidecar that cannot be written
/// costs no output: a note tells, and none is left that tells of an earlier output. UserError as from
/// RunRestoreJob, and where a file that is none stands in the sidecar's place.
/// version  of the program and its library
RestorationRecord RunRecordedRestoration(const RestoreJob& job, const std::string& version,
                                         const Messages& messages);

/// Runs the job alone; a sidecar of an output that it replaced is removed.
RestorationRecord RunUnrecordedRestoration(const RestoreJob& job, const Messages& messages);

}  // namespace rydecon
