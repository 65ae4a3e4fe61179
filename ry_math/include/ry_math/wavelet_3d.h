// SPDX-License-Identifier: MIT
#pragma once

// One level of the separable orthogonal wavelet transform of a volume, down and up, in float. A pyramid is
// made by feeding band 7 of one level to the next.

#include <ry_math/export.h>

/// Separable 3D transform with periodic borders: along each axis of N samples
///
///   low(k)  = sum over n of father(n) x((2k + n) mod N),      k = 0 .. N/2 - 1
///   high(k) = sum over n of mother(n) x((2k + n) mod N)
///
/// and the inverse is the transpose. Perfect reconstruction holds for an orthogonal filter pair and every
/// even N, also N shorter than the filter. Bit 0, 1, 2 of a band's number is set where the band is low-pass
/// along x, y, z:
///
///   b0 none   b1 x   b2 y   b3 x y   b4 z   b5 x z   b6 y z   b7 x y z
///
/// Shape    compact volumes, x fastest, then y, then z; eight bands of half the size along each axis.
///          Input and outputs do not overlap
/// Filters  pfMother before pfFather, both of uiLength taps; even, 2 to 64
/// Order    parallel over blocks of rows; the result does not depend on the thread count
/// Errors   0 on success; -4 a null pointer, a side of 0, an odd side of a volume, a filter length
///          outside the range; -3 memory exhausted. On failure nothing is written
/// Source   Mallat 1989; Daubechies 1992, chapter 5; Cohen, Daubechies and Vial 1993 (periodised bases)
class RY_MATH_API CRyWavelet3D {
  public:
    /// Decomposes pfIn of uiX by uiY by uiZ samples, all even, into the blocks b0 to b7 that the caller
    /// supplies. The size of a band goes to uiOutX, uiOutY, uiOutZ. Allocates its scratch and frees it before
    /// it returns.
    static int WaveletDecompositionImage8(float*& b0, float*& b1, float*& b2, float*& b3, float*& b4,
                                          float*& b5, float*& b6, float*& b7, unsigned& uiOutX,
                                          unsigned& uiOutY, unsigned& uiOutZ, float* pfIn, unsigned uiX,
                                          unsigned uiY, unsigned uiZ, float* pfMother, float* pfFather,
                                          unsigned uiLength);

    /// The inverse: from eight bands of uiX by uiY by uiZ samples a volume of twice the size along each axis,
    /// into the block pfOut that the caller supplies. That size goes to uiOutX, uiOutY, uiOutZ.
    static int WaveletReconstructionImage8(float*& pfOut, unsigned& uiOutX, unsigned& uiOutY,
                                           unsigned& uiOutZ, float* b0, float* b1, float* b2, float* b3,
                                           float* b4, float* b5, float* b6, float* b7, unsigned uiX,
                                           unsigned uiY, unsigned uiZ, float* pfMother, float* pfFather,
                                           unsigned uiLength);

    /// WaveletDecompositionImage8 that allocates nothing; same result, bit for bit.
    /// Scratch, with n the samples of one band: w0, w1 of 8n floats, w2, w3 of 4n, w4, w5 of 2n; larger
    /// blocks do no harm. Their contents afterwards are undefined. No pointer is changed.
    static int WaveletDecompositionImage8_Preallocated(float*& b0, float*& b1, float*& b2, float*& b3,
                                                       float*& b4, float*& b5, float*& b6, float*& b7,
                                                       float*& w0, float*& w1, float*& w2, float*& w3,
                                                       float*& w4, float*& w5, unsigned& uiOutX,
                                                       unsigned& uiOutY, unsigned& uiOutZ, float* pfIn,
                                                       unsigned uiX, unsigned uiY, unsigned uiZ,
                                                       float* pfMother, float* pfFather, unsigned uiLength);

    /// WaveletReconstructionImage8 that allocates nothing; same result, bit for bit. Scratch as above.
    static int WaveletReconstructionImage8_Preallocated(float*& pfOut, unsigned& uiOutX, unsigned& uiOutY,
                                                        unsigned& uiOutZ, float*& b0, float*& b1, float*& b2,
                                                        float*& b3, float*& b4, float*& b5, float*& b6,
                                                        float*& b7, float*& w0, float*& w1, float*& w2,
                                                        float*& w3, float*& w4, float*& w5, unsigned uiX,
                                                        unsigned uiY, unsigned uiZ, float* pfMother,
                                                        float* pfFather, unsigned uiLength);
};
