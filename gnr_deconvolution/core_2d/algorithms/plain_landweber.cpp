// SPDX-License-Identifier: MIT

// Landweber on the wavelet coefficients of a picture, with one step and one threshold for all bands.

#include <gnr_deconvolution/deconvolution_2d.h>

#include <cmath>
#include <concepts>

#include "algorithms/landweber_frames.h"
#include "algorithms/zero_skipping_stop.h"
#include "driver/tiles.h"
#include "kernels/band_steps.h"
#include "kernels/divergence_2d.h"
#include "kernels/frame_steps.h"

using namespace gnr::detail;

namespace {

/// The end comes where the ratio of divergences falls by less than this.
constexpr double kStopQuotient = 0.998;
constexpr double kMostStrength = 60.0;

/// tau: as the square of the strength, up to a most, and the range over 256.
double ThresholdOf(double strength, float range) {
    double q = std::pow(strength * 3.0, 2.0);
    if (q > kMostStrength) q = kMostStrength;
    return q * 0.04 * static_cast<double>(range) * 0.00390625;
}

/// The stop test, over the picture's place in the frame.
class StopTest {
  public:
    StopTest(const LandweberFrames& f, unsigned w, unsigned h) : f_(f), place_(PlaceOf(w, h, kMargin)) {}

    /// Whether iteration i, above 0, shall be the last.
    bool IsLast(unsigned i) {
        double divergence = 0.0;
        MeanIDivergence(f_.x(), f_.y(), &divergence, place_, SizeOf(f_.size.width, f_.size.height));
        return stop_.IsLast(i, divergence);
    }

  private:
    const LandweberFrames& f_;
    FrameRectangle place_;
    ZeroSkippingStop stop_{kStopQuotient};
};

using Prefilter = int (*)(unsigned W, unsigned H, float* image, float* psf, FFT2DSpec_R_32f* spec,
                          unsigned char* buffer, IppiSize& size, float unused);

bool Blur(const LandweberFrames& f, Prefilter prefilter) {
    const auto [W, H, orderX, orderY] = f.size;
    IppiSize size = SizeOf(W, H);
    if (prefilter(W, H, f.x(), f.h(), f.plan.Spec(), f.plan.Buffer(), size, 1.0f) != gnr::kSuccess) {
        return false;
    }
    ClipSmallerThanZero2D(f.x(), W, H);
    return true;
}

/// The method's own arguments.
struct PlainLandweber {
    const float* psf;
    unsigned psfSize;
    unsigned iterations;
    double strength;
    unsigned* count;  ///< takes the iterations that were carried out; may be null
    Prefilter prefilter;

    void Report(unsigned done) const {
        if (count != nullptr) *count = done;
    }
};

// f  frames and pyramids     tau  threshold     i  iteration
template <AnyPicture P>
int Restore(P& destination, const P& source, const PlainLandweber& method, const Progress& progress) {
    method.Report(0);
    if (const int code = CheckPicture(source); code != gnr::kSuccess) return code;
    LandweberFrames f(source.uiWidth, source.uiHeight);
    if (!f || !f.LayOut(source, method.psf, method.psfSize)) return gnr::kNotReady;
    if (!Blur(f, method.prefilter)) return gnr::kNotReady;
    f.KeepObserved();
    // deliberate: the range before the blur
    const double tau = ThresholdOf(method.strength, ImageRange(f.img(), f.corner.width, f.corner.height));
    // deliberate: integer pictures start from the blurred picture, float pictures from the picture itself
    constexpr bool startsBlurred = std::same_as<P, SRyPicBuf>;
    if (!(startsBlurred ? f.StartFromEstimate() : f.StartFromPicture())) return gnr::kNotReady;

    StopTest stop(f, source.uiWidth, source.uiHeight);
    bool stopped = false;
    unsigned done = 0;
    for (unsigned i = 0; i < method.iterations; ++i, ++done) {
        if ((stopped = progress.StopAtPoll())) break;
        if (i != 0) {
            if (!f.Rebuild()) return gnr::kNotReady;
            if (stop.IsLast(i)) i = method.iterations - 1;
        }
        if (!f.FindGradient()) return gnr::kNotReady;
        UpdateBandsFixed(f.cur, f.gradient, tau);
    }
    method.Report(done);
    if (stopped) return gnr::kNotReady;
    return f.Deliver(destination, source) ? gnr::kSuccess : gnr::kNotReady;
}

}  // namespace

int CRy2DDeconvolutionFamily::LandweberProcessImage_Unaccel_NoSplit_x1(
    SRyPicBuf* pDst, SRyPicBuf* pSrc, float* pfPsf, unsigned uiPsfSize, RyProgressCallback pfn, void* pData,
    unsigned /*uiReserved*/, unsigned uiIterations, bool /*bReserved*/, double dThreshold,
    unsigned* puiIterationsDone) {
    return Restore(*pDst, *pSrc,
                   {pfPsf, uiPsfSize, uiIterations, dThreshold, puiIterationsDone, &PrefilterImageAndPSF},
                   Progress(kPictureDeconvolution, pfn, pData));
}

int CRy2DDeconvolutionFamily::LandweberProcessImage_Unaccel_NoSplit_x1(
    SRyFloatPicBuf* pDst, SRyFloatPicBuf* pSrc, float* pfPsf, unsigned uiPsfSize, RyProgressCallback pfn,
    void* pData, unsigned /*uiReserved*/, unsigned uiIterations, bool /*bReserved*/, double dThreshold,
    unsigned* puiIterationsDone) {
    return Restore(*pDst, *pSrc,
                   {pfPsf, uiPsfSize, uiIterations, dThreshold, puiIterationsDone, &PrefilterImageAndPSF},
                   Progress(kPictureDeconvolution, pfn, pData));
}

int CRy2DDeconvolutionFamily::LandweberProcessImage_Unaccel_x1(
    SRyPicBuf* pDst, SRyPicBuf* pSrc, float* pfPsf, unsigned uiPsfSize, RyProgressCallback pfn, void* pData,
    unsigned uiReserved, unsigned uiIterations, bool bReserved, double dThreshold, unsigned uiTilesX,
    unsigned uiTilesY, CRyUintRange* pIterationRange) {
    return RestoreInTiles(pDst, pSrc, {uiTilesX, uiTilesY}, pIterationRange,
                          [&](SRyPicBuf* destination, SRyPicBuf* source, unsigned* count) {
                              return LandweberProcessImage_Unaccel_NoSplit_x1(
                                  destination, source, pfPsf, uiPsfSize, pfn, pData, uiReserved, uiIterations,
                                  bReserved, dThreshold, count);
                          });
}

int CRy2DDeconvolutionFamily::LandweberProcessImage_Unaccel_x1(
    SRyFloatPicBuf* pDst, SRyFloatPicBuf* pSrc, float* pfPsf, unsigned uiPsfSize, RyProgressCallback pfn,
    void* pData, unsigned uiReserved, unsigned uiIterations, bool bReserved, double dThreshold,
    unsigned uiTilesX, unsigned uiTilesY, CRyUintRange* pIterationRange) {
    return RestoreInTiles(pDst, pSrc, {uiTilesX, uiTilesY}, pIterationRange,
                          [&](SRyFloatPicBuf* destination, SRyFloatPicBuf* source, unsigned* count) {
                              return LandweberProcessImage_Unaccel_NoSplit_x1(
                                  destination, source, pfPsf, uiPsfSize, pfn, pData, uiReserved, uiIterations,
                                  bReserved, dThreshold, count);
                          });
}
