// SPDX-License-Identifier: MIT
#pragma once

// The restoration of a stack: its channels and times, one after the other.

#include "report/messages.h"
#include "restoration/method.h"
#include "restoration/restoration_record.h"
#include "restoration/restore_job.h"

namespace rydecon {

/// RunRestoreJob with a method for volumes. Where memory allows, the next volume is read and the last one written
/// while the one between them is computed.
RestorationRecord RunVolumeJob(const RestoreJob& job, const Method& method, const Messages& messages);

}  // namespace rydecon
