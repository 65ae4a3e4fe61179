// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/legacy.h>
#include <gnr_deconvolution/return_codes.h>

#include "cores/regularization_weight.h"
#include "entries/damped_richardson_lucy.h"
#include "entries/scratch_volumes.h"
#include "kernels/regularization.h"

using namespace gnr::detail;

int CRyLegacy3DDeconvolutionFamily::LucyRichardsonRealTV(DFT3D* sizes, float* pfKernel, float* pfImage,
                                                         int iIterations, float* pfResult,
                                                         RyProgressCallback callback, void* pUser,
                                                         int /*iUnused1*/, int /*iUnused2*/,
                                                         unsigned uiRegularization) {
    const float lambda = WeightOfDoubledStrength(2 * uiRegularization, 0.0001f);
    const Damping R = {RegularizeTotalVariationParallel, lambda, uiRegularization != 0};
    const int code = DampedRichardsonLucy(*sizes, pfKernel, pfImage, iIterations, R,
                                          Progress(kLegacyDeconvolution3D, callback, pUser));
    if (code != gnr::kNotReady) *pfResult = 0.0f;
    return code;
}
