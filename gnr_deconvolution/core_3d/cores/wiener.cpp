// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/cores.h>

#include "cores/unit_sum.h"
#include "frame/progress.h"
#include "kernels/wiener_noise.h"

namespace {

using Low = CRy3DDeconvolutionLow;
using gnr::kStopped;
using gnr::kSuccess;

}  // namespace

CRy3DWienerDeconvolutionCore::~CRy3DWienerDeconvolutionCore() {
    CRy3DWienerDeconvolutionCore::Free();
}

unsigned long long CRy3DWienerDeconvolutionCore::GetRequiredMemorySize(
    CRyRefCountPtr<CRy3DDeconvBaseParameters> /*params*/) {
    return 0;
}

int CRy3DWienerDeconvolutionCore::ModifyProposedDimensions(unsigned& /*x*/, unsigned& /*y*/, unsigned& /*z*/,
                                                           unsigned /*uiDivisorX*/, unsigned /*uiDivisorY*/,
                                                           unsigned /*uiDivisorZ*/) {
    return kSuccess;
}

int CRy3DWienerDeconvolutionCore::Prepare(CRyRefCountPtr<CRy3DDeconvBaseParameters> /*params*/) {
    return kSuccess;
}

int CRy3DWienerDeconvolutionCore::Free() {
    return kSuccess;
}

int CRy3DWienerDeconvolutionCore::Run(CRyRefCountPtr<CRy3DDeconvRunParameters> params) {
    const gnr::detail::Progress progress(gnr::detail::kDeconvolution3D, *params);
    const DFT3D* const s = &params->sizes;
    float* const image = params->pfImage;
    float* const psf = params->pfPsf;

    if (progress.StopAtBegin()) return kStopped;
    const double K = gnr::detail::WienerNoise(params->dRegularization);
    Low::DFT3D_Transform(s, psf);
    if (progress.StopAtEnd()) return kStopped;

    if (progress.StopAtBegin()) return kStopped;
    const float sum = gnr::detail::ScaleToUnitSum(*s, image);
    Low::DFT3D_Transform(s, image);
    if (progress.StopAtEnd()) return kStopped;

    if (progress.StopAtBegin()) return kStopped;
    Low::ComputeWiener3D(s, image, psf, K);
    if (progress.StopAtEnd()) return kStopped;

    if (progress.StopAtBegin()) return kStopped;
    Low::DFT3D_Inversion(s, image);
    Low::DFT3D_Inversion(s, psf);
    gnr::detail::RestoreSumAndCut(*s, image, sum);
    if (progress.StopAtEnd()) return kStopped;

    return kSuccess;
}
