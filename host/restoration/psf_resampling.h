// SPDX-License-Identifier: MIT
#pragma once

// Brings a PSF to other distances of samples.

#include "restoration/psf_rows.h"
#include "volume/sample_box.h"

namespace rydecon {

/// Distances of the wanted samples in units of those present, per axis; 1 keeps an axis as it is.
struct PitchRatio {
    double x = 1.0;
    double y = 1.0;
    double z = 1.0;
};

/// The PSF at the new distances, its peak on a sample: band-limited by a sinc under a Lanczos window of three
/// lobes, whose band is the narrower of both grids. Negative samples, before and after, become 0; with a note
/// for those of the PSF itself. The sum is left to the caller.
SampleBox ResamplePsf(PsfRows& rows, const PitchRatio& ratio, const Messages& messages);

}  // namespace rydecon
