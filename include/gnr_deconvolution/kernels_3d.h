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
// Kernels may be used from several threads at once on different buffers. Those whose name begins with SSE_,
// and those said to be parallel, fork OpenMP threads and join them before they return; all others run on the
// calling thread. The transforms report failures; no other kernel allocates, fails, or looks at its pointers
// first: null is the caller's fault. The blind inner loops alone call back.

#include <gnr_deconvolution/export.h>
#include <gnr_deconvolution/object_frame.h>

#include <cstdint>

class FloatPSF3D;
namespace gnr::test {
struct KernelAccess;
}

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

    // ---- element-wise --------------------------------------------------------------------------------
    // One float operation after the other as written, over all s->total floats, or over n floats; nothing
    // beyond is read or written, whatever n is, and nothing at all for n of 0 or below. The first operand
    // takes the result, the second is only read; both may be one buffer. The KERNEL3D_ form is serial; the
    // SSE_ form is parallel, wants 16-byte aligned buffers, and gives the same floats except where Divide
    // says otherwise. Complex kernels work on pairs, real part first; the last float of an odd n stays.

    /// a := b + a
    static void KERNEL3D_Add(const DFT3D* s, float* a, float* b);
    static void SSE_Add(float* a, float* b, long long n);
    /// a := a - b
    static void KERNEL3D_Subtract(const DFT3D* s, float* a, float* b);
    static void SSE_Subtract(float* a, float* b, long long n);
    /// a := b * a
    static void KERNEL3D_Multiply(const DFT3D* s, float* a, float* b);
    static void SSE_Multiply(float* a, float* b, long long n);
    /// a := b / a, the first operand being the denominator. Where a is 0, of either sign, KERNEL3D_ keeps it
    /// and SSE_ gives +0. A NaN is not 0.
    static void KERNEL3D_Divide(const DFT3D* s, float* a, float* b);
    static void SSE_Divide(float* a, float* b, long long n);
    /// a := (b + off) / (a + off); a stays where it is 0. No guard for a = -off.
    static void KERNEL3D_DivideOff(const DFT3D* s, float* a, float* b, float off);
    /// a := a b, as complex numbers
    static void KERNEL3D_ComplexMultiply(const DFT3D* s, float* a, float* b);
    static void SSE_ComplexMultiply(float* a, float* b, long long n);
    /// a := a conj(b), as complex numbers
    static void KERNEL3D_ComplexMultiplyAdJoint(const DFT3D* s, float* a, float* b);
    static void SSE_ComplexMultiplyAdjoint(float* a, float* b, long long n);
    /// a := +0
    static void KERNEL3D_Zero(const DFT3D* s, float* a);
    /// a := b
    static void KERNEL3D_Copy(const DFT3D* s, float* a, float* b);
    /// Every float of one, or of each of four buffers := 1. SetOnesFour is serial.
    static void SSE_SetOnes(float* p, const DFT3D* s);
    static void SSE_SetOnesFour(float* p1, float* p2, float* p3, float* p4, const DFT3D* s);
    static void SetOnesFour(float* p1, float* p2, float* p3, float* p4, const DFT3D* s);

    // ---- image statistics ----------------------------------------------------------------------------

    /// Sum over the image columns, in double, rounded to float on return.
    /// Order    plane, row, column, one accumulator
    static float GetSumOfImage(const DFT3D* s, float* p);
    /// The same sum.
    /// Order    parallel over rows: the last digits may depend on the thread count
    static float GetSumOfImageXX(const DFT3D* s, float* pf);
    /// Sum over a box, in double, rounded to float: planes iFirstPlane to iFirstPlane + iPlanes - 1, rows
    /// iMargin to iMargin + iHeight - 1, columns iMargin to iMargin + iWidth - 1. Rows and columns are cut at
    /// s->rows and s->rowLength (padding counts); planes are not checked.
    static float GetSumOfImageInteg(const DFT3D* s, float* p, int iFirstPlane, int iPlanes, int iMargin,
                                    int iWidth, int iHeight);
    /// Extremes over the image columns; a NaN is never taken. Without any sample, the lowest and the greatest
    /// finite float. Serial.
    static float GetMaxOfImageXX(const DFT3D* s, float* p);
    static float GetMinOfImageXX(const DFT3D* s, float* p);

    /// E8 energy of the image columns, S sum of the samples, Q sum of their squares (each square in float,
    /// the sums in double, the quotient rounded to float):
    ///
    ///   GetEnergyE8Image   S / Q; 1 unless |Q| > 1e-20
    ///   GetEnergyE8Kernel  Q / S; 1 unless |S| > 1e-20
    ///   ComputeE8_3D       (Q_B S_A) / (Q_A S_B); 1 unless |S_B| > 1e-10 and |Q_A| > 1e-10
    ///
    /// Order    the first two in plane, row, column order; the third parallel over rows, its last digits may
    ///          depend on the thread count
    static float GetEnergyE8Image(DFT3D* s, float* p);
    static float GetEnergyE8Kernel(DFT3D* s, float* p);
    static float ComputeE8_3D(float* pfA, float* pfB, const DFT3D* s);

    // ---- repairs, scalings, spectra ------------------------------------------------------------------

    /// Image columns: each sample times c. Padding stays. Serial.
    static void MulFloatC3D(const DFT3D* s, float* p, float c);
    /// Whole buffer: each float times c. The SSE_ form is parallel.
    static void MulFloatC3DXX(const DFT3D* s, float* p, float c);
    static void SSE_MulFloatC3DXX(const DFT3D* s, float* pf, float c);
    /// Whole buffer: a float below 0 becomes +0; -0 and a NaN stay. Parallel.
    static void ClipSmallerThanZero(const DFT3D* s, float* p);
    /// Image columns: a sample not above 0 becomes +0, -0 and a NaN too. Padding stays. Serial.
    static void CutByZero(const DFT3D* s, float* pf);
    /// Each pair (re, im) of the whole buffer becomes (re^2 + im^2, 0). Serial.
    static void PowerSpectrum(float* p, const DFT3D* s);
    /// Flips the sign bit of each imaginary part. Serial.
    static void ComplexConjugate(float* p, const DFT3D* s);

    // ---- noise ---------------------------------------------------------------------------------------

    /// Estimated noise variance of one plane, rows iWidth floats apart; pass rowLength, so that the mask
    /// stays within the image columns.
    ///
    ///   sigma = sqrt(pi / 2) / (6 (iWidth - 4) (iHeight - 2)) * sum |R|,  result sigma^2
    ///   R     response of the mask 1 -2 1 / -2 4 -2 / 1 -2 1
    ///
    /// Range    rows up to iHeight - 1, columns up to iWidth - 3
    /// Errors   none: 0 for iHeight of 2 or below; otherwise NaN for iWidth 4, which has no mask position
    /// Order    serial, in double
    /// Source   Immerkaer 1996 (docs/bibliography.md), here with two more columns of margin
    static double GetMyImmerkaerNoiseEstimationFloat(float* p, int iWidth, int iHeight);

    // ---- regularisation ------------------------------------------------------------------------------
    // Damping fields of an estimate pf, written to every float of pfOut, padding included: 1 outside the
    // interior. Distinct buffers of s->total floats. Serial; in float, the order of sums fixed.
    //
    //   L(n)   ((((( pf[n - planeStride] + pf[n + planeStride] ) + pf[n - rowLength] ) + pf[n + rowLength] )
    //          + pf[n - 1] ) + pf[n + 1] ) - pf[n] * 6

    /// Tikhonov-Miller damping field, clamped.
    ///
    ///   u(n)     = L(n) * fLambda, cut to -0.1 .. 0.1, a NaN to 0.1
    ///   pfOut(n) = 1 / (u(n) + 1)
    ///
    /// Interior planes 1 to min(planes - 1, rows - 1, rowLength - 3) - 1, all but row 0 and column 0: the
    ///          last row and the padding are interior
    /// Units    fLambda in 1/counts
    /// Source   van der Voort and Strasters 1995 (docs/bibliography.md)
    static void GetRegularization(const DFT3D* s, float* pfOut, float* pf, float fLambda);

    /// Tikhonov-Miller damping field; weakens fLambda until the field is stable.
    ///
    ///   u(n)     = L(n) * fLambda
    ///   pfOut(n) = 1 / (u(n) + 1)
    ///   while some u lies outside -0.11 .. 0.11: fLambda := (fLambda * 0.1) / max |u|, whole pass again
    ///
    /// Interior one sample inside every face of the image columns
    /// Units    fLambda in 1/counts, in and out; its magnitude never grows
    /// Errors   none: the second pass is always the last. A u that overflows ends with fLambda 0, an infinite
    ///          fLambda with NaN; NaN samples show in the field at themselves and their neighbours only
    /// Source   as above
    static void GetRegularizationIterative(const DFT3D* s, float* pfOut, float* pf, float& fLambda);

    /// Total-variation damping field.
    ///
    ///   gx, gy, gz  forward differences of pf;  m = sqrt(gy^2 + gx^2 + gz^2)
    ///   pfOut(n) = 1 / (1 - ((gy + gx + gz) / m) * fLambda);  1 unless m > 1e-10
    ///
    /// Interior as in GetRegularization; no clamp, so that a denominator at 0 gives an infinity
    /// Source   Dey, Blanc-Feraud, Zimmer and others 2006 (docs/bibliography.md), here without the second
    ///          difference
    static void GetRegularizationRLTV(DFT3D* s, float* pfOut, float* pf, float fLambda);

    /// Mean I-divergence of pfA from pfB over a box, maxima exclusive.
    ///
    ///   dResult = 1/N sum ( a ln((a + 1e-20) / (b + 1e-20)) - a + b ),  in double
    ///
    /// Range    samples of the box; an empty box gives NaN, a negative argument of the logarithm too
    /// Order    parallel: the last digits may depend on the thread count
    /// Returns  0
    /// Source   Csiszar 1991 (docs/bibliography.md)
    static int CalculateIDIV(float* pfA, float* pfB, double& dResult, unsigned long long uiMinX,
                             unsigned long long uiMaxX, unsigned long long uiMinY, unsigned long long uiMaxY,
                             unsigned long long uiMinZ, unsigned long long uiMaxZ, const DFT3D* s);

    // ---- acceleration --------------------------------------------------------------------------------
    // Multiplicative vector extrapolation: the next start is the current estimate, times the ratio of the
    // last two estimates raised to a power alpha. Source: Biggs and Andrews 1997 (docs/bibliography.md).

    /// Whole buffer: pfOut := pfNum / pfDen in float where pfDen > 1e-20, 1 elsewhere. Serial.
    static void GetPVKM1_3D(float* pfOut, float* pfNum, float* pfDen, const DFT3D* s);
    /// Image columns: p := max(p, 0)^fAlpha, a NaN counting as 0. Padding stays. Serial.
    static void PowVkAlpha3D(float* p, const DFT3D* s, float fAlpha);
    /// The same in parallel, with two shortcuts: fAlpha within 1e-10 of 0 sets the whole buffer to 1, padding
    /// too; within 1e-10 of 1 nothing changes, so that a negative sample stays.
    static void SSE_PowVkAlpha3D(float* p, const DFT3D* s, float fAlpha);
    /// The exponent alpha for the next step, 0 to 1: the correlation of the last two steps in the logarithm.
    ///
    ///   alpha = sum(u t) / sum(t t),  u = log10(pfC) pfA,  t = log10(pfD) pfB
    ///
    /// Shape    pfA, pfB current and previous estimate; pfC, pfD last and last but one step ratio: s->total
    ///          floats each; pfScratch 2 * planeStride floats, overwritten
    /// Range    image columns where pfC and pfD are above 1e-10; a sample that is left out adds the terms of
    ///          the last plane below it that had some at its place
    /// Numbers  logarithms and their products with the estimates in float; terms rounded to float, summed in
    ///          double
    /// Order    terms in parallel, sums on the calling thread: independent of the thread count
    /// Returns  0 unless sum(t t) > 1e-10 and alpha > 0; 1 unless alpha < 1
    static float Recompute_dAlphaK3D(float* pfScratch, float* pfA, float* pfB, float* pfC, float* pfD,
                                     const DFT3D* s);

    // ---- blind inner loop ----------------------------------------------------------------------------
    // One pass of blind deconvolution by alternation: Richardson-Lucy sweeps that improve one of image and
    // PSF while the other is held fixed; convolution commutes, so that one routine serves both passes.
    //
    //   A := A max(V, 0)^alpha                      accelerated sweeps only
    //   R  = F^-1( F(g / F^-1(F(A) F(B))) conj F(B) )
    //   A := c A R                                  c = 1 / sum of B; 1 for a sum below 1e-10
    //   V  = A / A before, alpha = Recompute_dAlphaK3D of the last two R; 0 until there are two
    //
    // Nothing is cut, no support is imposed and the PSF is not normalised. Callbacks are polls: one before the
    // first sweep, three in a plain sweep, seven in an accelerated one.
    //
    // pfUpdated    A: the image in an image pass, the PSF in a PSF pass; improved in place
    // pfFixed      B: the other; read only
    // uiSweeps     n, sweeps at the most
    // bImagePass   A is the image: selects the sense of the stop test
    // fStopE8      above -0.5: an image pass ends where E = ComputeE8_3D(image, PSF) falls below it, a PSF
    //              pass where E exceeds it
    // pfPlanes     2 pSizes->planeStride floats for the exponent
    // pfObserved   g; read only
    // pfOtf        out: F(B)
    // pfV, pfPrevious, pfScratch, pfGradient1, pfGradient2
    //              working volumes: V, A of the sweep before, and R of this one, the last and the last but one
    // pfnProgress  may be null
    // iStatus      set to -1 by a stop, else left alone
    // bReport      with a negative fStopE8, begin and end of each sweep are reported, the end with 4 units
    //
    // Shape    all volumes pSizes->total floats, distinct, 16-byte aligned for the SSE_ and SIM_ forms
    // Order    callbacks on the caller's thread; the sweeps do not depend on the thread count, the sum of B
    //          and E may in their last digits
    //
    //                          AccIBD...            SSE_AccIBD...         SIM_AccIBD...
    //   accelerated            n >= 3               n >= 3                where bAccelerate
    //   V, A before, R := 1    always               always                where bAccelerate
    //   first alpha            1                    0                     1
    //   power                  PowVkAlpha3D         SSE_PowVkAlpha3D      PowVkAlpha3D
    //   g / 0                  stays 0, sign too    +0                    +0
    //   times c                always               where c is not 1      always
    //   stop test              before the update    after the update      before, where bAccelerate
    //   ends too where E moved
    //   by less than 0.01 E    fStopE8 > 0, i > 0   never                 as AccIBD, where bAccelerate
    //   text says              core_legacy          core_3d               core_sim
    //
    // Returns  count of sweeps, i being those finished before:
    //   all sweeps run         n + 1                n                     n + 1
    //   ended by a test        i + 1                i + 1                 i + 1
    //   stopped at a poll      i + 1                i                     i + 1
    //   stopped before the first sweep, at a begin or at an end: 0
    //
    // Source   Ayers and Dainty 1988; Fish and others 1995; acceleration: Biggs and Andrews 1997
    //          (docs/bibliography.md)

    static unsigned AccIBDProcessInner3D(float* pfUpdated, float* pfFixed, const DFT3D* pSizes,
                                         unsigned uiSweeps, bool bImagePass, float fStopE8, float* pfPlanes,
                                         float* pfObserved, float* pfOtf, float* pfV, float* pfPrevious,
                                         float* pfScratch, float* pfGradient1, float* pfGradient2,
                                         RyProgressCallback pfnProgress, void* pProgressData, int& iStatus,
                                         bool bReport);
    static unsigned SSE_AccIBDProcessInner3D(float* pfUpdated, float* pfFixed, const DFT3D* pSizes,
                                             unsigned uiSweeps, bool bImagePass, float fStopE8,
                                             float* pfPlanes, float* pfObserved, float* pfOtf, float* pfV,
                                             float* pfPrevious, float* pfScratch, float* pfGradient1,
                                             float* pfGradient2, RyProgressCallback pfnProgress,
                                             void* pProgressData, int& iStatus, bool bReport);
    /// Without bAccelerate, fStopE8 only decides on reports, and pfPlanes, pfV, pfPrevious, pfGradient1 and
    /// pfGradient2 are not touched and may be null.
    static unsigned SIM_AccIBDProcessInner3D(float* pfUpdated, float* pfFixed, DFT3D* pSizes,
                                             unsigned uiSweeps, bool bImagePass, float fStopE8,
                                             float* pfPlanes, float* pfObserved, float* pfOtf, float* pfV,
                                             float* pfPrevious, float* pfScratch, float* pfGradient1,
                                             float* pfGradient2, RyProgressCallback pfnProgress,
                                             void* pProgressData, int& iStatus, bool bReport,
                                             bool bAccelerate);

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

  private:
    friend class FloatPSF3D;
    friend struct gnr::test::KernelAccess;

    // ---- by count ------------------------------------------------------------------------------------
    // The serial element-wise kernels on n floats.

    static void INLINE_Add(float* a, float* b, long long n);
    static void INLINE_Subtract(float* a, float* b, long long n);
    static void INLINE_Multiply(float* a, float* b, long long n);
    static void INLINE_Divide(float* a, float* b, long long n);
    static void INLINE_DivideOff(float* a, float* b, long long n, float off);
    static void INLINE_ComplexMultiply(float* a, float* b, long long n);
    static void INLINE_ComplexMultiplyAdjoint(float* a, float* b, long long n);
    static void INLINE_Zero(float* a, long long n);
    static void INLINE_Copy(float* a, float* b, long long n);

    // ---- model PSF -----------------------------------------------------------------------------------

    /// A quarter of a radial Gaussian, its peak 1 / (pi dSigma^2) at the plane's origin.
    ///
    ///   p(x, y) = exp(-(x^2 + y^2) / dSigma^2) / (pi dSigma^2)
    ///
    /// Shape    iHeight rows, iWidth floats apart
    /// Range    each row up to and including its first value below 1e-10; the rest of the row stays
    static void INLINE_GaussSimpleHat(float* p, int iWidth, int iHeight, double dSigma);
    /// The same; iDepth is not read.
    static void INLINE_GaussHat(float* p, int iWidth, int iHeight, int iDepth, double dSigma);
};
