// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/psf_3d.h>

#include "detail/volume_geometry.h"

void FloatPSF3D::DFT3D_InitSizes(DFT3D* s, int x, int y, int z) {
    *s = gnr::detail::MakeGeometry(x, y, z);
}

void FloatPSF3D::DFT3D_ZeroSizes(DFT3D* s) {
    *s = DFT3D{};
}
