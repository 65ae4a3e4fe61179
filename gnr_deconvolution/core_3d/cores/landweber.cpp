// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/cores.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <iterator>

#include "cores/core_buffers.h"
#include "cores/divergence_stop.h"
#include "cores/landweber_step.h"
#include "cores/momentum.h"
#include "cores/psf_sum.h"
#include "cores/shrinkage.h"
#include "frame/progress.h"
#include "frame/proposed_dimensions.h"
#include "kernels/mean_divergence.h"
#include "kernels/richardson_lucy_update.h"

using namespace gnr::detail;

namespace {

/// Below this many planes nothing is shrunk.
constexpr std::int32_t kLeastPlanes = 16;

}  // namespace

CRy3DLandweberDeconvolutionCore::CRy3DLandweberDeconvolutionCore(bool automatic) : bAutomatic(automatic) {}

CRy3DLandweberDeconvolutionCore::~CRy3DLandweberDeconvolutionCore() {
    CRy3DLandweberDeconvolutionCore::Free();
}

unsigned long long CRy3DLandweberDeconvolutionCore::GetRequiredMemorySize(
    CRyRefCountPtr<CRy3DDeconvBaseParameters> params) {
    const DFT3D& s = params->sizes;
    const auto unsign = [](auto number) { return static_cast<unsigned long long>(number); };
    const PyramidShape shape = ShapeOf(s, WaveletLevels(s.planes));

    unsigned long long bands = 0;
    for (unsigned l = 0; l < shape.levels; ++l) bands += BandFloats(shape, l);
    const unsigned long long ends =
        unsign(s.rowLength) + unsign(s.rows) + unsign(s.planes) + 2ull * shape.levels;
    // The last two terms are a small reserve above what Prepare allocates.
    return Buffers().size() * sizeof(float) * unsign(s.total) + kBands * sizeof(float) * bands +
           112ull * BandFloats(shape, 0) + 8ull * ends + 4ull * shape.levels;
}

int CRy3DLandweberDeconvolutionCore::ModifyProposedDimensions(unsigned& x, unsigned& y, unsigned& z,
                                                              unsigned uiDivisorX, unsigned uiDivisorY,
                                                              unsigned uiDivisorZ) {
    return RoundUpDimensions(x, y, z, uiDivisorX, uiDivisorY, uiDivisorZ);
}

int CRy3DLandweberDeconvolutionCore::Prepare(CRyRefCountPtr<CRy3DDeconvBaseParameters> params) {
    if (const int code = Free(); code != gnr::kSuccess) return code;
    const DFT3D& s = params->sizes;
    if (const int code = AllocateBuffers(Buffers(), s.total); code != gnr::kSuccess) return code;
    uiLevels = WaveletLevels(s.planes);
    const PyramidShape shape = ShapeOf(s, uiLevels);
    // deliberate: bands and workspace that cannot be had are another code than volumes
    if (const int code = AllocateBands(apfBands, shape); code != gnr::kSuccess) return code;
    return AllocateWork(apfWaveletWork, shape);
}

int CRy3DLandweberDeconvolutionCore::Free() {
    DestroyBuffers(Buffers());
    FreeBands(apfBands);
    FreeWork(apfWaveletWork);
    return gnr::kSuccess;
}

bool CRy3DLandweberDeconvolutionCore::IsPrepared() {
    return AllPresent(Buffers()) && std::all_of(std::begin(apfWaveletWork), std::end(apfWaveletWork),
                                                [](const float* block) { return block != nullptr; });
}

// x  estimate, in the host's image     g  observed image (pfObserved)     H  transfer function of the PSF (pfOtf)
// y  point of the gradient             c  correction of the PSF's sum     k  iteration
// p  strength of the regularisation    T  threshold of the shrinkage
int CRy3DLandweberDeconvolutionCore::Run(CRyRefCountPtr<CRy3DDeconvRunParameters> params) {
    if (!IsPrepared()) return gnr::kNotReady;
    const CRyRefCountPtr<CRy3DAutoDeconvRunParameters> automatic(
        dynamic_cast<CRy3DAutoDeconvRunParameters*>(params.get()));
    if (bAutomatic && !automatic) return gnr::kWrongParameters;

    const Progress progress(kDeconvolution3D, *params);
    const DFT3D& sizes = params->sizes;
    const PyramidShape shape = ShapeOf(sizes, uiLevels);
    float* const x = params->pfImage;
    const double p = params->dRegularization;

    std::srand(0);  // every run repeats the same shifts
    const float c = PsfSumCorrection(sizes, params->pfPsf);
    CopyVolume(sizes, pfObserved, x);
    // Without momentum the point is the estimate.
    float* const y = bAutomatic ? x : pfPoint;
    if (y != x) CopyVolume(sizes, y, x);
    Transfer H(sizes, pfOtf, {pfWorkB});
    H.Make(params->pfPsf, pfWorkB);
    const auto T = static_cast<float>(std::pow(2.0 * p, 1.4) * 0.04 * params->dScale);
    if (!shape.DivisibleByLevels()) return gnr::kNotReady;
    const WaveletFilters filters;
    const bool shrinks = p != 0.0 && sizes.planes >= kLeastPlanes && shape.x > 0 && shape.y > 0;

    LandweberStep step;
    step.length = bAutomatic ? kOverRelaxation : 1.0f;
    step.correction = c;
    Momentum momentum;
    DivergenceStop stop(bAutomatic ? automatic->dStopRatio : 0.0);
    const Comparison ofPoint = {pfObserved, params->rcImage};
    double divergence = 0.0;
    unsigned done = 0;
    bool stopped = false;

    // deliberate: the limit counts as a signed number, so that one from 2^31 on is none at all
    const auto limit = static_cast<std::int32_t>(params->uiIterations);
    if (limit > 0) H.Forward(pfWorkB, y);
    for (std::int32_t k = 0; k < limit; ++k) {
        const bool first = k == 0;
        if ((stopped = progress.StopAtBegin())) break;
        if (bAutomatic && !first && stop.IsLast(static_cast<unsigned>(k), divergence)) k = limit - 1;
        LandweberGradient(H, sizes, pfWorkB, pfObserved);
        if ((stopped = progress.StopAtPoll())) break;

        if (!bAutomatic) {
            step.extrapolation = momentum.NextFactor();
            step.extrapolates = !first;
        }
        step.followed = k + 1 < limit;
        const Comparison* const comparison = bAutomatic && step.followed ? &ofPoint : nullptr;
        if (shrinks) {
            const ShiftedColumns packed = {pfWorkA, DrawShift(shape)};
            PackStep(H, sizes, packed, y, pfWorkB, step.length);
            // Where the wavelets refuse they leave the packed step as it is, and the run goes on.
            ShrinkByWavelets3D(shape, filters, pfWorkA, T, apfBands, apfWaveletWork);
            divergence = FinishStep(H, sizes, x, y, pfWorkB, step, packed, comparison);
        } else {
            divergence = FinishStep(H, sizes, x, y, pfWorkB, step, comparison);
        }
        ++done;
        if ((stopped = progress.StopAtEnd())) break;
    }

    if (bAutomatic && automatic->puiIterationsDone != nullptr) *automatic->puiIterationsDone = done;
    return stopped ? gnr::kStopped : gnr::kSuccess;
}
