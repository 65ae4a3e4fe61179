// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/legacy.h>
#include <gnr_deconvolution/return_codes.h>

#include "cores/regularization_weight.h"
#include "entries/gradient_steps.h"
#include "entries/normal_operator.h"
#include "entries/staged_inputs.h"
#include "kernels/richardson_lucy_update.h"

using namespace gnr::detail;

namespace {

/// Length of the step along the direction.
constexpr float kStepLength = 0.003f;

}  // namespace

// x  estimate, in the host's image        g  observed image     H  transform of the PSF
// B  H^T g, the same in every iteration   A  x, then H^T H x, then the next x
// R  gradient                             P  direction
int CRyLegacy3DDeconvolutionFamily::LucyRichardsonTV_ICTM(DFT3D* sizes, float* pfKernel, float* pfImage,
                                                          int iIterations, RyProgressCallback callback,
                                                          void* pUser, int /*iUnused1*/, int /*iUnused2*/,
                                                          unsigned uiRegularization, CRyMemoryStock* pStock,
                                                          bool bResume, bool bStore) {
    const DFT3D& s = *sizes;
    float* const x = pfImage;
    const ScratchVolumes<4> volumes(s);
    StagedInputs inputs(s, WeightOfDoubledStrength(2 * uiRegularization, 0.01f));
    if (!volumes || !inputs.Begin(bResume, pStock, pfKernel, x)) return gnr::kNotReady;
    float* const A = volumes[0];
    float* const B = volumes[1];
    float* const R = volumes[2];
    float* const P = volumes[3];
    float* const H = inputs.otf();

    const Progress progress(kLegacyDeconvolution3D, callback, pUser);
    bool stopped = false;
    for (int k = 0; k < iIterations; ++k) {
        if ((stopped = progress.StopAtBegin())) break;
        if (k == 0) {
            BackProjectInto(s, B, inputs.g(), H);
            CopyVolume(s, A, x);
        }
        ApplyNormalOperator(s, A, H);
        // deliberate: the step goes with the sign of the gradient
        StepAlongConjugate(s, {x, A, B, R, P}, inputs.lambda(), kStepLength, k == 0);
        if ((stopped = progress.StopAtEnd())) break;
    }

    if (bStore && pStock != nullptr) inputs.Park(*pStock, pfKernel, x);
    return stopped ? gnr::kStopped : gnr::kSuccessOfEntry;
}
