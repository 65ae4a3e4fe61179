// SPDX-License-Identifier: MIT
#pragma once

// The padded volume format and everything that is done on it.
//
// A volume of x by y by z samples is one flat array of floats, two spare floats at the end of each row:
//
//   real layout      sample (i, j, k) at k * planeStride + j * rowLength + i, i < x; columns x and x + 1 are
//                    padding, which belongs to no sample
//   spectral layout  the half spectrum of the same buffer, real and imaginary part in turn: frequency
//                    (u, v, w), u <= x / 2, at float w * planeStride + v * rowLength + 2 u; zero frequency
//                    first, negative frequencies in the upper half of v and w
//
// so that an in-place real-to-complex transform fits. x is even. "Image columns" are the columns below x,
// "whole buffer" all `total` floats.
//
// Transforms and buffers may be used from several threads at once on different buffers. Kernels whose name
// begins with SSE_, and those said to be parallel, fork OpenMP threads and join them before they return.

#include <gnr_deconvolution/export.h>

#include <cstdint>

// -------------------------------------------------------------------------------------------- geometry

/// Geometry of a padded volume; filled by FloatPSF3D::DFT3D_InitSizes, constant while buffers of it live.
struct DFT3D {
    std::int32_t rowLength;    ///< floats a row: logical width x, plus 2
    std::int32_t rows;         ///< rows a plane: y
    std::int32_t planes;       ///< planes: z
    std::int32_t planeStride;  ///< floats a plane: rowLength * rows
    std::int64_t total;        ///< floats of the volume: planeStride * planes
};

/// Size record of the scratch buffer of the blind path.
struct FDCT2D {
    int iCount;  ///< floats
};

// --------------------------------------------------------------------------------------------- kernels

/// All kernels, static and without state.
class GNR_API CRy3DDeconvolutionLow {
  public:
    // ---- buffers -------------------------------------------------------------------------------------
    // Each is released by its partner only. All give null when memory is exhausted or the size is negative.

    /// s->total floats; released by KERNEL3D_Destroy.
    static float* KERNEL3D_Create(const DFT3D* s);
    /// Releases KERNEL3D_Create and KERNEL2D_Create; null is harmless.
    static void KERNEL3D_Destroy(float* pf);
    /// n floats; released by INLINE_Destroy.
    static float* INLINE_Create(long long n);
    static void INLINE_Destroy(float* pf);
    /// s->iCount floats; released by KERNEL3D_Destroy.
    static float* KERNEL2D_Create(FDCT2D* s);
    /// n zeroed floats, aligned to 16 bytes as every SSE_ kernel needs, with slack behind them for the last
    /// group of four or eight; released by SSE_Destroy.
    static float* SSE_Alloc(long long n);
    static void SSE_Destroy(float* pf);

    // ---- transforms ----------------------------------------------------------------------------------
    // Forward: exponent exp(-i ...), unscaled. Backward: divided by the number of real samples, so that a
    // forward and a backward transform give back the image columns, and the inverse of a product of two
    // spectra is their circular convolution. All return 0, or -1 where the FFT package refused or failed
    // (a side of 0 or below, a null buffer). After a backward transform the padding holds finite numbers of
    // no meaning.

    /// Forward, in place: real layout to spectral layout, s->total floats.
    static int DFT3D_Transform(const DFT3D* s, float* pf);
    /// Forward: reads the real volume pfIn and leaves it, writes the spectrum to pfOut. Distinct buffers.
    static int DFT3D_Transform_NonInPlace(const DFT3D* s, float* pfOut, float* pfIn);
    /// Backward, in place, divided by x * rows * planes.
    static int DFT3D_Inversion(const DFT3D* s, float* pf);
    /// Forward, in place, of each plane by itself.
    static int DFT2D_Transform(const DFT3D* s, float* pf);
    /// Backward, in place, of each plane by itself, divided by x * rows.
    static int DFT2D_Inversion(const DFT3D* s, float* pf);

    // ---- image statistics ----------------------------------------------------------------------------

    /// Sum over the image columns, in double, rounded to float on return.
    /// Order    parallel over rows: the last digits may depend on the thread count
    static float GetSumOfImageXX(const DFT3D* s, float* pf);

    // ---- element-wise --------------------------------------------------------------------------------

    /// pf[i] := pf[i] * c over the whole buffer, one float product each; parallel.
    static void SSE_MulFloatC3DXX(const DFT3D* s, float* pf, float c);

    /// Image columns: a sample not above 0 becomes +0, a NaN too. Padding stays. Serial.
    static void CutByZero(const DFT3D* s, float* pf);

    // ---- Wiener filter -------------------------------------------------------------------------------

    /// Multiplies the half spectrum pfA by a Wiener filter made of the half spectrum pfB.
    ///
    ///   e0 = |A(0)|^2
    ///   W  = e0 conj(B) / (e0 |B|^2 + K)       signal power flat at e0, noise power constant at K
    ///   A  := A W
    ///
    /// Shape    both s->total floats; pfB unchanged
    /// Numbers  products and sums in float, the addition of K in double, rounded back to float
    /// Order    parallel; each pair by itself, independent of the thread count
    /// Source   Wiener 1949; in this form Gonzalez and Woods 2008, section 5.8 (docs/bibliography.md)
    static void ComputeWiener3D(const DFT3D* s, float* pfA, float* pfB, double K);
};
