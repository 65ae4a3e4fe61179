// SPDX-License-Identifier: MIT
#pragma once

// The lines on standard output that end the restoration of a stack.

#include "restoration/method.h"
#include "restoration/restoration_record.h"
#include "restoration/restore_job.h"

namespace rydecon {

/// One line a volume, and where there are several, one of all.
void PrintSummary(const RestoreJob& job, const Method& method, const RestorationRecord& record);

}  // namespace rydecon
