// SPDX-License-Identifier: MIT
#pragma once

// How large a volume a stack is restored in: the stack itself, a gap that keeps opposite borders from
// reaching one another around the period of the transform, and sides that the transform likes.

#include <gnr_deconvolution/cores.h>

#include "restoration/psf_source.h"
#include "volume/padded_volume.h"

namespace rydecon {

/// What a method asks of the sides, besides that the transform likes them.
enum class Sides {
    Any,
    Wavelets,    ///< divisible by 2 for each wavelet level: one for every 16 planes, at least 1, at most 4
    FourLevels,  ///< likewise, with 64 planes at least
};

/// Sides of the padded volume for an image and the reach of its PSF: at least image + reach on both sides of
/// every axis, even in x, with the prime factors 2, 3 and 5. Without wavelets an axis of one sample stays one
/// where the PSF has one plane as well. UserError where a side or the whole exceeds what the library
/// addresses.
Extent PlanFrame(const Extent& image, const PsfReach& reach, Sides sides = Sides::Any);

}  // namespace rydecon
