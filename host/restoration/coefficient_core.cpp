// SPDX-License-Identifier: MIT
#include "restoration/coefficient_core.h"

#include <gnr_deconvolution/legacy.h>
#include <gnr_deconvolution/return_codes.h>

#include <algorithm>

namespace rydecon {

namespace {

/// The entry reports no progress of its first iteration; this adds it.
bool StoppedInFirst(const CRy3DDeconvRunParameters& params, ERyProgressPhase phase) {
    if (params.pfnProgress == nullptr || params.uiIterations == 0) return false;
    return params.pfnProgress(CRyStringW(), 0, 0, 0, phase == eProgressStepEnd ? 1 : 0, phase,
                              params.pProgressData) != 0;
}

}  // namespace

unsigned long long CoefficientCore::GetRequiredMemorySize(CRyRefCountPtr<CRy3DDeconvBaseParameters> params) {
    // Four volumes and two sets of coefficients, each as large as a volume and the bands of deeper levels.
    constexpr unsigned long long volumes = 4;
    constexpr unsigned long long sets = 2;
    const auto bytes = sizeof(float) * static_cast<unsigned long long>(params->sizes.total);
    return volumes * bytes + sets * bytes * 8 / 7;
}

int CoefficientCore::ModifyProposedDimensions(unsigned& x, unsigned& y, unsigned& z, unsigned divisorX,
                                              unsigned divisorY, unsigned divisorZ) {
    return CRy3DLandweberDeconvolutionCore(false).ModifyProposedDimensions(x, y, z, divisorX, divisorY,
                                                                           divisorZ);
}

int CoefficientCore::Prepare(CRyRefCountPtr<CRy3DDeconvBaseParameters> /*params*/) {
    return gnr::kSuccess;
}

int CoefficientCore::Run(CRyRefCountPtr<CRy3DDeconvRunParameters> params) {
    if (StoppedInFirst(*params, eProgressStepBegin)) return gnr::kStopped;
    SRyIRect3D box;
    float unused;
    const int code = CRyLegacy3DDeconvolutionFamily::LandweberFW(
        &params->sizes, params->pfPsf, params->pfImage, static_cast<int>(params->uiIterations), &unused,
        params->pfnProgress, params->pProgressData, 0, 0, static_cast<unsigned>(params->dRegularization), box,
        params->dScale);
    if (code == gnr::kSuccessOfEntry) {
        return StoppedInFirst(*params, eProgressStepEnd) ? gnr::kStopped : gnr::kSuccess;
    }
    return code == gnr::kStopped ? gnr::kStopped : gnr::kOutOfMemory;
}

int CoefficientCore::Free() {
    return gnr::kSuccess;
}

}  // namespace rydecon
