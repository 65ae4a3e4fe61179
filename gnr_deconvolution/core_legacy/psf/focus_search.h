// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "psf/layered_pupil.h"

namespace gnr::detail {

/// Stage displacement, in metres, at which the aberrated beam is in focus: the best place of a coarse scan
/// about the nominal depth, then the centroid of the intensity on the axis within 2 * planes planes about it.
/// 0 at a depth of 0. Throws std::bad_alloc.
double FindFocus(const LayeredOptics& optics, std::int64_t planes);

}  // namespace gnr::detail
