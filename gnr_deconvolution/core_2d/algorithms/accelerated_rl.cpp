// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/deconvolution_2d.h>

#include "driver/preparation.h"
#include "kernels/acceleration.h"
#include "kernels/convolution.h"
#include "kernels/frame_arithmetic.h"

using namespace gnr::detail;

int CRy2DDeconvolutionFamily::AccRLProcessInner(float* x, float* h, unsigned W, unsigned H,
                                                unsigned uiIterations, bool bFromImage,
                                                unsigned /*uiReserved*/, float* y, float* otf, float* b,
                                                float* c, float* d, float* e, float* f,
                                                unsigned char* pBuffer, int iBufferSize,
                                                FFT2DSpec_R_32f* pSpec, RyProgressCallback pfn, void* pData,
                                                bool /*bReserved*/) {
    CopyFrame(y, bFromImage ? x : h, W, H);
    const AcceleratedFrames frames = {W, H, x, y, otf, b, c, d, e, f, pBuffer, iBufferSize, pSpec};
    PresetFrames(frames);
    AcceleratedSteps steps(frames, h);
    const Progress progress(kPictureDeconvolution, pfn, pData);
    for (unsigned k = 0; k < uiIterations; ++k) {
        if (progress.StopAtPoll()) break;
        steps.Correct(Negatives::kCut);
        steps.Advance(Negatives::kStay);
    }
    SettleFrames(frames);
    // The caller's frame shall hold the packed spectrum.
    CopyFrame(otf, h, W, H);
    ForwardTransform(otf, W, pBuffer, pSpec);
    return gnr::kSuccess;
}
