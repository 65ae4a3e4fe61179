// SPDX-License-Identifier: MIT
#include "restoration/forward_model.h"

#include <gnr_deconvolution/return_codes.h>

#include <algorithm>

namespace rydecon {

namespace {

using Kernels = CRy3DDeconvolutionLow;

void RequireSuccess(int code) {
    if (code != gnr::kSuccess) throw UserError("the Fourier transform failed; free memory and try again");
}

}  // namespace

void ForwardModel::TakePsf(const PaddedVolume& psf) {
    const DFT3D& sizes = transfer_.sizes();
    std::copy_n(psf.data(), sizes.total, transfer_.data());
    RequireSuccess(Kernels::DFT3D_Transform(&sizes, transfer_.data()));
}

void ForwardModel::Convolve() {
    const DFT3D& sizes = blurred_.sizes();
    RequireSuccess(Kernels::DFT3D_Transform(&sizes, blurred_.data()));
    Kernels::SSE_ComplexMultiply(blurred_.data(), transfer_.data(), sizes.total);
    RequireSuccess(Kernels::DFT3D_Inversion(&sizes, blurred_.data()));
}

const PaddedVolume& ForwardModel::Blur(const float* estimate) {
    std::copy_n(estimate, blurred_.sizes().total, blurred_.data());
    Convolve();
    return blurred_;
}

const PaddedVolume& ForwardModel::BlurStepped(const float* estimate, const PaddedVolume& observed) {
    const DFT3D& sizes = blurred_.sizes();
    Blur(estimate);
    Kernels::SSE_Divide(blurred_.data(), observed.data(), sizes.total);  // observed / blurred
    RequireSuccess(Kernels::DFT3D_Transform(&sizes, blurred_.data()));
    Kernels::SSE_ComplexMultiplyAdjoint(blurred_.data(), transfer_.data(), sizes.total);
    RequireSuccess(Kernels::DFT3D_Inversion(&sizes, blurred_.data()));
    // A scale of the estimate divides its ratio, so that the product has none.
    std::transform(estimate, estimate + sizes.total, blurred_.data(), blurred_.data(),
                   [](float x, float ratio) { return x * ratio; });
    Convolve();
    return blurred_;
}

}  // namespace rydecon
