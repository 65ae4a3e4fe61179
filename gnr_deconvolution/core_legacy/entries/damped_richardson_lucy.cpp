// SPDX-License-Identifier: MIT
#include "entries/damped_richardson_lucy.h"

#include <gnr_deconvolution/return_codes.h>

#include "cores/psf_sum.h"
#include "entries/observed_ratio.h"
#include "entries/scratch_volumes.h"

namespace gnr::detail {

// x  estimate     g  observed image     H  transform of the PSF     c  correction of the PSF's sum
int DampedRichardsonLucy(const DFT3D& s, float* psf, float* x, int iterations, const Damping& R,
                         const Progress& progress) {
    const float c = PsfSumCorrectionOfEntry(s, psf);
    const ScratchVolumes<4> volumes(s);
    if (!volumes) return kNotReady;
    float* const g = volumes[0];
    float* const H = volumes[1];
    float* const t = volumes[2];
    float* const factor = R.applies ? volumes[3] : nullptr;

    CopyVolume(s, g, x);
    CopyVolume(s, H, psf);
    CRy3DDeconvolutionLow::DFT3D_Transform(&s, H);

    for (int k = 0; k < iterations; ++k) {
        if (progress.StopAtBegin()) return kStopped;
        ObservedRatio(s, t, x, g, H);
        BackProjectWithOtf(s, t, H);
        if (R.applies) R.field(s, factor, x, R.lambda);
        RichardsonLucyUpdate(s, x, factor, t, c, false);
        if (progress.StopAtEnd()) return kStopped;
    }
    return kSuccessOfEntry;
}

}  // namespace gnr::detail
