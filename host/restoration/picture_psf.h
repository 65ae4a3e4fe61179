// SPDX-License-Identifier: MIT
#pragma once

// The PSF of pictures: one plane, from a file or from the optics, as the square that the library takes.

#include "restoration/picture_method.h"
#include "restoration/psf_choice.h"

namespace rydecon {

/// The PSF for pictures of these sides, its largest sample at the centre of the square, of sum 1. UserError for
/// a file of several planes and for one that is larger than the picture; a computed PSF is cropped, with a
/// note.
SquarePsf MakeSquarePsf(const PsfChoice& choice, const std::filesystem::path& image,
                        const StackHeader& header, const Messages& messages);

}  // namespace rydecon
