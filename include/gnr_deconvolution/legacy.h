// SPDX-License-Identifier: MIT
#pragma once

// The one-call 3D entries: geometry, buffers, callback and settings as plain arguments, working buffers
// allocated and freed within the call.
//
// Common to all: pfPsf and pfImage are padded volumes of s->total floats (kernels_3d.h), of any alignment;
// the peak of the PSF is sample (0, 0, 0), the rest wrapped around. pfImage holds the observed image on entry
// and the restored one on return; pfPsf is only read. pfn may be null. Arguments named unused have no effect.
// A call runs on the caller's thread, which makes all callbacks; calls on different buffers may overlap.

#include <gnr_deconvolution/export.h>
#include <gnr_deconvolution/kernels_3d.h>
#include <gnr_deconvolution/object_frame.h>

// ------------------------------------------------------------------------------------- wavelet coefficients

/// Bands of a wavelet pyramid, by number and level; band 7 of a level is its low-pass band, from which the
/// next level starts. A plain record: whoever allocates frees.
struct GNR_API SWaveletSet {
    float* apfBands[8][5] = {};  ///< (uiX >> (l + 1)) * (uiY >> (l + 1)) * (uiZ >> (l + 1)) floats, or null
    unsigned uiX = 0;            ///< sides of the volume
    unsigned uiY = 0;
    unsigned uiZ = 0;
    unsigned uiLevels = 0;

    /// Nulls all pointers and frees nothing.
    void Clear();
    /// Stores sides and levels (at most 5) and allocates zeroed bands. 0, or -9 where memory does not suffice
    /// or levels are too many; then nothing is held.
    int Allocate(unsigned x, unsigned y, unsigned z, unsigned levels);
    /// Frees and nulls every band.
    void Free();
    /// Copies all bands of a set of the same shape.
    void Copy(const SWaveletSet& from);
    /// w[b][l] := w[b][l] + (float)(1 / aDivisors[b][l]) from[b][l]; same shape.
    void AddScaled(const SWaveletSet& from, const double (&aDivisors)[8][5]);
    /// w[b][l] := (w[b][l] - before[b][l]) fFactor + w[b][l]; same shape.
    void Extrapolate(const SWaveletSet& before, float fFactor);
};

// ------------------------------------------------------------------------------------------------ entries

/// One-call deconvolutions. No data; `this` is never read.
class GNR_API CRy3DDeconvolution {
  public:
    /// Landweber with momentum, restarted every 35 iterations.
    ///
    ///   y := y + H^T(g - H y);  x := y / sum of PSF, negatives cut;  y := x + (t - 1) / t' (x - x before)
    ///   t' = (1 + sqrt(1 + 4 t^2)) / 2
    ///
    /// A restart sets t to 1, and replaces g as well as y by x: from there on the iteration fits that
    /// estimate and no longer the observed image.
    /// Returns  1; -8 stopped by the callback, pfImage being that of the last finished iteration; -9 without
    ///          memory, pfImage untouched
    /// Source   Landweber 1951; Nesterov 1983; restart: O'Donoghue and Candes 2015 (docs/bibliography.md)
    int Landweber(DFT3D* s, float* pfPsf, float* pfImage, int iIterations, RyProgressCallback pfn,
                  void* pData, int iUnused1, int iUnused2, unsigned uiUnused3, double dUnused4);

    /// Landweber with step 1.7 and an end by itself, on the mean I-divergence of the estimate from the
    /// observed image over rcImage: iteration 6 or a later one is the last where r = D(1) / D rose or
    /// r / r(before) exceeds dStopRatio. Negatives of the observed image are cut first.
    ///
    ///   x := (x + 1.7 H^T(g - H x)) / sum of PSF, negatives cut
    ///
    /// puiIterationsDone  takes the count of iterations, 0 from the start on; may be null
    /// Returns  as Landweber
    int Landweber_Automatic(DFT3D* s, float* pfPsf, float* pfImage, int iIterations, RyProgressCallback pfn,
                            void* pData, int iUnused1, int iUnused2, double dUnused3,
                            const SRyIRect3D& rcImage, double dUnused4, unsigned* puiIterationsDone,
                            double dStopRatio);
};

/// The older static entries.
class GNR_API CRyLegacy3DDeconvolutionFamily {
  public:
    /// Accelerated iterative shrinkage of the wavelet coefficients w of the image.
    ///
    ///   x   = W^T(w) / sum of PSF, negatives cut
    ///   w'  = soft(w + W(H^T(g - H x)) / T, theta / T)
    ///   w  := w' + (t - 1) / t' (w' - w),  t' = (1 + sqrt(1 + 4 t^2)) / 2
    ///
    /// W      wavelet transform, one level for every 16 planes, at most 4; sides divisible by 2^levels
    /// theta  (2 uiRegularization)^1.4 * 0.04 * dStrength, in counts
    /// T      by band: how strongly the blur couples the band with all others, plus 0.01, at least 0.25. The
    ///        coupling of two bands of the PSF is the largest product of their moduli over all frequencies,
    ///        both repeated to the larger size; the highest frequencies along x of the last planes are left
    ///        out
    /// rect     out: the box of the image columns
    /// pfResult out: 0
    /// Returns  1; -8 stopped by the callback, with the image of the last finished iteration; -9 without
    ///          memory or for a side that the levels do not divide; -9 below 16 planes, before anything is
    ///          changed
    /// Progress the first iteration sends none
    /// Source   Beck and Teboulle 2009; subband steps: Vonesch and Unser 2008 (docs/bibliography.md)
    static int LandweberFW(DFT3D* sizes, float* pfKernel, float* pfImage, int iIterations, float* pfResult,
                           RyProgressCallback callback, void* pUser, int iUnused1, int iUnused2,
                           unsigned uiRegularization, SRyIRect3D& rect, double dStrength);
};
