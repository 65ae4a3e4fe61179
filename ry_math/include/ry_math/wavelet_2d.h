// SPDX-License-Identifier: MIT
#pragma once

// One level of the separable orthogonal wavelet transform of a picture, down and up, in double.

#include <ry_math/export.h>

/// Separable 2D transform with periodic borders; the formulas along an axis are those of CRyWavelet3D. Bands:
///
///   a high-pass along x and y   b low-pass along x   c low-pass along y   d low-pass along both, the
///   approximation
///
/// Shape    compact pictures, x fastest; four bands of half the width and height. Input and outputs do
///          not overlap
/// Filters  pMother before pFather, both of uiLength taps; even, 2 to 64
/// Order    parallel over blocks of rows; the result does not depend on the thread count
/// Errors   0 on success; -4 a null pointer, a side of 0, an odd side of a picture, a filter length
///          outside the range; -3 memory exhausted. On failure nothing is written
class RY_MATH_API CRyWavelet2D {
  public:
    /// Decomposes pIn of w by h samples, both even, into the blocks a to d that the caller supplies. The size
    /// of a band goes to uiOutW and uiOutH.
    static int WaveletDecompositionImage(double*& a, double*& b, double*& c, double*& d, unsigned& uiOutW,
                                         unsigned& uiOutH, double* pIn, unsigned w, unsigned h,
                                         double* pMother, double* pFather, unsigned uiLength);

    /// The inverse: from four bands of w by h samples a picture of 2w by 2h, into the block pOut that the
    /// caller supplies. That size goes to uiOutW and uiOutH.
    static int WaveletReconstructionImage(double*& pOut, unsigned& uiOutW, unsigned& uiOutH, double* a,
                                          double* b, double* c, double* d, unsigned w, unsigned h,
                                          double* pMother, double* pFather, unsigned uiLength);
};
