// SPDX-License-Identifier: MIT
#pragma once

// Where a restoration takes its PSF from: a file, or the optics of the microscope.

#include <filesystem>

#include "io/stack_header.h"
#include "optics/optics.h"
#include "report/messages.h"
#include "restoration/psf_source.h"

namespace rydecon {

struct PsfChoice {
    std::filesystem::path file;  ///< empty: computed from `optics`
    Optics optics;               ///< what the command line tells; what it leaves empty the image may tell
};

/// The PSF for one image. A file whose distances of samples differ from the image's is resampled to them, a
/// computed one has them; both with a note that tells. Takes the memory of one volume of the PSF's extent
/// unless a file is used as it is.
PsfSource MakePsfSource(const PsfChoice& choice, const std::filesystem::path& image,
                        const StackHeader& header, const Messages& messages);

}  // namespace rydecon
