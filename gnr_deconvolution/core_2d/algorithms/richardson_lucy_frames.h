// SPDX-License-Identifier: MIT
#pragma once

// What the Richardson-Lucy methods on pictures share: their frames, and the correction by the ratio.

#include "driver/preparation.h"
#include "driver/psf_frame.h"
#include "kernels/frame_arithmetic.h"
#include "kernels/frame_blocks.h"
#include "kernels/picture_plan.h"

namespace gnr::detail {

/// A PSF as the caller hands it in.
struct PsfSquare {
    const float* samples;
    unsigned side;
};

/// Frames and plan of one call.
//
// x  estimate, at first the picture       r  ratio, then regularisation
// y  observed picture                     t  forward image, then correction
// H  transfer frame of the PSF, which lies in its frame before Observe
class RichardsonLucyFrames {
  public:
    template <AnyPicture P>
    RichardsonLucyFrames(const P& source, const PsfSquare& psf)
        : size_(TransformFrame(source.uiWidth, source.uiHeight, kMargin)),
          start_(size_.width, size_.height, Contents::kZero),
          filled_(start_ && Fill(source, psf)),
          plan_(size_, TransformScaling::kInverse),
          work_(size_.width, size_.height, Contents::kUnknown),
          inverseSum_(filled_ ? InverseOfSum(SumOfFrame(Psf(), W(), H())) : 1.0f) {}

    /// Memory, a usable size and the plan were had; else nothing but this may be asked.
    explicit operator bool() const { return filled_ && plan_ && work_; }

    /// y := x; the PSF becomes its transfer frame.
    void Observe() const {
        CopyFrame(y(), x(), W(), H());
        plan_.MakeTransfer(Psf());
    }
    /// r := y / (H x), t := H^T r
    void Correct() const {
        plan_.Blur(t(), x(), Psf());
        RatioOrZero(r(), y(), t(), W(), H());
        plan_.BackProject(t(), r(), Psf());
    }
    /// x := ((x first) second) / sum of PSF, each product rounded; first may be null.
    void Update(const float* first, const float* second) const;

    unsigned W() const { return size_.width; }
    unsigned H() const { return size_.height; }
    const FrameSize& Size() const { return size_; }
    const PicturePlan& Plan() const { return plan_; }
    float* x() const { return start_[0]; }
    float* Psf() const { return start_[1]; }
    float* y() const { return work_[0]; }
    float* r() const { return work_[1]; }
    float* t() const { return work_[2]; }

  private:
    template <AnyPicture P>
    bool Fill(const P& source, const PsfSquare& psf) const {
        OwnedPicture<P> framePicture;
        if (!LayIntoFrame(framePicture, source, kMargin, size_)) return false;
        WrapPSFToFrame(Psf(), W(), H(), psf.samples, psf.side, psf.side);
        PicBufToFloat(x(), W(), H(), *framePicture);
        return true;
    }

    FrameSize size_;
    FrameBlocks<2> start_;
    bool filled_;
    PicturePlan plan_;
    FrameBlocks<3> work_;
    float inverseSum_;
};

}  // namespace gnr::detail
