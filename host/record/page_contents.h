// SPDX-License-Identifier: MIT
#pragma once

// What the page of --report tells, from the record of a run.

#include <string>
#include <vector>

#include "report/html/restoration_report.h"
#include "restoration/job.h"

namespace rydecon {

/// Takes the views out of the record, which may be large.
/// notes    of the run
/// version  of the program
RestorationReport PageContents(const RestoreJob& job, RestorationRecord& record,
                               const std::vector<std::string>& notes, const std::string& version);

}  // namespace rydecon
