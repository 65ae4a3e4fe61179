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

using Low = CRy3DDeconvolutionLow;

/// Iterations from one restart of the momentum to the next.
constexpr int kRestartPeriod = 35;

}  // namespace

// x  estimate, in the host's image     g  observed image     H  transform of the PSF
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
    float* const H = volumes[1];
    float* const r = volumes[2];
    float* const y = volumes[3];
    float* const x = pfImage;

    CopyVolume(*s, g, x);
    CopyVolume(*s, y, x);
    CopyVolume(*s, H, pfPsf);
    Low::DFT3D_Transform(s, H);

    const Progress progress(kLegacyDeconvolution3D, pfn, pData);
    Momentum momentum;
    for (int k = 0; k < iIterations; ++k) {
        if (progress.StopAtBegin()) return gnr::kStopped;
        LandweberGradient(*s, r, g, y, H);
        step.extrapolation = momentum.NextFactor();
        step.extrapolates = k > 0;
        FinishStep(*s, x, y, r, step);
        if (k > 0 && k % kRestartPeriod == 0) {
            // deliberate: the restart replaces the data term as well
            CopyVolume(*s, g, x);
            CopyVolume(*s, y, x);
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
    const ScratchVolumes<4> volumes(*s);
    if (!volumes) return gnr::kNotReady;
    float* const g = volumes[0];
    float* const H = volumes[1];
    float* const r = volumes[2];
    float* const y = volumes[3];
    float* const x = pfImage;

    Low::ClipSmallerThanZero(s, x);
    CopyVolume(*s, g, x);
    CopyVolume(*s, y, x);
    CopyVolume(*s, H, pfPsf);
    Low::DFT3D_Transform(s, H);

    const Progress progress(kLegacyDeconvolution3D, pfn, pData);
    DivergenceStop stop(dStopRatio);
    const Comparison ofPoint = {g, rcImage};
    double divergence = 0.0;
    unsigned done = 0;
    bool stopped = false;
    for (int k = 0; k < iIterations; ++k) {
        if ((stopped = progress.StopAtBegin())) break;
        if (k > 0 && stop.IsLast(static_cast<unsigned>(k), divergence)) k = iIterations - 1;
        LandweberGradient(*s, r, g, y, H);
        divergence = FinishStep(*s, x, y, r, step, k + 1 < iIterations ? &ofPoint : nullptr);
        ++done;
        if ((stopped = progress.StopAtEnd())) break;
    }

    if (puiIterationsDone != nullptr) *puiIterationsDone = done;
    return stopped ? gnr::kStopped : gnr::kSuccessOfEntry;
}
