// SPDX-License-Identifier: MIT
#pragma once

// The record beside an output: what was restored, from what, how, and what it came to, as JSON.

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "record/file_identity.h"
#include "record/settings_hash.h"
#include "restoration/job.h"

namespace rydecon {

/// OUT.tif.json beside OUT.tif.
std::filesystem::path SidecarPath(const std::filesystem::path& output);

/// What a sidecar is written from, besides the job.
struct SidecarContents {
    const RestorationRecord& record;
    const std::vector<std::string>& notes;
    InputIdentities inputs;
    FileIdentity output;
    std::optional<std::string> settingsHash;  ///< empty where an input changed while it was read
    std::string version;                      ///< of the program and its library
};

/// The text of a sidecar; docs/sidecar.md tells its schema. Keys stand in one order, numbers do not depend on
/// the locale.
std::string SidecarText(const RestoreJob& job, const SidecarContents& contents);

/// What a later run asks of a sidecar.
struct EarlierRun {
    std::optional<std::string> settingsHash;
    InputIdentities inputs;
    FileIdentity output;
    unsigned long long iterations = 0;  ///< of all volumes
    bool iterative = false;
    double seconds = 0.0;
};

/// The sidecar of an output; empty where there is none that this program wrote.
std::optional<EarlierRun> ReadSidecar(const std::filesystem::path& output);

/// UserError where something stands in the place of the sidecar that is none.
void RequirePlaceForSidecar(const std::filesystem::path& output);

/// Removes a sidecar that tells of an output which is replaced; nothing else.
void RemoveSidecar(const std::filesystem::path& output);

}  // namespace rydecon
