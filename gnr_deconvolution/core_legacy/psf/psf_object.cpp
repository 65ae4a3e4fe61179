// SPDX-License-Identifier: MIT

// Memory of the PSF object.

#include <gnr_deconvolution/psf_3d.h>

#include <algorithm>

namespace {

using Low = CRy3DDeconvolutionLow;

}  // namespace

FloatPSF3D::~FloatPSF3D() {
    DestroyPSF();
}

int FloatPSF3D::AllocatePSF(const DFT3D* pSizes) {
    const DFT3D wanted = *pSizes;  // before the object's own record, which it may be, is cleared
    DestroyPSF();
    sizes = wanted;
    pfPSF = Low::SSE_Alloc(sizes.total);
    return pfPSF != nullptr ? gnr::kSuccess : gnr::kOutOfMemory;
}

int FloatPSF3D::AllocatePSF(unsigned x, unsigned y, unsigned z) {
    DFT3D wanted;
    DFT3D_InitSizes(&wanted, static_cast<int>(x), static_cast<int>(y), static_cast<int>(z));
    return AllocatePSF(&wanted);
}

void FloatPSF3D::DestroyPSF() {
    Low::SSE_Destroy(pfPSF);
    pfPSF = nullptr;
    DFT3D_ZeroSizes(&sizes);
}

void FloatPSF3D::Copy(const FloatPSF3D& other) {
    if (this == &other) return;
    AllocatePSF(&other.sizes);
    params = other.params;
    if (pfPSF != nullptr && other.pfPSF != nullptr) std::copy_n(other.pfPSF, sizes.total, pfPSF);
}

void FloatPSF3D::TransformPSF() {
    Low::DFT3D_Transform(&sizes, pfPSF);
}

void FloatPSF3D::InvertPSF() {
    Low::DFT3D_Inversion(&sizes, pfPSF);
}

void FloatPSF3D::SquarePSF() {
    KERNEL3D_Square(&sizes, pfPSF);
}
