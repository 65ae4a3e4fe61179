// SPDX-License-Identifier: MIT

// Transforms of padded volumes over the DFTI interface. Each call configures a descriptor, runs it and frees
// it: nothing is kept. This is the one place where spectra are normalised.

#include <fft/dfti.h>
#include <gnr_deconvolution/kernels_3d.h>
#include <gnr_deconvolution/return_codes.h>

#include <cstdint>

#include "detail/volume_geometry.h"

namespace {

using gnr::kSuccess;
using gnr::kTransformFailed;
using gnr::detail::ImageColumns;
using gnr::detail::WrappedProduct;

enum class Direction { Forward, Backward };

/// One configured transform. Statuses are collected, so that every setting is tried.
class Transform {
  public:
    /// lengths   planes, rows, columns of what is transformed at once
    /// strides   those of the volume s
    Transform(const DFT3D& s, std::int32_t planes, Direction direction, bool inPlace)
        : direction_(direction) {
        const std::int32_t x = ImageColumns(s);
        MKL_LONG lengths[] = {planes, s.rows, x};
        MKL_LONG realStrides[] = {0, s.planeStride, s.rowLength, 1};
        MKL_LONG complexStrides[] = {0, s.planeStride / 2, s.rowLength / 2, 1};
        const bool forward = direction == Direction::Forward;

        Collect(DftiCreateDescriptor(&handle_, DFTI_SINGLE, DFTI_REAL, 3, lengths));
        if (forward) {
            Collect(DftiSetValue(handle_, DFTI_FORWARD_SCALE, 1.0));
        } else {
            const std::int32_t samples = WrappedProduct(WrappedProduct(x, s.rows), planes);
            Collect(DftiSetValue(handle_, DFTI_BACKWARD_SCALE, 1.0 / samples));
        }
        if (!inPlace) Collect(DftiSetValue(handle_, DFTI_PLACEMENT, DFTI_NOT_INPLACE));
        Collect(DftiSetValue(handle_, DFTI_PACKED_FORMAT, DFTI_CCE_FORMAT));
        if (forward) {
            Collect(DftiSetValue(handle_, DFTI_INPUT_STRIDES, realStrides));
            Collect(DftiSetValue(handle_, DFTI_OUTPUT_STRIDES, complexStrides));
        } else {
            Collect(DftiSetValue(handle_, DFTI_OUTPUT_STRIDES, realStrides));
            Collect(DftiSetValue(handle_, DFTI_INPUT_STRIDES, complexStrides));
        }
        Collect(DftiSetValue(handle_, DFTI_CONJUGATE_EVEN_STORAGE, DFTI_COMPLEX_COMPLEX));
        Collect(DftiSetValue(handle_, DFTI_REAL_STORAGE, DFTI_REAL_REAL));
        Collect(DftiCommitDescriptor(handle_));
    }
    Transform(const Transform&) = delete;
    Transform& operator=(const Transform&) = delete;
    ~Transform() { Free(); }

    bool failed() const { return failed_; }

    void Compute(float* pf) {
        if (direction_ == Direction::Forward) {
            Collect(DftiComputeForward(handle_, pf));
        } else {
            Collect(DftiComputeBackward(handle_, pf));
        }
    }
    void ComputeForward(float* pfIn, float* pfOut) { Collect(DftiComputeForward(handle_, pfIn, pfOut)); }

    /// Frees the descriptor and answers for all that was collected.
    int Finish() {
        Free();
        return failed_ ? kTransformFailed : kSuccess;
    }

  private:
    void Collect(MKL_LONG status) { failed_ = failed_ || status != DFTI_NO_ERROR; }
    void Free() {
        if (handle_ != nullptr) Collect(DftiFreeDescriptor(&handle_));
        handle_ = nullptr;
    }

    DFTI_DESCRIPTOR_HANDLE handle_ = nullptr;
    Direction direction_;
    bool failed_ = false;
};

int TransformVolume(const DFT3D& s, float* pf, Direction direction) {
    Transform transform(s, s.planes, direction, true);
    if (!transform.failed()) transform.Compute(pf);
    return transform.Finish();
}

int TransformPlanes(const DFT3D& s, float* pf, Direction direction) {
    if (s.planes <= 0) return kTransformFailed;
    Transform transform(s, 1, direction, true);
    for (std::int32_t k = 0; k < s.planes && !transform.failed(); ++k) {
        transform.Compute(pf + std::int64_t{k} * s.planeStride);
    }
    return transform.Finish();
}

}  // namespace

int CRy3DDeconvolutionLow::DFT3D_Transform(const DFT3D* s, float* pf) {
    return TransformVolume(*s, pf, Direction::Forward);
}

int CRy3DDeconvolutionLow::DFT3D_Transform_NonInPlace(const DFT3D* s, float* pfOut, float* pfIn) {
    Transform transform(*s, s->planes, Direction::Forward, false);
    if (!transform.failed()) transform.ComputeForward(pfIn, pfOut);
    return transform.Finish();
}

int CRy3DDeconvolutionLow::DFT3D_Inversion(const DFT3D* s, float* pf) {
    return TransformVolume(*s, pf, Direction::Backward);
}

int CRy3DDeconvolutionLow::DFT2D_Transform(const DFT3D* s, float* pf) {
    return TransformPlanes(*s, pf, Direction::Forward);
}

int CRy3DDeconvolutionLow::DFT2D_Inversion(const DFT3D* s, float* pf) {
    return TransformPlanes(*s, pf, Direction::Backward);
}
