// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/legacy.h>
#include <gnr_deconvolution/return_codes.h>

#include "entries/observed_ratio.h"
#include "entries/scratch_volumes.h"

using namespace gnr::detail;

// x  estimate, in the host's image     g  observed image     H  transform of the PSF, the caller's
int CRyLegacy3DDeconvolutionFamily::LucyRichardson(DFT3D* sizes, float* pfKernelSpectrum, float* pfImage,
                                                   int iIterations, float* pfResult,
                                                   RyProgressCallback callback, void* pUser, int /*iUnused1*/,
                                                   int /*iUnused2*/) {
    const DFT3D& s = *sizes;
    const ScratchVolumes<2> volumes(s);
    if (!volumes) return gnr::kNotReady;
    float* const g = volumes[0];
    float* const t = volumes[1];
    float* const H = pfKernelSpectrum;
    float* const x = pfImage;
    CopyVolume(s, g, x);

    const Progress progress(kLegacyDeconvolution3D, callback, pUser);
    bool stopped = false;
    for (int k = 0; k < iIterations; ++k) {
        // deliberate: the begin of a unit counts one as well
        if ((stopped = progress.Stop(eProgressStepBegin, 1))) break;
        ObservedRatio(s, t, x, g, H);
        // deliberate: H projects back, not its conjugate
        BlurWithOtf(s, t, H);
        RichardsonLucyUpdate(s, x, nullptr, t, 1.0f, false);
        if ((stopped = progress.StopAtEnd())) break;
    }

    *pfResult = 0.0f;
    return stopped ? gnr::kStopped : gnr::kSuccessOfEntry;
}
