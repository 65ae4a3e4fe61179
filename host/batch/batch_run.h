// SPDX-License-Identifier: MIT
#pragma once

// Restores several images, so many at a time, each in a process of its own.

#include <string>
#include <vector>

#include "batch/batch_outcome.h"
#include "batch/batch_plan.h"
#include "report/messages.h"

namespace rydecon {

struct BatchSettings {
    unsigned jobs = 1;       ///< at a time; they share the processors
    bool overwrite = false;  ///< restores again what is there already
    std::string version;     ///< of the program
};

/// Goes through all items, whatever becomes of one of them. What a process says is printed when it ends,
/// notes and errors first. An item whose output is there, made from the same files with the same settings, is
/// left alone; one whose output is something else fails. After Ctrl-C no further item begins, and those that
/// run end.
std::vector<BatchOutcome> RunBatch(const std::vector<BatchItem>& items, const BatchSettings& settings,
                                   const Messages& messages);

}  // namespace rydecon
