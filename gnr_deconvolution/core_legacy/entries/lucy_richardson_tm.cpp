// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/legacy.h>
#include <gnr_deconvolution/return_codes.h>

#include "cores/divergence_stop.h"
#include "cores/psf_sum.h"
#include "cores/regularization_weight.h"
#include "cores/unit_maximum.h"
#include "entries/damped_richardson_lucy.h"
#include "entries/observed_ratio.h"
#include "entries/scratch_volumes.h"
#include "kernels/mean_divergence.h"
#include "kernels/regularization.h"

using namespace gnr::detail;

using Low = CRy3DDeconvolutionLow;

int CRy3DDeconvolution::LucyRichardsonTM(DFT3D* s, float* pfPsf, float* pfImage, int iIterations,
                                         RyProgressCallback pfn, void* pData, int /*iUnused1*/,
                                         int /*iUnused2*/, unsigned uiRegularization) {
    const float lambda = WeightOfDoubledStrength(2 * uiRegularization, kClampedTikhonovMiller);
    const Damping R = {RegularizeParallel, lambda, uiRegularization != 0};
    return DampedRichardsonLucy(*s, pfPsf, pfImage, iIterations, R,
                                Progress(kLegacyDeconvolution3D, pfn, pData));
}

// x  estimate, in the host's image     g  observed image     H  transform of the PSF
// R  damping factor                    c  correction of the PSF's sum
int CRy3DDeconvolution::LucyRichardsonTM_Automatic(DFT3D* s, float* pfPsf, float* pfImage, int iIterations,
                                                   RyProgressCallback pfn, void* pData, int /*iUnused1*/,
                                                   int /*iUnused2*/, double dRegularization,
                                                   const SRyIRect3D& rcImage, unsigned* puiIterationsDone,
                                                   double dStopRatio) {
    if (puiIterationsDone != nullptr) *puiIterationsDone = 0;
    float* const x = pfImage;
    const float maximum = ScaleToUnitMaximum(*s, x);
    const float c = PsfSumCorrectionOfEntry(*s, pfPsf);
    const ScratchVolumes<4> volumes(*s);
    if (!volumes) return gnr::kNotReady;
    float* const g = volumes[0];
    float* const H = volumes[1];
    float* const t = volumes[2];
    const bool regularized = dRegularization != 0.0;
    float* const R = regularized ? volumes[3] : nullptr;

    Low::ClipSmallerThanZero(s, x);
    CopyVolume(*s, g, x);
    CopyVolume(*s, H, pfPsf);
    Low::DFT3D_Transform(s, H);
    float lambda = WeightOfStrength(dRegularization);

    const Progress progress(kLegacyDeconvolution3D, pfn, pData);
    DivergenceStop stop(dStopRatio);
    const Comparison comparison = {g, rcImage};
    double divergence = 0.0;
    unsigned done = 0;
    bool stopped = false;
    for (int k = 0; k < iIterations; ++k) {
        if ((stopped = progress.StopAtBegin())) break;
        if (k > 0 && stop.IsLast(static_cast<unsigned>(k), divergence)) k = iIterations - 1;
        ObservedRatio(*s, t, x, g, H);
        BackProjectWithOtf(*s, t, H);
        if (regularized) RegularizeUntilStableParallel(*s, R, x, lambda);
        divergence = RichardsonLucyUpdate(*s, x, R, t, c, true, k + 1 < iIterations ? &comparison : nullptr);
        ++done;
        if ((stopped = progress.StopAtEnd())) break;
    }

    if (puiIterationsDone != nullptr) *puiIterationsDone = done;
    Low::SSE_MulFloatC3DXX(s, x, maximum);
    return stopped ? gnr::kStopped : gnr::kSuccessOfEntry;
}
