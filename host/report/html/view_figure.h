// SPDX-License-Identifier: MIT
#pragma once

// The pictures of a volume before and after, one above the other under a divider, side by side, or subtracted.

#include <string>

#include "report/html/volume_views.h"

namespace rydecon {

/// A "<figure>". `id` is a word that no other figure of the page has.
std::string ViewFigure(const VolumeViews& views, const std::string& id);

}  // namespace rydecon
