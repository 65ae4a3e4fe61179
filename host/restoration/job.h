// SPDX-License-Identifier: MIT
#pragma once

// One restoration, from files to file.

#include "io/stack_writer.h"
#include "report/messages.h"
#include "restoration/restoration_record.h"
#include "restoration/restore_job.h"

namespace rydecon {

/// Samples so far that the type of the file could not hold.
long long ClippedIn(const StackWriter& writer);

/// Tells of samples that the integers of the output could not hold.
void NoteClipped(const StackWriter& writer, const RestoreJob& job, const Messages& messages);

/// Runs the job with the method of its name, for pictures where the image has one plane and there is such a
/// method, or where it is taken plane by plane; the output appears whole or not at all. Returns what there is
/// to tell of it. Throws UserError, with ExitCode::Stopped after Ctrl-C. Peak memory: the padded image, the
/// padded PSF, the core's buffers, and what MakePsfSource takes.
RestorationRecord RunRestoreJob(const RestoreJob& job, const Messages& messages);

/// Prints what the job would take, on standard output: padded size, blocks, memory, time. Writes no file.
void RunEstimateJob(const RestoreJob& job, const Messages& messages);

}  // namespace rydecon
