// SPDX-License-Identifier: MIT
#pragma once

// The one-call 3D entries: geometry, buffers, callback and settings as plain arguments, working buffers
// allocated and freed within the call.
//
// Common to all: pfPsf and pfImage are padded volumes of s->total floats (kernels_3d.h), of any alignment;
// the peak of the PSF is sample (0, 0, 0), the rest wrapped around. pfImage holds the observed image on entry
// and the restored one on return; pfPsf is only read, but by the blind entries. pfn may be null. Arguments
// named unused have no effect.
// A call runs on the caller's thread, which makes all callbacks; calls on different buffers may overlap.

#include <gnr_deconvolution/export.h>
#include <gnr_deconvolution/kernels_3d.h>
#include <gnr_deconvolution/object_frame.h>

class CRyMemoryStock;

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

// ------------------------------------------------------------------------------- structured illumination

/// What a host does between the passes of CRy3DDeconvolution::SIM_LucyRichardsonIBD: illumination patterns are
/// its business alone. Called on the caller's thread with no worker running, so that both volumes may be read
/// and changed; they are those that the host gave, iRows and iPlanes their sides. The library neither owns nor
/// releases the object.
class GNR_API IRyIterationDataCallback {
  public:
    /// Before the PSF pass of iteration iIteration, counted from 0.
    virtual void OnBeforePsfPass(int iIteration, int iRows, int iPlanes, float* pfPsf, float* pfImage) = 0;
    /// Before the image pass of the same iteration.
    virtual void OnBeforeImagePass(int iIteration, int iRows, int iPlanes, float* pfPsf, float* pfImage) = 0;
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
    /// puiIterationsDone  takes 0 at the start and the count of iterations at the end; may be null
    /// Returns  as Landweber
    int Landweber_Automatic(DFT3D* s, float* pfPsf, float* pfImage, int iIterations, RyProgressCallback pfn,
                            void* pData, int iUnused1, int iUnused2, double dUnused3,
                            const SRyIRect3D& rcImage, double dUnused4, unsigned* puiIterationsDone,
                            double dStopRatio);

    /// Direct Wiener filter.
    ///
    ///   G = F(g / sum(g)),  e0 = |G(0)|^2
    ///   x = F^-1(G e0 H / (e0 |H|^2 + K)),  scaled to the sum of g, then cut at 0
    ///
    /// H and not conj(H) stands in the numerator: the filter is that of the Wiener core for a PSF that is
    /// symmetric about the origin, and for no other.
    ///
    /// uiSetting  K: 0 to 4 give 0.01, 0.03, 0.08, 0.2, 0.5, anything else 0.01
    /// Progress   four units: transform of the PSF; normalisation and transform of the image; filter; inverse
    ///            transform and renormalisation
    /// Returns    1; -1 stopped by the callback, pfImage being a spectrum from the end of the second unit to
    ///            the begin of the fourth; 0 without memory, pfImage untouched
    /// Source     Wiener 1949; Gonzalez and Woods 2008, section 5.8 (docs/bibliography.md)
    int Wiener(DFT3D* s, float* pfPsf, float* pfImage, RyProgressCallback pfn, void* pData,
               unsigned uiSetting, int iUnused1, int iUnused2);

    /// Richardson-Lucy with a clamped Tikhonov-Miller factor, for a fixed count.
    ///
    ///   x := x R(x) (H^T (g / (H x))) / sum of PSF
    ///
    /// R      GetRegularization with weight -1e-6 n^2, n = 2 uiRegularization modulo 2^32; none for 0
    /// Sums   a PSF that sums to less than 1e-10 counts as one of sum 1
    /// Ratio  a blur that is exactly 0 stays 0. Negative samples are not cut.
    /// Returns  1; -8 stopped by the callback, pfImage being that of the last finished iteration; -9 without
    ///          memory, pfImage untouched
    /// Source   Richardson 1972; Lucy 1974; van der Voort and Strasters 1995 (docs/bibliography.md)
    int LucyRichardsonTM(DFT3D* s, float* pfPsf, float* pfImage, int iIterations, RyProgressCallback pfn,
                         void* pData, int iUnused1, int iUnused2, unsigned uiRegularization);

    /// The same with a factor that weakens itself and an end by itself, as in Landweber_Automatic. The image
    /// is divided by its maximum for the run; negatives are cut before it and after each iteration.
    ///
    /// R      GetRegularizationIterative, its weight -0.2 dRegularization^2 at the start; none for 0
    /// puiIterationsDone  takes 0 at the start and the count of iterations at the end; may be null
    /// Returns  as LucyRichardsonTM, but that -9 leaves pfImage divided by its maximum
    int LucyRichardsonTM_Automatic(DFT3D* s, float* pfPsf, float* pfImage, int iIterations,
                                   RyProgressCallback pfn, void* pData, int iUnused1, int iUnused2,
                                   double dRegularization, const SRyIRect3D& rcImage,
                                   unsigned* puiIterationsDone, double dStopRatio);

    // ---- blind ---------------------------------------------------------------------------------------

    /// Blind deconvolution: sweeps on the image and sweeps on the PSF by turns, both in place, then
    /// iIterations sweeps more on the image alone. The sweeps are those of
    /// CRy3DDeconvolutionLow::AccIBDProcessInner3D.
    ///
    /// After each pass the observed image is replaced by the current estimate, so that only the first pass
    /// fits what was observed.
    ///
    /// pfPsf           in: a first guess; out: the refined PSF, not normalised
    /// fStopE8         ends passes on their energy ratio; -0.5 or below switches that off
    /// uiInnerSetting  sweeps a pass: 0 gives 1, 1 gives 10, others 20; from 3 on they are accelerated
    /// iIterations     bounds the units reported for image passes, one more a pass than its sweeps; PSF passes
    ///                 are not counted. Below 0 as 0
    /// Returns  1; -8 stopped by the callback between passes; -1 stopped within the last pass, or once within
    ///          an earlier one, which ends that pass alone; -9 without memory, both volumes untouched
    /// Progress a begin and an end for each pass, the end with the image pass's units, and such a pair once
    ///          more when the units are used up; within passes polls; in the last one a begin and an end a
    ///          sweep, of 4 units
    /// Source   Ayers and Dainty 1988; Fish and others 1995; Biggs and Andrews 1997 (docs/bibliography.md)
    int LucyRichardsonIBD(DFT3D* pSizes, float* pfPsf, float* pfImage, int iIterations,
                          RyProgressCallback pfn, void* pProgressData, int iUnused1, int iUnused2,
                          float fStopE8, unsigned uiInnerSetting);

    /// Blind deconvolution for structured illumination: by turns one sweep on the PSF and one on the image, the
    /// host called before each. All passes fit the image observed. The sweeps are those of
    /// CRy3DDeconvolutionLow::SIM_AccIBDProcessInner3D, not accelerated.
    ///
    /// pfPsf, pfImage  improved in place
    /// fStopE8         has no effect
    /// pDataCallback   the host between the passes; may be null
    /// Returns  1; -1 where the callback asked to stop at any time; -9 without memory, nothing touched
    /// Progress polls only. A stop ends the pass it is answered to and no more: the host is still called for
    ///          what is left, and a host that stops keeps answering so
    int SIM_LucyRichardsonIBD(DFT3D* pSizes, float* pfPsf, float* pfImage, int iIterations,
                              RyProgressCallback pfn, void* pProgressData, int iUnused1, int iUnused2,
                              float fStopE8, IRyIterationDataCallback* pDataCallback);
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

    /// Plain Richardson-Lucy iteration.
    ///
    ///   x := x F^-1(F(g / (H x)) H)
    ///
    /// H itself and not its conjugate projects back: a PSF that is not symmetric about the origin is not the
    /// one of LucyRichardsonRealTV.
    ///
    /// pfKernelSpectrum  H, the PSF transformed already; only read
    /// pfResult out: 0
    /// Ratio    a blur that is exactly 0 stays 0. Nothing is normalised, no negative sample cut.
    /// Progress a unit an iteration; its begin carries the count 1 as well
    /// Returns  1; -8 stopped by the callback, pfImage being that of the last finished iteration; -9 without
    ///          memory, pfImage and pfResult untouched
    /// Source   Richardson 1972; Lucy 1974 (docs/bibliography.md)
    static int LucyRichardson(DFT3D* sizes, float* pfKernelSpectrum, float* pfImage, int iIterations,
                              float* pfResult, RyProgressCallback callback, void* pUser, int iUnused1,
                              int iUnused2);

    /// Richardson-Lucy with a total-variation factor.
    ///
    ///   x := x R(x) (H^T (g / (H x))) / sum of PSF
    ///
    /// R      GetRegularizationRLTV with weight 1e-4 f^2, f = 2 uiRegularization modulo 2^32; none for 0
    /// Sums, Ratio, Returns, pfResult  as in LucyRichardsonTM and LucyRichardson
    /// Source   Dey, Blanc-Feraud, Zimmer and others 2006 (docs/bibliography.md)
    static int LucyRichardsonRealTV(DFT3D* sizes, float* pfKernel, float* pfImage, int iIterations,
                                    float* pfResult, RyProgressCallback callback, void* pUser, int iUnused1,
                                    int iUnused2, unsigned uiRegularization);

    // ---- in stages -----------------------------------------------------------------------------------
    // Two gradient restorations that can be parked in a stock (memory_stock.h) between calls:
    //
    //   first call    bResume false: g is pfImage as it comes, the weight lambda follows from
    //                 uiRegularization
    //   parked call   bStore true: puts "image" (x), "kernel" (pfKernel), "pg" (g), "ph" (H), "fLambda" into
    //                 the stock, each as a copy, but for g and H, whose volumes the stock takes over. A key
    //                 that the stock holds already keeps its content, "image" alone takes the new x.
    //   resumed call  bResume true: takes the parked x and PSF back into pfImage and pfKernel, and works on
    //                 the stock's own g, H and lambda
    //
    // The store is made after a stop by the callback too, and for 0 iterations. What is parked stays the
    // stock's; what a call made and the stock did not take is freed. A stock must not be swapped out during
    // a call. pStock may be null where neither flag is set.
    //
    //   iIterations  of this call; 0 or below: none
    //   Returns      1; -8 stopped by the callback, pfImage being that of the last finished iteration; -9
    //                without memory, or for a resumed call whose stock lacks g or H of this size; then
    //                nothing is changed
    //   Numbers      neither step is clipped at 0

    /// Gradient step of length 1 on squared error and total variation; stages give the bits of one long run.
    ///
    ///   x := x + H^T g - H^T H x - lambda T(x)
    ///
    /// T       ComputeTVDivergence3D; left out in a call whose uiRegularization is 0, whatever lambda is
    /// lambda  0.002 f^2, f = 2 uiRegularization modulo 2^32, of the first call
    /// Key     "fSum2" is stored too: one float, 0, that nothing reads
    /// Source  Rudin, Osher and Fatemi 1992 (docs/bibliography.md), here with forward differences throughout
    static int LucyRichardsonTV_AdditiveVersion(DFT3D* sizes, float* pfKernel, float* pfImage,
                                                int iIterations, RyProgressCallback callback, void* pUser,
                                                int iUnused1, int iUnused2, unsigned uiRegularization,
                                                CRyMemoryStock* pStock, bool bResume, bool bStore);

    /// Step of length 0.003 along an element-wise conjugate direction of the Tikhonov-Miller functional.
    ///
    ///   R := lambda x + H^T H x - H^T g
    ///   P := R + (R(before)^2 + 1) / (R^2 + 1) P,  without P where R is 0; P := R in the first iteration
    ///   x := x + 0.003 P
    ///
    /// The step carries the sign of R. The direction is not parked: a resumed call starts with P = R.
    /// lambda  0.01 f^2, f = 2 uiRegularization modulo 2^32, of the first call
    /// Source  van der Voort and Strasters 1995 (docs/bibliography.md), with a direction of its own
    static int LucyRichardsonTV_ICTM(DFT3D* sizes, float* pfKernel, float* pfImage, int iIterations,
                                     RyProgressCallback callback, void* pUser, int iUnused1, int iUnused2,
                                     unsigned uiRegularization, CRyMemoryStock* pStock, bool bResume,
                                     bool bStore);

    /// Divergence of the normalised gradient, both by forward differences.
    ///
    ///   dx = x(i+1) - x, dy = x(j+1) - x, dz = x(k+1) - x, in float;  n = sqrt(dy^2 + dx^2 + dz^2) in double
    ///   g = d / n, rounded to float;  0 where n is not above 1e-20
    ///   T = (gy(j+1) - gy) + (gx(i+1) - gx) + (gz(k+1) - gz),  in float
    ///
    /// Shape    five distinct buffers of sizes->total floats; x only read
    /// Range    all but the last image column, row and plane, each of which then copies the one before, in g
    ///          and in T. Padding of rows that are computed stays. Without a second row or plane there is no
    ///          gradient: the image columns of all four become 0.
    /// Order    parallel; independent of the thread count
    /// Source   Rudin, Osher and Fatemi 1992 (docs/bibliography.md), who alternate the differences
    static void ComputeTVDivergence3D(const DFT3D* sizes, float* gx, float* gy, float* gz, float* T,
                                      float* x);
};
