// SPDX-License-Identifier: MIT
#pragma once

// Which method a name means: one for volumes, one for pictures, or one for each.

#include <string>
#include <vector>

#include "restoration/method.h"
#include "restoration/picture_method.h"
#include "restoration/restore_job.h"

namespace rydecon {

struct MethodChoice {
    const Method* volume = nullptr;
    const PictureMethod* picture = nullptr;

    const std::string& name() const { return volume != nullptr ? volume->name : picture->name; }
};

/// The methods of a name; UserError (usage) that lists the names where there is none.
MethodChoice FindMethods(const std::string& name);

/// A setting that no method of the choice reads is a mistake, not something to pass over: UserError (usage).
/// on  what the choice is narrowed to, such as " on one plane"; may be empty
void RefuseUnread(const MethodChoice& choice, const std::vector<std::string>& given, const std::string& on);

/// The method of the job, a name that means one for volumes and one for pictures narrowed to that of its image.
MethodChoice MethodsForImage(const RestoreJob& job);

}  // namespace rydecon
