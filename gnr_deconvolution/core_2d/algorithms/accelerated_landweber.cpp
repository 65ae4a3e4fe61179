// SPDX-License-Identifier: MIT

// Landweber on the wavelet coefficients of a picture, with momentum and a step of its own for each band.

#include <gnr_deconvolution/deconvolution_2d.h>

#include <cstdint>

#include "algorithms/landweber_frames.h"
#include "cores/momentum.h"
#include "driver/tiles.h"
#include "kernels/band_steps.h"
#include "kernels/spectral_bound.h"

using namespace gnr::detail;

namespace {

/// A PSF, and the frame in which its bands are looked at.
struct BoundFrame {
    const float* psf;
    unsigned psfSize;
    unsigned width;
    unsigned height;
};

/// alpha of all bands of the PSF. False without memory, and for a frame whose sides are not halved evenly.
bool FindDivisors(const BoundFrame& bound, const PictureFilters& filters, BandTable& alpha) {
    const auto [psf, psfSize, W, H] = bound;
    if (W == 0 || H == 0) return false;
    const FrameBlock<float> wrapped = NewFrame<float>(W, H, Contents::kZero);
    const FrameBlock<double> samples = NewFrame<double>(W, H, Contents::kUnknown);
    const BandPyramid bands(W, H);
    if (wrapped == nullptr || samples == nullptr || !bands) return false;
    WrapPSFToFrame(wrapped.get(), W, H, psf, psfSize, psfSize);
    CropCorner(samples.get(), W, H, wrapped.get(), W);
    return bands.Decompose(filters, samples.get()) && StepDivisors(bands, alpha);
}

/// tau: as the square of the smoothing and the range over 256.
double ThresholdOf(int smoothing, float range) {
    // deliberate: tripled as an integer, so that it wraps
    const auto tripled = static_cast<std::int32_t>(3U * static_cast<std::uint32_t>(smoothing));
    return (static_cast<double>(tripled) * 0.0075) * (static_cast<double>(smoothing) * 1.5) *
           static_cast<double>(range) * 0.00390625;
}

// f  frames and pyramids     alpha  divisors of the steps     tau  threshold
template <AnyPicture P>
int Restore(P& destination, const P& source, const BoundFrame& bound, const Progress& progress,
            unsigned iterations, int smoothing) {
    if (const int code = CheckPicture(source); code != gnr::kSuccess) return code;
    LandweberFrames f(source.uiWidth, source.uiHeight);
    if (!f || !f.LayOut(source, bound.psf, bound.psfSize)) return gnr::kNotReady;
    f.KeepObserved();
    const double tau = ThresholdOf(smoothing, ImageRange(f.img(), f.corner.width, f.corner.height));
    BandTable alpha{};
    if (!FindDivisors(bound, f.filters, alpha) || !f.StartFromPicture()) return gnr::kNotReady;

    Momentum momentum;
    for (unsigned i = 0; i < iterations; ++i) {
        if (progress.StopAtPoll()) return gnr::kNotReady;
        if (i != 0 && !f.Rebuild()) return gnr::kNotReady;
        if (!f.FindGradient()) return gnr::kNotReady;
        const double mu = momentum.NextFactor();
        if (i != iterations - 1) {
            UpdateBandsExtrapolated(f.cur, f.gradient, alpha, tau, mu);
        } else {
            UpdateBandsAdaptive(f.cur, f.gradient, alpha, tau);
        }
    }
    return f.Deliver(destination, source) ? gnr::kSuccess : gnr::kNotReady;
}

}  // namespace

int CRy2DDeconvolutionFamily::AccLandweberProcessImage_NoSplit_x1(
    SRyPicBuf* pDst, SRyPicBuf* pSrc, float* pfPsf, unsigned uiPsfSize, RyProgressCallback pfn, void* pData,
    unsigned /*uiReserved*/, unsigned uiIterations, bool /*bReserved*/, int iSmoothing, unsigned uiBoundWidth,
    unsigned uiBoundHeight) {
    return Restore(*pDst, *pSrc, {pfPsf, uiPsfSize, uiBoundWidth, uiBoundHeight},
                   Progress(kPictureDeconvolution, pfn, pData), uiIterations, iSmoothing);
}

int CRy2DDeconvolutionFamily::AccLandweberProcessImage_NoSplit_x1(
    SRyFloatPicBuf* pDst, SRyFloatPicBuf* pSrc, float* pfPsf, unsigned uiPsfSize, RyProgressCallback pfn,
    void* pData, unsigned /*uiReserved*/, unsigned uiIterations, bool /*bReserved*/, int iSmoothing,
    unsigned uiBoundWidth, unsigned uiBoundHeight) {
    return Restore(*pDst, *pSrc, {pfPsf, uiPsfSize, uiBoundWidth, uiBoundHeight},
                   Progress(kPictureDeconvolution, pfn, pData), uiIterations, iSmoothing);
}

int CRy2DDeconvolutionFamily::AccLandweberProcessImage_x1(
    SRyPicBuf* pDst, SRyPicBuf* pSrc, float* pfPsf, unsigned uiPsfSize, RyProgressCallback pfn, void* pData,
    unsigned uiReserved, unsigned uiIterations, bool bReserved, int iSmoothing, unsigned uiBoundWidth,
    unsigned uiBoundHeight, unsigned uiTilesX, unsigned uiTilesY) {
    return RestoreInTiles(pDst, pSrc, {uiTilesX, uiTilesY}, [&](SRyPicBuf* destination, SRyPicBuf* source) {
        return AccLandweberProcessImage_NoSplit_x1(destination, source, pfPsf, uiPsfSize, pfn, pData,
                                                   uiReserved, uiIterations, bReserved, iSmoothing,
                                                   uiBoundWidth, uiBoundHeight);
    });
}

int CRy2DDeconvolutionFamily::AccLandweberProcessImage_x1(
    SRyFloatPicBuf* pDst, SRyFloatPicBuf* pSrc, float* pfPsf, unsigned uiPsfSize, RyProgressCallback pfn,
    void* pData, unsigned uiReserved, unsigned uiIterations, bool bReserved, int iSmoothing,
    unsigned uiBoundWidth, unsigned uiBoundHeight, unsigned uiTilesX, unsigned uiTilesY) {
    return RestoreInTiles(
        pDst, pSrc, {uiTilesX, uiTilesY}, [&](SRyFloatPicBuf* destination, SRyFloatPicBuf* source) {
            return AccLandweberProcessImage_NoSplit_x1(destination, source, pfPsf, uiPsfSize, pfn, pData,
                                                       uiReserved, uiIterations, bReserved, iSmoothing,
                                                       uiBoundWidth, uiBoundHeight);
        });
}
