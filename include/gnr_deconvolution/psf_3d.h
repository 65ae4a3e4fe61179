// SPDX-License-Identifier: MIT
#pragma once

// The point spread function as a volume, and the geometry that it shares with every volume of the library.

#include <gnr_deconvolution/export.h>
#include <gnr_deconvolution/kernels_3d.h>

/// Point spread function of a microscope, in the padded volume layout.
class GNR_API FloatPSF3D {
  public:
    /// Fills the geometry of a volume of x by y by z samples: rowLength = x + 2, rows = y, planes = z,
    /// planeStride = rowLength * rows in 32 bits, total = planeStride * planes in 64 bits.
    static void DFT3D_InitSizes(DFT3D* s, int x, int y, int z);

  protected:
    /// Sets all five fields to 0.
    static void DFT3D_ZeroSizes(DFT3D* s);
};
