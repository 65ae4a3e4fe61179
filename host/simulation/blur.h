// SPDX-License-Identifier: MIT
#pragma once

// The image that a microscope makes of an object.

#include <cstdint>

#include "volume/sample_box.h"

namespace rydecon {

/// Sides of the padded volume in which a stack is blurred without wrap-around; UserError where the library
/// cannot address it.
Extent BlurFrame(const Extent& stack, const Extent& pointSpread);

/// Bytes that Blur allocates for these sizes.
std::uint64_t BlurBytes(const Extent& stack, const Extent& pointSpread);

/// Linear convolution of the object, dark outside its box, with a point spread function of odd sides about
/// its middle sample. What leaves the box is lost; no sample is below 0. `object` is replaced by its image.
void Blur(SampleBox& object, const SampleBox& pointSpread);

}  // namespace rydecon
