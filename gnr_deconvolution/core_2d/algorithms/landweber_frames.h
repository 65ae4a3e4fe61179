// SPDX-License-Identifier: MIT
#pragma once

// What both Landweber methods on the wavelet coefficients of a picture share: frames, pyramids and the steps
// between them. The wavelets work in a frame of their own, which is the top left corner of the transforms'.

#include "driver/preparation.h"
#include "driver/psf_frame.h"
#include "kernels/band_pyramid.h"
#include "kernels/frame_arithmetic.h"
#include "kernels/frame_sweeps.h"
#include "kernels/picture_plan.h"

namespace gnr::detail {

/// All that one call works in, allocated at once.
class LandweberFrames {
  public:
    /// Frames for a picture of w by h.
    LandweberFrames(unsigned w, unsigned h);

    /// Everything was had, and the picture is not too large.
    explicit operator bool() const;

    /// Lays out picture and PSF: the picture with its margin as img and in the corner of x, the PSF as h; takes
    /// the sum of the PSF, as far as the wavelets' frame holds it. False without memory.
    template <AnyPicture P>
    [[nodiscard]] bool LayOut(const P& source, const float* psf, unsigned psfSize);
    /// y := x, h := its transfer frame.
    void KeepObserved() const;

    /// cur := W(img), or W(the corner of x)
    [[nodiscard]] bool StartFromPicture() const;
    [[nodiscard]] bool StartFromEstimate() const;
    /// Corner of x := W^T(cur), the rest of x := that of y, which no iteration changes.
    [[nodiscard]] bool Rebuild() const;
    /// gradient := W(the corner of H^T(y - H x)). x is destroyed.
    [[nodiscard]] bool FindGradient() const;

    /// destination := the picture's place in W^T(cur), over the sum of the PSF.
    template <AnyPicture P>
    [[nodiscard]] bool Deliver(P& destination, const P& source) const;

    const FrameSize size;    ///< of the transforms
    const FrameSize corner;  ///< of the wavelets
    const PicturePlan plan;
    const PictureFilters filters;
    const BandPyramid cur;
    const BandPyramid gradient;

    float* x() const { return frames_[0]; }    ///< estimate
    float* y() const { return frames_[1]; }    ///< observed
    float* h() const { return frames_[2]; }    ///< PSF, then its transfer frame
    float* img() const { return img_.get(); }  ///< in the wavelets' frame: observed, then restored

  private:
    [[nodiscard]] bool RestoreImage() const;

    const FrameBlocks<3> frames_;
    const FrameBlock<float> img_;
    const FrameBlock<double> samples_;  ///< img, or a gradient, for the wavelets
    float inverseSum_ = 1.0f;
};

template <AnyPicture P>
bool LandweberFrames::LayOut(const P& source, const float* psf, unsigned psfSize) {
    OwnedPicture<P> framePicture;
    if (!LayIntoFrame(framePicture, source, kMargin, corner)) return false;
    WrapPSFToFrame(img(), corner.width, corner.height, psf, psfSize, psfSize);
    // deliberate: not in the frame of the transforms, which may hold more of the PSF
    inverseSum_ = InverseOfSum(SumOfFrame(img(), corner.width, corner.height));
    WrapPSFToFrame(h(), size.width, size.height, psf, psfSize, psfSize);
    PicBufToFloat(img(), corner.width, corner.height, *framePicture);
    PutIntoCorner(x(), size.width, img(), corner.width, corner.height);
    return true;
}

template <AnyPicture P>
bool LandweberFrames::Deliver(P& destination, const P& source) const {
    return RestoreImage() && detail::Deliver(destination, source, kMargin, corner, img());
}

}  // namespace gnr::detail
