// SPDX-License-Identifier: MIT
#pragma once

// A restoration with all that is written beside its output.

#include <string>

#include "report/messages.h"
#include "restoration/job.h"

namespace rydecon {

enum class Sidecar { Written, LeftOut };

/// Runs the job and writes, once the output is in its place, its sidecar and the page of --report. One that cannot
/// be written then costs no output: a note tells, and no sidecar is left that tells of an earlier output. UserError as
/// from RunRestoreJob; before the run where a file that is none stands in the sidecar's place, and where the page
/// cannot be.
/// version  of the program and its library
RestorationRecord RunRecordedRestoration(const RestoreJob& job, const std::string& version, Sidecar sidecar,
                                         const Messages& messages);

}  // namespace rydecon
