// SPDX-License-Identifier: MIT
#pragma once

// What stands between one border of an image and the opposite one, around the period of the transform.

#include "volume/padded_volume.h"

namespace rydecon {

/// Fills all samples of the volume outside the image, which stands at the origin: on each axis mirrored data
/// that fade, by a raised cosine, to the mean of the image's border in the middle of the gap. So neither
/// border meets a step, and nothing rings across.
void FillMargin(const PaddedVolume& volume, const Extent& image);

/// Likewise, fading to a mean that is known, as that of the image from which a block is cut.
void FillMargin(const PaddedVolume& volume, const Extent& image, float mean);

}  // namespace rydecon
