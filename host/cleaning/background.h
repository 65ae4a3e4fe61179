// SPDX-License-Identifier: MIT
#pragma once

// The constant under an image: camera offset and evenly spread light.

#include "volume/plane_stream.h"

namespace rydecon {

/// The level that one twentieth of the local means (5 x 5 samples of a plane) lie below. Where a tenth of the
/// stack or more is empty, that is its ground, less a third of the noise of a sample at most; it never lies
/// above what a twentieth of the stack shows. least and largest bound the samples; least < largest.
double EstimateBackground(PlaneSource& from, double least, double largest);

}  // namespace rydecon
