// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/legacy.h>
#include <gnr_deconvolution/return_codes.h>

#include "cores/regularization_weight.h"
#include "entries/gradient_steps.h"
#include "entries/normal_operator.h"
#include "entries/staged_inputs.h"
#include "entries/total_variation_step.h"
#include "kernels/richardson_lucy_update.h"

using namespace gnr::detail;

// x  estimate, in the host's image        g  observed image     H  transform of the PSF
// B  H^T g, the same in every iteration   A  x, then H^T H x, then the next x
int CRyLegacy3DDeconvolutionFamily::LucyRichardsonTV_AdditiveVersion(
    DFT3D* sizes, float* pfKernel, float* pfImage, int iIterations, RyProgressCallback callback, void* pUser,
    int /*iUnused1*/, int /*iUnused2*/, unsigned uiRegularization, CRyMemoryStock* pStock, bool bResume,
    bool bStore) {
    const DFT3D& s = *sizes;
    float* const x = pfImage;
    const ScratchVolumes<2> volumes(s);
    StagedInputs inputs(s, WeightOfDoubledStrength(2 * uiRegularization, 0.002f));
    if (!volumes || !inputs.Begin(bResume, pStock, pfKernel, x)) return gnr::kNotReady;
    float* const A = volumes[0];
    float* const B = volumes[1];
    float* const H = inputs.otf();
    const bool withTerm = uiRegularization != 0;

    const Progress progress(kLegacyDeconvolution3D, callback, pUser);
    bool stopped = false;
    for (int k = 0; k < iIterations; ++k) {
        if ((stopped = progress.StopAtBegin())) break;
        if (k == 0) {
            BackProjectInto(s, B, inputs.g(), H);
            CopyVolume(s, A, x);
        }
        ApplyNormalOperator(s, A, H);
        if (withTerm) {
            StepDownTotalVariation(s, A, B, x, inputs.lambda());
        } else {
            StepDown(s, A, B, x);
        }
        CopyVolume(s, x, A);
        if ((stopped = progress.StopAtEnd())) break;
    }

    if (bStore && pStock != nullptr) {
        inputs.Park(*pStock, pfKernel, x);
        // deliberate: set by nobody, read by nobody
        ParkFloat(*pStock, L"fSum2", 0.0f);
    }
    return stopped ? gnr::kStopped : gnr::kSuccessOfEntry;
}
