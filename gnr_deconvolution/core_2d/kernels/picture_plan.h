// SPDX-License-Identifier: MIT
#pragma once

// Plan and work buffer of one call, and the transforms of its frames.

#include <fft/ippi.h>
#include <ry_system/alloc.h>

#include <memory>

#include "driver/frame_size.h"
#include "kernels/convolution.h"
#include "kernels/frame_blocks.h"

namespace gnr::detail {

/// Which direction scales.
enum class TransformScaling : int {
    kInverse = IPP_FFT_DIV_INV_BY_N,  ///< the inverse divides by the number of samples
    kNone = IPP_FFT_NODIV_BY_ANY,     ///< neither: for use in ratios, in which the scale cancels
};

/// Plan of a frame whose sides are powers of two, with its buffer.
class PicturePlan {
  public:
    PicturePlan(const FrameSize& size, TransformScaling scaling);

    /// Plan and buffer were had.
    explicit operator bool() const { return spec_ != nullptr && buffer_ != nullptr; }

    FFT2DSpec_R_32f* Spec() const { return spec_.get(); }
    unsigned char* Buffer() const { return buffer_.get(); }
    int BufferSize() const { return bufferSize_; }

    /// frame := its packed spectrum
    void Forward(float* frame) const { ForwardTransform(frame, size_.width, Buffer(), Spec()); }
    /// dst := F^-1(otf F(src)); src keeps its samples.
    void Convolve(float* dst, const float* src, const float* otf) const {
        ConvolveWithOTF(dst, src, otf, size_.width, size_.height, Buffer(), BufferSize(), Spec());
    }
    /// dst := F^-1(F(src) conj(otf)); src is destroyed.
    void Correlate(float* dst, float* src, const float* otf) const {
        CorrelateWithOTF(dst, src, otf, size_.width, size_.height, Buffer(), BufferSize(), Spec());
    }

    /// frame := its spectrum, for the next two alone
    void MakeTransfer(float* frame) const {
        detail::MakeTransfer(frame, size_.width, size_.height, Buffer(), Spec());
    }
    /// Convolve and Correlate by a transfer frame; src keeps its samples, unless it is dst.
    void Blur(float* dst, const float* src, const float* transfer) const {
        BlurByTransfer(dst, src, transfer, size_.width, size_.height, Buffer(), Spec());
    }
    void BackProject(float* dst, const float* src, const float* transfer) const {
        BackProjectByTransfer(dst, src, transfer, size_.width, size_.height, Buffer(), Spec());
    }

  private:
    struct FreePlan {
        void operator()(FFT2DSpec_R_32f* spec) const { ippiFFTFree_R_32f(spec); }
    };

    FrameSize size_;
    std::unique_ptr<FFT2DSpec_R_32f, FreePlan> spec_;
    FrameBlock<unsigned char> buffer_;
    int bufferSize_ = 0;
};

}  // namespace gnr::detail
