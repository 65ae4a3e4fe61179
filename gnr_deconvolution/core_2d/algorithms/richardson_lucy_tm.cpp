// SPDX-License-Identifier: MIT

// Richardson-Lucy with a Tikhonov-Miller term whose weight shrinks, and a stop on the I-divergence.

#include <fft/ippi.h>
#include <gnr_deconvolution/deconvolution_2d.h>

#include <algorithm>
#include <concepts>

#include "algorithms/richardson_lucy_frames.h"
#include "cores/divergence_stop.h"
#include "driver/tiles.h"
#include "kernels/divergence_2d.h"
#include "kernels/frame_steps.h"
#include "kernels/regularization_2d.h"

using namespace gnr::detail;

namespace {

/// Growth of r that ends the run; below 1, so that it ends while r still falls, but no longer by much.
constexpr double kStopRatio = 0.998;
/// Keeps the scale of a black picture above 0.
constexpr double kLeastScale = 1e-10;

using Prefilter = int (*)(unsigned, unsigned, float*, float*, FFT2DSpec_R_32f*, unsigned char*, IppiSize&,
                          float);

struct Settings {
    unsigned iterations;
    double strength;
    Prefilter prefilter;
};

/// Which iterations a count takes: those begun, or those carried out.
enum class Counts { kBegun, kFinished };

/// x := x / (greatest sample + 1e-10), which is returned.
float ScaleToOne(const RichardsonLucyFrames& frames) {
    const auto scale = static_cast<float>(MaximumOfFrame(frames.x(), frames.W(), frames.H()) + kLeastScale);
    std::for_each_n(frames.x(), Samples(frames.W(), frames.H()), [scale](float& v) { v /= scale; });
    return scale;
}

/// Blurs picture and PSF, and observes. False without memory.
bool PrefilterAndObserve(const RichardsonLucyFrames& frames, Prefilter prefilter, float scale) {
    const PicturePlan& plan = frames.Plan();
    IppiSize size = SizeOf(frames.W(), frames.H());
    const int code =
        prefilter(frames.W(), frames.H(), frames.x(), frames.Psf(), plan.Spec(), plan.Buffer(), size, scale);
    if (code != gnr::kSuccess) return false;
    ClipSmallerThanZero2D(frames.x(), frames.W(), frames.H());
    frames.Observe();
    return true;
}

/// x := max(0, x t R(x) / sum of PSF). The field is that of x before the correction.
void Step(const RichardsonLucyFrames& frames, bool regularizes, float& lambda) {
    frames.Correct();
    if (regularizes) {
        GetRegularizationIterative2D(frames.r(), frames.x(), frames.W(), frames.H(), &lambda);
    }
    frames.Update(regularizes ? frames.r() : nullptr, frames.t());
    ClipSmallerThanZero2D(frames.x(), frames.W(), frames.H());
}

/// All iterations; `done` takes their count. False when stopped.
bool Iterate(const RichardsonLucyFrames& frames, const Settings& settings, const FrameRectangle& place,
             const Progress& progress, Counts counts, unsigned& done) {
    const bool regularizes = settings.strength != 0.0;
    auto lambda = static_cast<float>(settings.strength * -2.0 * settings.strength);
    DivergenceStop stop(kStopRatio);
    for (unsigned i = 0; i < settings.iterations; ++i) {
        if (counts == Counts::kBegun) ++done;
        if (progress.StopAtPoll()) return false;
        bool last = false;
        if (i > 0) {
            double divergence = 0.0;
            MeanIDivergence(frames.x(), frames.y(), &divergence, place, SizeOf(frames.W(), frames.H()));
            last = stop.IsLast(i, divergence);
        }
        Step(frames, regularizes, lambda);
        if (counts == Counts::kFinished) ++done;
        if (last) break;
    }
    return true;
}

template <AnyPicture P>
int Restore(P& destination, const P& source, const PsfSquare& psf, const Progress& progress,
            const Settings& settings, unsigned& done) {
    if (const int code = CheckPicture(source); code != gnr::kSuccess) return code;
    const RichardsonLucyFrames frames(source, psf);
    if (!frames) return gnr::kNotReady;
    const float scale = ScaleToOne(frames);
    if (!PrefilterAndObserve(frames, settings.prefilter, scale)) return gnr::kNotReady;

    const FrameRectangle place = PlaceOf(source.uiWidth, source.uiHeight, kMargin);
    // deliberate: a stopped iteration counts for integers, and does not for floats
    constexpr Counts counts = std::same_as<P, SRyPicBuf> ? Counts::kBegun : Counts::kFinished;
    if (!Iterate(frames, settings, place, progress, counts, done)) return gnr::kNotReady;

    ScaleFrame(frames.x(), scale, frames.W(), frames.H());
    const bool delivered = Deliver(destination, source, kMargin, frames.Size(), frames.x());
    return delivered ? gnr::kSuccess : gnr::kNotReady;
}

/// Restores, and tells the count whatever the outcome.
template <AnyPicture P>
int RestoreAndCount(P* pDst, P* pSrc, const PsfSquare& psf, const Progress& progress,
                    const Settings& settings, unsigned* pDone) {
    unsigned done = 0;
    if (pDone != nullptr) *pDone = done;
    const int code = Restore(*pDst, *pSrc, psf, progress, settings, done);
    if (pDone != nullptr) *pDone = done;
    return code;
}

}  // namespace

int CRy2DDeconvolutionFamily::AccRLTMAddProcessImage_NoSplit_x1(SRyPicBuf* pDst, SRyPicBuf* pSrc,
                                                                float* pfPsf, unsigned uiPsfSize,
                                                                RyProgressCallback pfn, void* pData,
                                                                unsigned /*uiReserved*/,
                                                                unsigned uiIterations, bool /*bReserved*/,
                                                                double dLambda, unsigned* puiIterationsDone) {
    return RestoreAndCount(pDst, pSrc, {pfPsf, uiPsfSize}, {kPictureDeconvolution, pfn, pData},
                           {uiIterations, dLambda, &PrefilterImageAndPSF}, puiIterationsDone);
}

int CRy2DDeconvolutionFamily::AccRLTMAddProcessImage_NoSplit_x1(SRyFloatPicBuf* pDst, SRyFloatPicBuf* pSrc,
                                                                float* pfPsf, unsigned uiPsfSize,
                                                                RyProgressCallback pfn, void* pData,
                                                                unsigned /*uiReserved*/,
                                                                unsigned uiIterations, bool /*bReserved*/,
                                                                double dLambda, unsigned* puiIterationsDone) {
    return RestoreAndCount(pDst, pSrc, {pfPsf, uiPsfSize}, {kPictureDeconvolution, pfn, pData},
                           {uiIterations, dLambda, &PrefilterImageAndPSF}, puiIterationsDone);
}

int CRy2DDeconvolutionFamily::AccRLTMAddProcessImage_x1(SRyPicBuf* pDst, SRyPicBuf* pSrc, float* pfPsf,
                                                        unsigned uiPsfSize, RyProgressCallback pfn,
                                                        void* pData, unsigned uiReserved,
                                                        unsigned uiIterations, bool bReserved, double dLambda,
                                                        unsigned uiTilesX, unsigned uiTilesY,
                                                        CRyUintRange* pIterationRange) {
    return RestoreInTiles(pDst, pSrc, {uiTilesX, uiTilesY}, pIterationRange,
                          [&](SRyPicBuf* destination, SRyPicBuf* source, unsigned* pCount) {
                              return AccRLTMAddProcessImage_NoSplit_x1(destination, source, pfPsf, uiPsfSize,
                                                                       pfn, pData, uiReserved, uiIterations,
                                                                       bReserved, dLambda, pCount);
                          });
}

int CRy2DDeconvolutionFamily::AccRLTMAddProcessImage_x1(SRyFloatPicBuf* pDst, SRyFloatPicBuf* pSrc,
                                                        float* pfPsf, unsigned uiPsfSize,
                                                        RyProgressCallback pfn, void* pData,
                                                        unsigned uiReserved, unsigned uiIterations,
                                                        bool bReserved, double dLambda, unsigned uiTilesX,
                                                        unsigned uiTilesY, CRyUintRange* pIterationRange) {
    return RestoreInTiles(pDst, pSrc, {uiTilesX, uiTilesY}, pIterationRange,
                          [&](SRyFloatPicBuf* destination, SRyFloatPicBuf* source, unsigned* pCount) {
                              return AccRLTMAddProcessImage_NoSplit_x1(destination, source, pfPsf, uiPsfSize,
                                                                       pfn, pData, uiReserved, uiIterations,
                                                                       bReserved, dLambda, pCount);
                          });
}
