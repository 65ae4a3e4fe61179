// SPDX-License-Identifier: MIT
#include "algorithms/blind_inner_loop.h"

#include <gnr_deconvolution/deconvolution_2d.h>

#include "driver/preparation.h"
#include "kernels/convolution.h"
#include "kernels/frame_arithmetic.h"

using namespace gnr::detail;

void gnr::detail::RunBlindSteps(const AcceleratedFrames& frames, const float* h, unsigned iterations,
                                bool isImageStep, float stopEnergy, const Progress& progress) {
    AcceleratedSteps steps(frames, h);
    const bool compares = stopEnergy > 0.0f;
    const EnergySums ofPartner = compares ? SumsOfImage(h, frames.W, frames.H) : EnergySums();
    for (unsigned k = 0; k < iterations; ++k) {
        // Later estimates come cut from the iteration before.
        if (k == 0) ClipSmallerThanZero2D(frames.x, frames.W, frames.H);
        // deliberate: asked after the cut
        if (progress.Stop(eProgressPollBlind2D, 0)) return;
        steps.Correct();
        const EnergySums ofEstimate = steps.Advance(Negatives::kCut);
        if (!compares) continue;
        const float psfOverImage =
            isImageStep ? EnergyRatio(ofEstimate, ofPartner) : EnergyRatio(ofPartner, ofEstimate);
        if (isImageStep ? psfOverImage < stopEnergy : psfOverImage > stopEnergy) return;
    }
}

int CRy2DDeconvolutionFamily::AccIBDProcessInner(float* x, float* h, unsigned W, unsigned H,
                                                 unsigned uiIterations, bool bImageStep, float fStop,
                                                 float* y, float* otf, float* b, float* c, float* d, float* e,
                                                 float* f, unsigned char* pBuffer, int iBufferSize,
                                                 FFT2DSpec_R_32f* pSpec, RyProgressCallback pfn,
                                                 void* pData) {
    const AcceleratedFrames frames = {W, H, x, y, otf, b, c, d, e, f, pBuffer, iBufferSize, pSpec};
    PresetFrames(frames);
    RunBlindSteps(frames, h, uiIterations, bImageStep, fStop, Progress(kPictureDeconvolution, pfn, pData));
    SettleFrames(frames);
    // The caller's frame shall hold the packed spectrum.
    CopyFrame(otf, h, W, H);
    ForwardTransform(otf, W, pBuffer, pSpec);
    // deliberate: the caller does not learn of a stop
    return gnr::kSuccess;
}
