// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/legacy.h>
#include <gnr_deconvolution/return_codes.h>

#include <cstdlib>

#include "cores/divergence_stop.h"
#include "cores/landweber_step.h"
#include "cores/momentum.h"
#include "cores/psf_sum.h"
#include "entries/scratch_volumes.h"
#include "kernels/mean_divergence.h"
#include "kernels/richardson_lucy_update.h"

using namespace gnr::detail;

namespace {

/// Iterations from one restart of the momentum to the next.
constexpr int kRestartPeriod = 35;

}  // namespace

// x  estimate, in the host's image     g  observed image     H  transfer function of the PSF
// y  point of the gradient             r  gradient           k  iteration
int CRy3DDeconvolution::Landweber(DFT3D* s, float* pfPsf, float* pfImage, int iIterations,
                                  RyProgressCallback pfn, void* pData, int /*iUnused1*/, int /*iUnused2*/,
                                  unsigned /*uiUnused3*/, double /*dUnused4*/) {
    std::srand(0);
    LandweberStep step;
    step.correction = PsfSumCorrectionOfEntry(*s, pfPsf);
    const ScratchVolumes<4> volumes(*s);
    if (!volumes) return gnr::kNotReady;
    float* const g = volumes[0];
    float* const r = volumes[1];
    float* const y = volumes[2];
    float* const x = pfImage;

    CopyVolume(*s, g, x);
    CopyVolume(*s, y, x);
    Transfer H(*s, volumes[3], {r});
    H.Make(pfPsf, r);
    if (iIterations > 0) H.Forward(r, y);

    const Progress progress(kLegacyDeconvolution3D, pfn, pData);
    Momentum momentum;
    for (int k = 0; k < iIterations; ++k) {
        if (progress.StopAtBegin()) return gnr::kStopped;
        LandweberGradient(H, *s, r, g);
        const bool restarts = k > 0 && k % kRestartPeriod == 0;
        step.extrapolation = momentum.NextFactor();
        step.extrapolates = k > 0 && !restarts;
        step.followed = k + 1 < iIterations;
        FinishStep(H, *s, x, y, r, step);
        if (restarts) {
            // deliberate: the restart replaces the data term as well
            CopyVolume(*s, g, x);
            momentum.Restart();
        }
        if (progress.StopAtEnd()) return gnr::kStopped;
    }
    return gnr::kSuccessOfEntry;
}

int CRy3DDeconvolution::Landweber_Automatic(DFT3D* s, float* pfPsf, float* pfImage, int iIterations,
                                            RyProgressCallback pfn, void* pData, int /*iUnused1*/,
                                            int /*iUnused2*/, double /*dUnused3*/, const SRyIRect3D& rcImage,
                                            double /*dUnused4*/, unsigned* puiIterationsDone,
                                            double dStopRatio) {
    if (puiIterationsDone != nullptr) *puiIterationsDone = 0;
    std::srand(0);
    LandweberStep step;
    step.length = kOverRelaxation;
    step.correction = PsfSumCorrectionOfEntry(*s, pfPsf);
    const ScratchVolumes<3> volumes(*s);
    if (!volumes) return gnr::kNotReady;
    float* const g = volumes[0];
    float* const r = volumes[1];
    float* const x = pfImage;

    CRy3DDeconvolutionLow::ClipSmallerThanZero(s, x);
    CopyVolume(*s, g, x);
    Transfer H(*s, volumes[2], {r});
    H.Make(pfPsf, r);
    if (iIterations > 0) H.Forward(r, x);

    const Progress progress(kLegacyDeconvolution3D, pfn, pData);
    DivergenceStop stop(dStopRatio);
    const Comparison ofEstimate = {g, rcImage};
    double divergence = 0.0;
    unsigned done = 0;
    bool stopped = false;
    for (int k = 0; k < iIterations; ++k) {
        if ((stopped = progress.StopAtBegin())) break;
        if (k > 0 && stop.IsLast(static_cast<unsigned>(k), divergence)) k = iIterations - 1;
        LandweberGradient(H, *s, r, g);
        step.followed = k + 1 < iIterations;
        divergence = FinishStep(H, *s, x, x, r, step, step.followed ? &ofEstimate : nullptr);
        ++done;
        if ((stopped = progress.StopAtEnd())) break;
    }

    if (puiIterationsDone != nullptr) *puiIterationsDone = done;
    return stopped ? gnr::kStopped : gnr::kSuccessOfEntry;
}
