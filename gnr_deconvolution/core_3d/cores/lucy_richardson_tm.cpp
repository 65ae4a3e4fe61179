// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/cores.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "cores/compared_sweep.h"
#include "cores/core_buffers.h"
#include "cores/divergence_stop.h"
#include "cores/psf_sum.h"
#include "cores/regularization_weight.h"
#include "cores/transfer.h"
#include "cores/unit_maximum.h"
#include "detail/fetch_ahead.h"
#include "frame/progress.h"
#include "frame/proposed_dimensions.h"
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

/// work := observed / F^-1(work), on its way to the next transform.
void FormRatio(const Transfer& H, const DFT3D& s, float* work, const float* observed) {
    const std::int64_t length = s.rowLength;
    H.Sweep(work, work, EachShare{}, [=, &H, &s](const RowChunk& rows, auto*) {
        rows.EachRow([=, &H, &s](std::int64_t r, float* samples) {
            FetchRowBehind(s, r, observed);
            H.Take(work, r, samples);
            RatioRow(samples, observed + r * length, length);
            H.Put(samples, work, r);
        });
    });
}

/// What an update multiplies x by, and whether another one follows.
struct Update {
    const float* regularization;  ///< or null
    UpdateForm form;
    bool followed;
};

/// x := x times regularization times F^-1(work); work := x on its way to the next transform where another update
/// follows. The mean divergence of x from what it is compared with, if anything.
double Perform(const Update& update, const Transfer& H, const DFT3D& s, float* x, float* work,
               const Comparison* comparison) {
    const std::int64_t length = s.rowLength;
    float* const next = update.followed ? work : nullptr;
    return SweepAndCompare(H, s, work, next, x, comparison, [=, &H, &s](const RowChunk& rows) {
        rows.EachRow([=, &H, &s](std::int64_t r, float* samples) {
            FetchRowBehind(s, r, x, update.regularization);
            float* const row = x + r * length;
            const float* const field =
                update.regularization == nullptr ? nullptr : update.regularization + r * length;
            H.Take(work, r, samples);
            UpdateRow(row, field, samples, update.form, length);
            if (next == nullptr) return;
            std::copy_n(row, length, samples);
            H.Put(samples, next, r);
        });
    });
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
    Transfer H(sizes, pfOtf, {pfWork});
    H.Make(params->pfPsf, pfWork);
    H.Forward(pfWork, x);
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
        H.Multiply(pfWork, TransferUse::kPlain);
        FormRatio(H, sizes, pfWork, pfObserved);
        H.Multiply(pfWork, TransferUse::kConjugate);
        const bool regularized = lambda != 0.0f;
        if (regularized) {
            if (bAutomatic) {
                RegularizeUntilStableParallel(sizes, pfRegularization, x, lambda);
            } else {
                RegularizeParallel(sizes, pfRegularization, x, lambda);
            }
        }
        const bool followed = k + 1 < params->uiIterations;
        const Update update = {regularized ? pfRegularization : nullptr, UpdateForm(c, bAutomatic), followed};
        divergence = Perform(update, H, sizes, x, pfWork, bAutomatic && followed ? &comparison : nullptr);
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
