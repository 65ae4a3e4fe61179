// SPDX-License-Identifier: MIT

// The form of the blind pass that the structured-illumination driver uses.

#include <gnr_deconvolution/kernels_3d.h>

#include "cores/blind_pass.h"

using namespace gnr::detail;

namespace {

constexpr BlindForm kSimForm = {
    .text = {L"Performing Deconvolution...", "gnr_deconvolution/core_sim"},
    .power = Power::OfColumns,
    .zeroDivisor = ZeroDivisor::BecomesZero,
    .firstAlpha = 1.0f,
    .fillsAlways = false,
    .stopTest = StopTest::BeforeUpdate,
    .testsPlainPasses = false,
    .endsWhenSettled = true,
    .surplus = 1,
};

}  // namespace

unsigned CRy3DDeconvolutionLow::SIM_AccIBDProcessInner3D(float* pfUpdated, float* pfFixed, DFT3D* pSizes,
                                                         unsigned uiSweeps, bool bImagePass, float fStopE8,
                                                         float* pfPlanes, float* pfObserved, float* pfOtf,
                                                         float* pfV, float* pfPrevious, float* pfScratch,
                                                         float* pfGradient1, float* pfGradient2,
                                                         RyProgressCallback pfnProgress, void* pProgressData,
                                                         int& iStatus, bool bReport, bool bAccelerate) {
    const BlindPass pass = {pfUpdated,   pfFixed,     *pSizes,     uiSweeps,      bImagePass, fStopE8,
                            pfPlanes,    pfObserved,  pfOtf,       pfV,           pfPrevious, pfScratch,
                            pfGradient1, pfGradient2, pfnProgress, pProgressData, iStatus,    bReport};
    return RunBlindPass(kSimForm, pass, bAccelerate);
}
