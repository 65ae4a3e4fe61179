// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/cores.h>

#include <algorithm>
#include <cstdint>

#include "cores/core_buffers.h"
#include "cores/likelihood_stop.h"
#include "cores/transfer.h"
#include "cores/unit_sum.h"
#include "detail/fetch_ahead.h"
#include "detail/volume_geometry.h"
#include "frame/progress.h"
#include "frame/proposed_dimensions.h"
#include "kernels/damped_likelihood.h"
#include "kernels/pedestal.h"
#include "kernels/richardson_lucy_update.h"

using namespace gnr::detail;

namespace {

using Low = CRy3DDeconvolutionLow;

/// Scale of the damped deviation.
constexpr float kDampingScale = -0.08f;
/// The Wiener start's noise constant is (strength - 0.99) / 13: nearly none for an undamped run of strength 1.
constexpr double kUndampedStrength = 0.99;
constexpr double kStrengthsPerNoise = 13.0;

float MeanOfImage(const DFT3D& s, float* x) {
    const std::int32_t samples = WrappedProduct(WrappedProduct(ImageColumns(s), s.rows), s.planes);
    return (Low::GetSumOfImageXX(&s, x) + kSumGuard) / static_cast<float>(samples);
}

/// Replaces x by its Wiener restoration. The host's PSF is transformed in place and back.
void StartFromWiener(const DFT3D& s, float* x, float* psf, double strength) {
    const double noise = (strength - kUndampedStrength) / kStrengthsPerNoise;
    const float sum = ScaleToUnitSum(s, x);
    Low::DFT3D_Transform(&s, x);
    Low::DFT3D_Transform(&s, psf);
    Low::ComputeWiener3D(&s, x, psf, noise);
    Low::DFT3D_Inversion(&s, x);
    Low::DFT3D_Inversion(&s, psf);
    RestoreSumAndCut(s, x, sum);
}

/// work := the damped ratio of observed and F^-1(blurred), on its way to the next transform; blurred := F^-1(blurred)
void FormDampedRatio(const Transfer& H, const DFT3D& s, float* work, const float* observed, float* blurred,
                     float N) {
    const std::int64_t length = s.rowLength;
    H.Sweep(blurred, work, EachShare{}, [=, &H, &s](const RowChunk& rows, auto*) {
        rows.EachRow([=, &H, &s](std::int64_t r, float* samples) {
            FetchRowBehind(s, r, observed);
            H.Take(blurred, r, samples);
            std::copy_n(samples, length, blurred + r * length);
            DampedRatioRow(samples, observed + r * length, samples, kDampingScale, N, length);
            H.Put(samples, work, r);
        });
    });
}

/// previous := x, x := x F^-1(correction); next := x on its way to the next transform. The bound of the step from
/// previous over the image columns.
float Step(const Transfer& H, const DFT3D& s, float* x, float* previous, float* correction, float* next) {
    const std::int64_t length = s.rowLength;
    const std::int64_t columns = ImageColumns(s);
    return H.Sweep(correction, next, LeastOfShares{}, [=, &H, &s](const RowChunk& rows, float* bound) {
        rows.EachRow([=, &H, &s](std::int64_t r, float* samples) {
            float* const row = x + r * length;
            FetchRowBehind(s, r, x, previous);
            H.Take(correction, r, samples);
            std::copy_n(row, length, previous + r * length);
            MultiplyRow(row, samples, length);
            *bound = std::min(*bound, StepBoundOfRow(row, previous + r * length, columns));
            std::copy_n(row, length, samples);
            H.Put(samples, next, r);
        });
    });
}

/// x := x + (alpha - 1) (x - previous), not below 0; next := x on its way to the next transform.
void OverRelax(const Transfer& H, const DFT3D& s, float* x, const float* previous, float alpha, float* next) {
    const std::int64_t length = s.rowLength;
    H.Sweep(nullptr, next, EachShare{}, [=, &H, &s](const RowChunk& rows, auto*) {
        rows.EachRow([=, &H, &s](std::int64_t r, float* samples) {
            FetchRowBehind(s, r, x, previous);
            OverRelaxRow(x + r * length, previous + r * length, alpha, length);
            std::copy_n(x + r * length, length, samples);
            H.Put(samples, next, r);
        });
    });
}

}  // namespace

CRy3DAcceleratedLucyRichardsonTMDeconvolutionCore::~CRy3DAcceleratedLucyRichardsonTMDeconvolutionCore() {
    CRy3DAcceleratedLucyRichardsonTMDeconvolutionCore::Free();
}

unsigned long long CRy3DAcceleratedLucyRichardsonTMDeconvolutionCore::GetRequiredMemorySize(
    CRyRefCountPtr<CRy3DDeconvBaseParameters> params) {
    return Buffers().size() * sizeof(float) * static_cast<unsigned long long>(params->sizes.total);
}

int CRy3DAcceleratedLucyRichardsonTMDeconvolutionCore::ModifyProposedDimensions(
    unsigned& x, unsigned& y, unsigned& z, unsigned uiDivisorX, unsigned uiDivisorY, unsigned uiDivisorZ) {
    return RoundUpDimensions(x, y, z, uiDivisorX, uiDivisorY, uiDivisorZ);
}

int CRy3DAcceleratedLucyRichardsonTMDeconvolutionCore::Prepare(
    CRyRefCountPtr<CRy3DDeconvBaseParameters> params) {
    if (const int code = Free(); code != gnr::kSuccess) return code;
    return AllocateBuffers(Buffers(), params->sizes.total);
}

int CRy3DAcceleratedLucyRichardsonTMDeconvolutionCore::Free() {
    DestroyBuffers(Buffers());
    return gnr::kSuccess;
}

// x  estimate, in the host's image     g  observed image (pfObserved)      H  transform of the PSF (pfOtf)
// m  mean of the lifted image          N  damping exponent                 k  iteration
int CRy3DAcceleratedLucyRichardsonTMDeconvolutionCore::Run(CRyRefCountPtr<CRy3DDeconvRunParameters> params) {
    if (!AllPresent(Buffers())) return gnr::kNotReady;
    const CRyRefCountPtr<CRy3DAutoDeconvRunParameters> automatic(
        dynamic_cast<CRy3DAutoDeconvRunParameters*>(params.get()));
    if (!automatic) return gnr::kWrongParameters;

    const Progress progress(kDeconvolution3D, *params);
    const DFT3D& sizes = params->sizes;
    float* const x = params->pfImage;
    const auto N = static_cast<float>(params->dRegularization);

    const float pedestal = PedestalOfBuffer(sizes, x);
    if (pedestal != 0.0f) Lift(sizes, x, pedestal);
    const float m = MeanOfImage(sizes, x);
    Low::SSE_MulFloatC3DXX(&sizes, x, 1.0f / m);
    Low::ClipSmallerThanZero(&sizes, x);
    CopyVolume(sizes, pfObserved, x);
    if (params->bWienerStart) StartFromWiener(sizes, x, params->pfPsf, params->dRegularization);
    Transfer H(sizes, pfOtf, {pfWork, pfBlurredOld, pfBlurredNew});
    H.Make(params->pfPsf, pfWork);
    H.Forward(pfBlurredOld, x);

    LikelihoodStop stop(automatic->dStopRatio);
    unsigned done = 0;
    std::vector<std::pair<unsigned, double>> quality;
    bool stopped = false;

    for (unsigned k = 0; k < params->uiIterations; ++k) {
        if ((stopped = progress.StopAtBegin())) break;
        H.Multiply(pfBlurredOld, TransferUse::kPlain);
        if ((stopped = progress.StopAtPoll())) break;
        FormDampedRatio(H, sizes, pfWork, pfObserved, pfBlurredOld, N);
        if ((stopped = progress.StopAtPoll())) break;
        H.Multiply(pfWork, TransferUse::kConjugate);

        const float bound = Step(H, sizes, x, pfPrevious, pfWork, pfBlurredNew);
        const float alphaMax = k == 0 ? 1.0f : bound;
        H.Multiply(pfBlurredNew, TransferUse::kPlain);
        H.Inverse(pfBlurredNew);
        if ((stopped = progress.StopAtPoll())) break;

        float alpha = 1.0f;
        if (alphaMax >= 1.0f) {
            stop.Add(OptimizeAlphaByLogLikelihood(alpha, alphaMax, pfObserved, pfBlurredNew, pfBlurredOld,
                                                  &sizes, kDampingScale, N, params->rcImage));
        } else {
            // Not even x_RL can be reached without a negative sample: undo this step, and let it be the last.
            alpha = 0.0f;
            k = params->uiIterations - 1;
        }
        OverRelax(H, sizes, x, pfPrevious, alpha, pfBlurredOld);
        ++done;
        if ((stopped = progress.StopAtEnd())) break;
        if (params->pfReference != nullptr) {
            ComputeRMSE(quality, k, params->rcImage, &sizes, m, x, params->pfReference);
        }
        if (!params->bNoAutoStop && stop.ShallStop(done)) break;
    }

    if (params->pfReference != nullptr) LogQualityVect(quality, done);
    if (automatic->puiIterationsDone != nullptr) *automatic->puiIterationsDone = done;
    ScaleAndLower(sizes, x, m, pedestal);
    return stopped ? gnr::kStopped : gnr::kSuccess;
}
