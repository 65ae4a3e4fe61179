// SPDX-License-Identifier: MIT
#pragma once

// What a restoration would take, without it.

#include "report/messages.h"
#include "restoration/restore_job.h"

namespace rydecon {

/// Prints what the job would take, on standard output: padded size, blocks, memory, time. Writes no file.
void RunEstimateJob(const RestoreJob& job, const Messages& messages);

}  // namespace rydecon
