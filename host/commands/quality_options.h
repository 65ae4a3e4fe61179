// SPDX-License-Identifier: MIT
#pragma once

// The options of restore that put the image right before it is restored, and that choose where iterations end.

#include <CLI/CLI.hpp>

#include <string>

#include "restoration/restore_job.h"

namespace rydecon {

/// What was given, as text; empty where it was not.
struct QualityOptions {
    std::string background;
    std::string hotPixels = "off";
    std::string stop = "own";
};

/// Adds them; `options` and `job` outlive the parsing.
void AddQualityOptions(CLI::App& command, QualityOptions& options, RestoreJob& job);

/// Brings what was given into the job.
void TakeQualityOptions(const QualityOptions& options, RestoreJob& job);

}  // namespace rydecon
