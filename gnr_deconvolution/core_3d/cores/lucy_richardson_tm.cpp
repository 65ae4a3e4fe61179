// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/cores.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "cores/blur.h"
#include "cores/core_buffers.h"
#include "cores/divergence_stop.h"
#include "cores/psf_sum.h"
#include "cores/regularization_weight.h"
#include "cores/unit_maximum.h"
#include "frame/progress.h"
#include "frame/proposed_dimensions.h"
#include "kernels/mean_divergence.h"
#include "kernels/regularization.h"
#include "kernels/richardson_lucy_update.h"

using namespace gnr::detail;

namespace {

using Low = CRy3DDeconvolutionLow;

/// 2 trunc(strength) modulo 2^32, so that a negative strength has a defined, if huge, value. NaN counts as 0.
std::uint32_t DoubledWholeStrength(double strength) {
    constexpr double modulus = 4294967296.0;
    const double doubled = 2.0 * std::trunc(strength);
    if (!std::isfinite(doubled)) return 0;
    const double rest = std::fmod(doubled, modulus);
    return static_cast<std::uint32_t>(rest < 0.0 ? rest + modulus : rest);
}

/// Weight of the Tikhonov-Miller term. Whole strengths count in manual mode: below 1 there is none.
float RegularizationWeight(double strength, bool automatic) {
    if (automatic) return WeightOfStrength(strength);
    return WeightOfDoubledStrength(DoubledWholeStrength(strength), kClampedTikhonovMiller);
}

}  // namespace

CRy3DLucyRichardsonTMDeconvolutionCore::CRy3DLucyRichardsonTMDeconvolutionCore(bool automatic)
    : bAutomatic(automatic) {}

CRy3DLucyRichardsonTMDeconvolutionCore::~CRy3DLucyRichardsonTMDeconvolutionCore() {
    CRy3DLucyRichardsonTMDeconvolutionCore::Free();
}

unsigned long long CRy3DLucyRichardsonTMDeconvolutionCore::GetRequiredMemorySize(
    CRyRefCountPtr<CRy3DDeconvBaseParameters> params) {
    return Buffers().size() * sizeof(float) * static_cast<unsigned long long>(params->sizes.total);
}

int CRy3DLucyRichardsonTMDeconvolutionCore::ModifyProposedDimensions(unsigned& x, unsigned& y, unsigned& z,
                                                                     unsigned uiDivisorX, unsigned uiDivisorY,
                                                                     unsigned uiDivisorZ) {
    return RoundUpDimensions(x, y, z, uiDivisorX, uiDivisorY, uiDivisorZ);
}

int CRy3DLucyRichardsonTMDeconvolutionCore::Prepare(CRyRefCountPtr<CRy3DDeconvBaseParameters> params) {
    if (const int code = Free(); code != gnr::kSuccess) return code;
    return AllocateBuffers(Buffers(), params->sizes.total);
}

int CRy3DLucyRichardsonTMDeconvolutionCore::Free() {
    DestroyBuffers(Buffers());
    return gnr::kSuccess;
}

// x  estimate, in the host's image        g  observed image (pfObserved)
// H  transform of the PSF (pfOtf)         s  scale of the image
// c  correction of the PSF's sum          k  iteration
int CRy3DLucyRichardsonTMDeconvolutionCore::Run(CRyRefCountPtr<CRy3DDeconvRunParameters> params) {
    if (!AllPresent(Buffers())) return gnr::kNotReady;
    const CRyRefCountPtr<CRy3DAutoDeconvRunParameters> automatic(
        dynamic_cast<CRy3DAutoDeconvRunParameters*>(params.get()));
    if (bAutomatic && !automatic) return gnr::kWrongParameters;

    const Progress progress(kDeconvolution3D, *params);
    const DFT3D& sizes = params->sizes;
    float* const x = params->pfImage;

    const float s = bAutomatic ? ScaleToUnitMaximum(sizes, x) : 1.0f;
    const float c = PsfSumCorrection(sizes, params->pfPsf);
    if (bAutomatic) Low::ClipSmallerThanZero(&sizes, x);
    CopyVolume(sizes, pfObserved, x);
    CopyVolume(sizes, pfOtf, params->pfPsf);
    Low::DFT3D_Transform(&sizes, pfOtf);
    float lambda = RegularizationWeight(params->dRegularization, bAutomatic);

    DivergenceStop stop(bAutomatic ? automatic->dStopRatio : 0.0);
    const Comparison comparison = {pfObserved, params->rcImage};
    double divergence = 0.0;
    unsigned done = 0;
    std::vector<std::pair<unsigned, double>> quality;
    bool stopped = false;

    for (unsigned k = 0; k < params->uiIterations; ++k) {
        if ((stopped = progress.StopAtBegin())) break;
        if (bAutomatic && k > 0 && stop.IsLast(k, divergence)) k = params->uiIterations - 1;
        BlurWithOtf(sizes, pfWork, x, pfOtf);
        Low::SSE_Divide(pfWork, pfObserved, sizes.total);
        BackProjectWithOtf(sizes, pfWork, pfOtf);
        const bool regularized = lambda != 0.0f;
        if (regularized) {
            if (bAutomatic) {
                RegularizeUntilStableParallel(sizes, pfRegularization, x, lambda);
            } else {
                RegularizeParallel(sizes, pfRegularization, x, lambda);
            }
        }
        const bool compares = bAutomatic && k + 1 < params->uiIterations;
        divergence = RichardsonLucyUpdate(sizes, x, regularized ? pfRegularization : nullptr, pfWork, c,
                                          bAutomatic, compares ? &comparison : nullptr);
        if (bAutomatic) ++done;
        if ((stopped = progress.StopAtEnd())) break;
        if (params->pfReference != nullptr) {
            ComputeRMSE(quality, k, params->rcImage, &sizes, s, x, params->pfReference);
        }
    }

    if (params->pfReference != nullptr) LogQualityVect(quality, done);
    if (bAutomatic) {
        if (automatic->puiIterationsDone != nullptr) *automatic->puiIterationsDone = done;
        Low::SSE_MulFloatC3DXX(&sizes, x, s);
    }
    return stopped ? gnr::kStopped : gnr::kSuccess;
}
