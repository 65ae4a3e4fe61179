// SPDX-License-Identifier: MIT

// The form of the blind pass that the modern core uses.

#include <gnr_deconvolution/kernels_3d.h>

#include "cores/blind_pass.h"

using namespace gnr::detail;

namespace {

constexpr BlindForm kParallelForm = {
    .text = kDeconvolution3D,
    .power = Power::WithShortcuts,
    .zeroDivisor = ZeroDivisor::BecomesZero,
    .firstAlpha = 0.0f,
    .fillsAlways = true,
    .stopTest = StopTest::AfterUpdate,
    .testsPlainPasses = true,
    .endsWhenSettled = false,
    .surplus = 0,
};

}  // namespace

unsigned CRy3DDeconvolutionLow::SSE_AccIBDProcessInner3D(
    float* pfUpdated, float* pfFixed, const DFT3D* pSizes, unsigned uiSweeps, bool bImagePass, float fStopE8,
    float* pfPlanes, float* pfObserved, float* pfOtf, float* pfV, float* pfPrevious, float* pfScratch,
    float* pfGradient1, float* pfGradient2, RyProgressCallback pfnProgress, void* pProgressData, int& iStatus,
    bool bReport) {
    const BlindPass pass = {pfUpdated,   pfFixed,     *pSizes,     uiSweeps,      bImagePass, fStopE8,
                            pfPlanes,    pfObserved,  pfOtf,       pfV,           pfPrevious, pfScratch,
                            pfGradient1, pfGradient2, pfnProgress, pProgressData, iStatus,    bReport};
    return RunBlindPass(kParallelForm, pass, AcceleratesBySweeps(uiSweeps));
}
