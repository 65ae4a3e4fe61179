// SPDX-License-Identifier: MIT

// The form of the blind pass that the one-call driver uses.

#include <gnr_deconvolution/kernels_3d.h>

#include "cores/blind_pass.h"
#include "entries/scratch_volumes.h"

using namespace gnr::detail;

namespace {

constexpr BlindForm kSerialForm = {
    .text = kLegacyDeconvolution3D,
    .power = Power::OfColumns,
    .zeroDivisor = ZeroDivisor::Stays,
    .firstAlpha = 1.0f,
    .fillsAlways = true,
    .stopTest = StopTest::BeforeUpdate,
    .testsPlainPasses = true,
    .endsWhenSettled = true,
    .surplus = 1,
};

}  // namespace

unsigned CRy3DDeconvolutionLow::AccIBDProcessInner3D(float* pfUpdated, float* pfFixed, const DFT3D* pSizes,
                                                     unsigned uiSweeps, bool bImagePass, float fStopE8,
                                                     float* pfPlanes, float* pfObserved, float* pfOtf,
                                                     float* pfV, float* pfPrevious, float* pfScratch,
                                                     float* pfGradient1, float* pfGradient2,
                                                     RyProgressCallback pfnProgress, void* pProgressData,
                                                     int& iStatus, bool bReport) {
    const BlindPass pass = {pfUpdated,   pfFixed,     *pSizes,     uiSweeps,      bImagePass, fStopE8,
                            pfPlanes,    pfObserved,  pfOtf,       pfV,           pfPrevious, pfScratch,
                            pfGradient1, pfGradient2, pfnProgress, pProgressData, iStatus,    bReport};
    return RunBlindPass(kSerialForm, pass, AcceleratesBySweeps(uiSweeps));
}
