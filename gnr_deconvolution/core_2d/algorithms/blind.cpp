// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/deconvolution_2d.h>

#include <concepts>
#include <cstddef>

#include "algorithms/blind_inner_loop.h"
#include "driver/preparation.h"
#include "driver/psf_frame.h"
#include "driver/tiles.h"
#include "kernels/energy_2d.h"
#include "kernels/frame_arithmetic.h"
#include "kernels/frame_blocks.h"
#include "kernels/picture_plan.h"

namespace {

using namespace gnr::detail;

/// Iterations of a cycle.
constexpr unsigned kOnImage = 10;
constexpr unsigned kOnPsf = 5;

/// Energies below this are no divisors.
constexpr double kLeastEnergy = 1e-20;
/// A guess of the PSF whose sum is below this is taken as it is.
constexpr double kLeastPsfSum = 1e-15;

/// Scales the image to sum 1, unless its sum is below 1; the factor that undoes it.
float NormalizeImage(float* image, unsigned W, unsigned H) {
    const double sum = SumOfFrame(image, W, H);
    const float scale = sum >= 1.0 ? static_cast<float>(sum) : 1.0f;
    ScaleFrame(image, 1.0f / scale, W, H);
    return scale;
}

/// EnergyOfImage of the picture, as a divisor.
float EnergyAsDivisor(const float* image, unsigned W, unsigned H) {
    const float energy = EnergyOfImage(image, W, H);
    return static_cast<double>(energy) < kLeastEnergy ? 1.0f : energy;
}

/// Frames of one call, which the two kinds of iterations use in turn.
class BlindCycles {
  public:
    BlindCycles(const FrameSize& size, float* image, float* psf)
        : size_(size),
          image_(image),
          psf_(psf),
          plan_(size, TransformScaling::kNone),
          work_(size.width, size.height, Contents::kUnknown) {}

    /// Plan and frames were had.
    explicit operator bool() const { return static_cast<bool>(plan_) && static_cast<bool>(work_); }

    /// Until all cycles are done or stopped. 0, or -9 where stopped in the middle of a cycle.
    int Run(unsigned cycles, float stopEnergy, const Progress& progress) const {
        for (unsigned n = 0; n < cycles; ++n) {
            // deliberate: a stop here is no failure
            if (progress.StopAtPoll()) return gnr::kSuccess;
            // deliberate: what both compare with is the image of the cycle before, not the picture
            CopyFrame(work_[kY], image_, size_.width, size_.height);
            RunBlindSteps(Frames(image_), psf_, kOnImage, true, stopEnergy, progress);
            if (progress.StopAtPoll()) return gnr::kNotReady;
            RunBlindSteps(Frames(psf_), image_, kOnPsf, false, stopEnergy, progress);
        }
        return gnr::kSuccess;
    }

  private:
    enum Role : std::size_t { kY, kOtf, kB, kC, kD, kE, kF, kRoles };

    AcceleratedFrames Frames(float* estimate) const {
        return {size_.width,    size_.height,       estimate,    work_[kY], work_[kOtf],
                work_[kB],      work_[kC],          work_[kD],   work_[kE], work_[kF],
                plan_.Buffer(), plan_.BufferSize(), plan_.Spec()};
    }

    FrameSize size_;
    float* image_;
    float* psf_;
    PicturePlan plan_;
    FrameBlocks<kRoles> work_;
};

template <AnyPicture P>
int RestoreBlind(P& destination, const P& source, const float* guess, unsigned guessSize, float energyRatio,
                 unsigned cycles, const Progress& progress) {
    if (const int code = CheckPicture(source); code != gnr::kSuccess) return code;
    const FrameSize size = TransformFrame(source.uiWidth, source.uiHeight, kBlindMargin);
    OwnedPicture<P> framePicture;
    if (!LayIntoFrame(framePicture, source, kBlindMargin, size)) return gnr::kNotReady;
    const auto [W, H, orderX, orderY] = size;
    const FrameBlock<float> image = NewFrame<float>(W, H, Contents::kZero);
    FrameBlock<float> psf = NewFrame<float>(W, H, Contents::kZero);
    if (image == nullptr || psf == nullptr) return gnr::kNotReady;
    WrapPSFToFrame(psf.get(), W, H, guess, guessSize, guessSize);
    PicBufToFloat(image.get(), W, H, *framePicture);
    framePicture.Release();

    const float scale = NormalizeImage(image.get(), W, H);
    const float stopEnergy = energyRatio / EnergyAsDivisor(image.get(), W, H);
    int code = gnr::kSuccess;
    {
        const BlindCycles iterations(size, image.get(), psf.get());
        if (!iterations) return gnr::kNotReady;
        // deliberate: integers have no negatives, but the PSF that comes with them keeps its own
        if constexpr (std::same_as<P, SRyFloatPicBuf>) {
            ClipSmallerThanZero2D(image.get(), W, H);
            ClipSmallerThanZero2D(psf.get(), W, H);
        }
        ScaleFrame(psf.get(), InverseOfSum(SumOfFrame(psf.get(), W, H), kLeastPsfSum), W, H);
        code = iterations.Run(cycles, stopEnergy, progress);
    }
    ScaleFrame(image.get(), scale, W, H);
    psf.reset();
    // deliberate: after a stop too
    return Deliver(destination, source, kBlindMargin, size, image.get()) ? code : gnr::kNotReady;
}

}  // namespace

int CRy2DDeconvolutionFamily::AccIBDProcessImage_NoSplit_x1(SRyPicBuf* pDst, SRyPicBuf* pSrc, float* pfPsf,
                                                            unsigned uiPsfSize, float fEnergyRatio,
                                                            RyProgressCallback pfn, void* pData,
                                                            unsigned /*uiReserved*/, unsigned uiBlindCycles,
                                                            bool /*bReserved*/) {
    return RestoreBlind(*pDst, *pSrc, pfPsf, uiPsfSize, fEnergyRatio, uiBlindCycles,
                        Progress(kPictureDeconvolution, pfn, pData));
}

int CRy2DDeconvolutionFamily::AccIBDProcessImage_NoSplit_x1(SRyFloatPicBuf* pDst, SRyFloatPicBuf* pSrc,
                                                            float* pfPsf, unsigned uiPsfSize,
                                                            float fEnergyRatio, RyProgressCallback pfn,
                                                            void* pData, unsigned /*uiReserved*/,
                                                            unsigned uiBlindCycles, bool /*bReserved*/) {
    return RestoreBlind(*pDst, *pSrc, pfPsf, uiPsfSize, fEnergyRatio, uiBlindCycles,
                        Progress(kPictureDeconvolution, pfn, pData));
}

int CRy2DDeconvolutionFamily::AccIBDProcessImage_x1(SRyPicBuf* pDst, SRyPicBuf* pSrc, float* pfPsf,
                                                    unsigned uiPsfSize, float fEnergyRatio,
                                                    RyProgressCallback pfn, void* pData, unsigned uiReserved,
                                                    unsigned uiBlindCycles, bool bReserved, unsigned uiTilesX,
                                                    unsigned uiTilesY) {
    return RestoreInTiles(pDst, pSrc, {uiTilesX, uiTilesY}, [&](SRyPicBuf* destination, SRyPicBuf* source) {
        return AccIBDProcessImage_NoSplit_x1(destination, source, pfPsf, uiPsfSize, fEnergyRatio, pfn, pData,
                                             uiReserved, uiBlindCycles, bReserved);
    });
}

int CRy2DDeconvolutionFamily::AccIBDProcessImage_x1(SRyFloatPicBuf* pDst, SRyFloatPicBuf* pSrc, float* pfPsf,
                                                    unsigned uiPsfSize, float fEnergyRatio,
                                                    RyProgressCallback pfn, void* pData, unsigned uiReserved,
                                                    unsigned uiBlindCycles, bool bReserved, unsigned uiTilesX,
                                                    unsigned uiTilesY) {
    return RestoreInTiles(
        pDst, pSrc, {uiTilesX, uiTilesY}, [&](SRyFloatPicBuf* destination, SRyFloatPicBuf* source) {
            return AccIBDProcessImage_NoSplit_x1(destination, source, pfPsf, uiPsfSize, fEnergyRatio, pfn,
                                                 pData, uiReserved, uiBlindCycles, bReserved);
        });
}
