// SPDX-License-Identifier: MIT
#pragma once

// What a job comes to once every default is filled in, under the names of the options.

#include <nlohmann/json_fwd.hpp>

#include "restoration/job.h"
#include "restoration/picture_method.h"

namespace rydecon {

/// {"iterations": 50, "regularization": 1.0, ...} of all settings that the method reads and that decide the
/// samples of its result. std::logic_error for a method that reads an option which is not known here.
nlohmann::ordered_json ResolvedSettings(const Method& method, const RestoreJob& job);
nlohmann::ordered_json ResolvedSettings(const PictureMethod& method, const RestoreJob& job);

/// What decides the samples whatever the method: selection, cleaning, choice of the end, sample type.
nlohmann::ordered_json DataSettings(const RestoreJob& job);

/// Each number of the optics with its unit and its source, {"na": {"value": 1.4, "source": "--na"}, ...}.
nlohmann::ordered_json OpticsAsJson(const Optics& optics);

}  // namespace rydecon
