// SPDX-License-Identifier: MIT

// A stack of Gaussians, the simplest model PSF.

#include <gnr_deconvolution/psf_3d.h>

#include <algorithm>
#include <cstdint>

#include "psf/psf_volume.h"

using namespace gnr::detail;

void FloatPSF3D::KERNEL3D_Gauss(DFT3D* pSizes, float* pfOut, int iPlanes, int /*iUnused*/, double dStep) {
    double sigma = 0.5;
    for (int z = 0; z < iPlanes; ++z) {
        CRy3DDeconvolutionLow::INLINE_GaussSimpleHat(PlaneOf(*pSizes, pfOut, z), pSizes->rowLength,
                                                     pSizes->rows, sigma);
        sigma += dStep;
    }
    for (std::int64_t z = std::max(iPlanes, 0); z < pSizes->planes; ++z) {
        std::fill_n(PlaneOf(*pSizes, pfOut, z), pSizes->planeStride, 0.0f);
    }
}
