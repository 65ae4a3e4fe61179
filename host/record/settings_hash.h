// SPDX-License-Identifier: MIT
#pragma once

// One short name for everything that decides the samples of a result.

#include <optional>
#include <string>
#include <vector>

#include "record/file_identity.h"
#include "restoration/job.h"

namespace rydecon {

/// The files whose content decides the result.
struct InputIdentities {
    FileIdentity image;
    std::vector<FileIdentity> psfs;  ///< one, or one a channel; none where they are computed
};

/// What the PSFs of a job are: one for all channels, or one for each.
std::vector<PsfChoice> PsfsOf(const RestoreJob& job);

/// Reads the files of the job, those but for which `known` has them unchanged.
InputIdentities IdentifyInputs(const RestoreJob& job, const std::optional<InputIdentities>& known,
                               OnStop onStop);

/// 16 hexadecimal digits: FNV-1a over the method, its settings with their defaults, the optics as given, the
/// contents of image and PSF and the version of the program. Equal whatever the files are called and wherever
/// they lie. UserError (usage) for a method that does not exist.
std::string SettingsHash(const RestoreJob& job, const InputIdentities& inputs, const std::string& version);

}  // namespace rydecon
