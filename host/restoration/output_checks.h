// SPDX-License-Identifier: MIT
#pragma once

// What is looked at before a run of files that are written beside its output.

#include "restoration/restore_job.h"

namespace rydecon {

/// UserError where a checkpoint, a refined PSF or a curve cannot be written, or would replace an input or one
/// another.
void CheckFilesBeside(const RestoreJob& job);

/// UserError where the page of --report would replace an input, or another output.
/// record  of the run, beside its output; empty: none
void CheckReport(const RestoreJob& job, const std::filesystem::path& record);

}  // namespace rydecon
