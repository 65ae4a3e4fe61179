// SPDX-License-Identifier: MIT
#include "kernels/picture_plan.h"

namespace gnr::detail {

PicturePlan::PicturePlan(const FrameSize& size, TransformScaling scaling) : size_(size) {
    FFT2DSpec_R_32f* spec = nullptr;
    const IppStatus made =
        ippiFFTInitAlloc_R_32f(&spec, static_cast<int>(size.orderX), static_cast<int>(size.orderY),
                               static_cast<int>(scaling), ippAlgHintFast);
    if (made != ippStsNoErr) return;
    spec_.reset(spec);
    if (ippiFFTGetBufSize_R_32f(spec, &bufferSize_) != ippStsNoErr) return;
    buffer_ = NewFrame<unsigned char>(static_cast<unsigned>(bufferSize_), 1, Contents::kZero);
}

}  // namespace gnr::detail
