// SPDX-License-Identifier: MIT
#pragma once

// One command line of restore: its options, and the one or many restorations that they ask for.

#include <CLI/CLI.hpp>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "commands/optics_options.h"
#include "commands/quality_options.h"
#include "report/messages.h"
#include "restoration/job.h"

namespace rydecon {

/// Heading in --help of what says where data come from and go to.
inline constexpr const char* kFilesGroup = "Input and output";

/// Options that say how several images are gone through, not how one is restored.
struct BatchOptions {
    std::filesystem::path manifest;  ///< empty: none
    std::string suffix;
    unsigned jobs = 1;
    bool recursive = false;
    bool noSidecar = false;
};

/// What differs from channel to channel, and which of them to take, as given.
struct Selection {
    std::vector<std::filesystem::path> psfs;
    std::optional<std::string> channels;
    std::optional<std::string> times;
};

struct RestoreLine {
    std::vector<std::string> images;
    RestoreJob job;
    OpticsOptions optics;
    Selection selection;
    QualityOptions quality;
    std::string sampleType = "float32";
    std::string guard = "off";
    std::optional<std::string> tiles;
    std::optional<std::string> maxMemory;
    std::string resume;
    BatchOptions batch;
};

/// A word behind --resume that is no checkpoint is the image, where there is no other.
void TakeImageFromResume(RestoreLine& line);

/// Adds all options of restore; `line` outlives the parsing.
void AddRestoreOptions(CLI::App& app, RestoreLine& line);

/// Its part for several images.
void AddBatchOptions(CLI::App& command, BatchOptions& batch);

/// What a parsed line says of one restoration, but for its image. UserError (usage) for values that make no
/// sense.
RestoreJob JobOf(const CLI::App& command, const RestoreLine& line);

/// Restores what the line names, one image in this process, several each in one of its own.
void RunRestoreLine(const CLI::App& command, const RestoreLine& line, const Messages& messages);

}  // namespace rydecon
