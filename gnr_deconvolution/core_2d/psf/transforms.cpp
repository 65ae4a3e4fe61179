// SPDX-License-Identifier: MIT

// Real 2D transforms over the DFTI interface, one descriptor a call.

#include <fft/dfti.h>
#include <gnr_deconvolution/psf_2d.h>
#include <gnr_deconvolution/return_codes.h>

#include <algorithm>
#include <cstddef>

namespace {

enum class Direction { kForward, kBackward };

/// Rows of w samples, w + 2 floats apart, to rows of w / 2 + 1 complex numbers, or back; in place.
int TransformInplace(float* pf, unsigned w, unsigned h, Direction direction) {
    const bool forward = direction == Direction::kForward;
    const MKL_LONG lengths[] = {MKL_LONG{h}, MKL_LONG{w}};
    const MKL_LONG realStrides[] = {0, MKL_LONG{w} + 2, 1};
    const MKL_LONG complexStrides[] = {0, MKL_LONG{w / 2} + 1, 1};
    const DFTI_CONFIG_PARAM real = forward ? DFTI_INPUT_STRIDES : DFTI_OUTPUT_STRIDES;
    const DFTI_CONFIG_PARAM spectral = forward ? DFTI_OUTPUT_STRIDES : DFTI_INPUT_STRIDES;
    const double scale = forward ? 1.0 : 1.0 / (static_cast<double>(w) * static_cast<double>(h));

    DFTI_DESCRIPTOR_HANDLE handle = nullptr;
    bool done = DftiCreateDescriptor(&handle, DFTI_SINGLE, DFTI_REAL, 2, lengths) == DFTI_NO_ERROR;
    const auto then = [&done](auto step) { done = done && step() == DFTI_NO_ERROR; };
    then([&] { return DftiSetValue(handle, real, realStrides); });
    then([&] { return DftiSetValue(handle, spectral, complexStrides); });
    then([&] { return DftiSetValue(handle, DFTI_PACKED_FORMAT, DFTI_CCE_FORMAT); });
    then([&] { return DftiSetValue(handle, DFTI_CONJUGATE_EVEN_STORAGE, DFTI_COMPLEX_COMPLEX); });
    then([&] { return DftiSetValue(handle, DFTI_REAL_STORAGE, DFTI_REAL_REAL); });
    then([&] { return DftiSetValue(handle, forward ? DFTI_FORWARD_SCALE : DFTI_BACKWARD_SCALE, scale); });
    then([&] { return DftiCommitDescriptor(handle); });
    then([&] { return forward ? DftiComputeForward(handle, pf) : DftiComputeBackward(handle, pf); });
    if (handle != nullptr && DftiFreeDescriptor(&handle) != DFTI_NO_ERROR) done = false;
    return done ? gnr::kSuccess : gnr::kTransformFailed;
}

/// The first w floats of each of h rows.
void CopyRows(const float* from, std::size_t fromStride, float* to, std::size_t toStride, unsigned w,
              unsigned h) {
    for (std::size_t y = 0; y < h; ++y) std::copy_n(from + y * fromStride, w, to + y * toStride);
}

int TransformByWork(float* pf, unsigned w, unsigned h, float* pfWork, Direction direction) {
    const std::size_t padded = std::size_t{w} + 2;
    CopyRows(pf, w, pfWork, padded, w, h);
    const int code = TransformInplace(pfWork, w, h, direction);
    if (code == gnr::kSuccess) CopyRows(pfWork, padded, pf, w, w, h);
    return code;
}

}  // namespace

int FloatPSF2D::DFT2D_TransformInplace(float* pf, unsigned w, unsigned h) {
    return TransformInplace(pf, w, h, Direction::kForward);
}

int FloatPSF2D::DFT2D_Transform(float* pf, unsigned w, unsigned h, float* pfWork) {
    return TransformByWork(pf, w, h, pfWork, Direction::kForward);
}

int FloatPSF2D::DFT2D_Inversion(float* pf, unsigned w, unsigned h, float* pfWork) {
    return TransformByWork(pf, w, h, pfWork, Direction::kBackward);
}
