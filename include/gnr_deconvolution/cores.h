// SPDX-License-Identifier: MIT
#pragma once

// The restartable 3D algorithms. One job runs as
//
//   1. CRy3DDeconvRunParameters::Create3DDeconvParameters and
//      CRyAbstract3DDeconvolutionCore::Create3DDeconvolutionCore
//   2. ModifyProposedDimensions: sizes that the core likes; fill sizes with FloatPSF3D::DFT3D_InitSizes
//   3. GetRequiredMemorySize: does the job fit?
//   4. Prepare: working buffers; non-zero ends the job
//   5. Run: as often as wanted while the sizes stay; the restored image replaces pfImage
//   6. Free, or drop the last reference
//
// A core is driven by one thread at a time; its reference count alone is safe across threads. Empty parameter
// pointers are the caller's fault.

#include <gnr_deconvolution/export.h>
#include <gnr_deconvolution/kernels_3d.h>
#include <gnr_deconvolution/object_frame.h>
#include <gnr_deconvolution/parameters.h>

#include <array>
#include <cstdint>
#include <utility>
#include <vector>

/// What every core can do.
class GNR_API CRyAbstract3DDeconvolutionCore : public IRyRefCount {
  public:
    /// The core of an algorithm, its owner count 1; an empty pointer for a value without a core.
    static CRyRefCountPtr<CRyAbstract3DDeconvolutionCore> Create3DDeconvolutionCore(
        ERyLow3DDeconvolutionType eType);

    void AddRef() const override;
    void Release() const override;
    void AddZeroPtr(void* p) const override;
    void RemoveZeroPtr(void* p) const override;
    virtual ~CRyAbstract3DDeconvolutionCore();

    /// Bytes that Prepare allocates for these parameters.
    virtual unsigned long long GetRequiredMemorySize(CRyRefCountPtr<CRy3DDeconvBaseParameters> params) = 0;

    /// Rounds proposed logical sizes up to sizes the core wants: the smallest divisor * 2^a 3^b 5^c not below
    /// the proposal. Divisors are at least 1, uiDivisorX even. Returns 0.
    virtual int ModifyProposedDimensions(unsigned& x, unsigned& y, unsigned& z, unsigned uiDivisorX,
                                         unsigned uiDivisorY, unsigned uiDivisorZ) = 0;

    /// Allocates the working buffers, after freeing those of an earlier Prepare. 0, or -3 without memory.
    virtual int Prepare(CRyRefCountPtr<CRy3DDeconvBaseParameters> params) = 0;

    /// Restores params->pfImage in place. 0 done; -8 stopped by the callback; -9 not prepared; -4 parameters
    /// of a class that this core cannot use.
    virtual int Run(CRyRefCountPtr<CRy3DDeconvRunParameters> params) = 0;

    /// Frees the working buffers; harmless when there are none. Returns 0.
    virtual int Free() = 0;

    mutable gnr::OwnerCount iRefCount;    ///< owners; 1 after construction
    mutable gnr::ZeroPtrSet setZeroPtrs;  ///< addresses of watching pointers
    mutable gnr::ObjectLock csZeroPtrs;   ///< guards setZeroPtrs

  protected:
    CRyAbstract3DDeconvolutionCore() = default;
    CRyAbstract3DDeconvolutionCore(const CRyAbstract3DDeconvolutionCore&) = delete;
    CRyAbstract3DDeconvolutionCore& operator=(const CRyAbstract3DDeconvolutionCore&) = default;

    /// Writes the quality vector to the diagnostic file, a line for each index below uiCount, empty where the
    /// vector has no pair. An empty vector touches no file; a file that cannot be opened is skipped.
    virtual void LogQualityVect(const std::vector<std::pair<unsigned, double>>& vQuality, unsigned uiCount);

    /// Appends (uiIteration, root mean square of fScale * pfImage - pfReference over rc).
    virtual void ComputeRMSE(std::vector<std::pair<unsigned, double>>& vQuality, unsigned uiIteration,
                             const SRyIRect3D& rc, const DFT3D* pSizes, float fScale, const float* pfImage,
                             const float* pfReference);
};

/// Direct Wiener filter. Stateless, allocates nothing, takes any even width and any other sizes.
///
///   K from the whole part of dRegularization: 0 to 4 give 0.01, 0.03, 0.08, 0.2, 0.5; others 0.01
///   image := image / sum;  X = F(image) conj(H) e0 / (e0 |H|^2 + K);  image := F^-1(X), input's sum, cut at
///   0
///
/// pfPsf holds the PSF with sum 1; it is transformed in place and back. Four units of work are reported. A
/// stop leaves both buffers as the last finished step left them, possibly in spectral form. Run returns 0 or
/// -8.
class GNR_API CRy3DWienerDeconvolutionCore : public CRyAbstract3DDeconvolutionCore {
  public:
    CRy3DWienerDeconvolutionCore() = default;
    CRy3DWienerDeconvolutionCore& operator=(const CRy3DWienerDeconvolutionCore&) = default;
    ~CRy3DWienerDeconvolutionCore() override;

    unsigned long long GetRequiredMemorySize(CRyRefCountPtr<CRy3DDeconvBaseParameters> params) override;
    int ModifyProposedDimensions(unsigned& x, unsigned& y, unsigned& z, unsigned uiDivisorX,
                                 unsigned uiDivisorY, unsigned uiDivisorZ) override;
    int Prepare(CRyRefCountPtr<CRy3DDeconvBaseParameters> params) override;
    int Run(CRyRefCountPtr<CRy3DDeconvRunParameters> params) override;
    int Free() override;
};

/// Richardson-Lucy iteration with a multiplicative Tikhonov-Miller term.
///
///   x := c x reg(x) H^T(g / H x)      x estimate in pfImage, g observed, H blur by the PSF, c = 1 / its sum
///
/// Manual     uiIterations steps, no normalisation, clamped regulariser of weight -1e-6 n^2,
///            n = 2 trunc(strength) modulo 2^32
/// Automatic  image normalised to its maximum, negatives cut after each step, self-limiting regulariser of
///            weight -0.2 strength^2, and an end by itself: D, the mean I-divergence of x from g over
///            rcImage, grows as the image sharpens; with r = D(1) / D, step 6 or a later one is the last
///            where r rose or r / r(before) exceeds dStopRatio. Takes CRy3DAutoDeconvRunParameters only.
///
/// pfPsf is read only. Four working buffers: 16 bytes a float of the volume. Two forward and two backward
/// transforms a step; a unit of work is one step. After a stop the automatic mode still counts the steps and
/// scales back. Not made by the factory: hosts construct it.
/// Source   Richardson 1972; Lucy 1974; Tikhonov-Miller term: Dey et al. 2006 (docs/bibliography.md)
class GNR_API CRy3DLucyRichardsonTMDeconvolutionCore : public CRyAbstract3DDeconvolutionCore {
  public:
    /// bAutomatic  automatic mode, as above
    explicit CRy3DLucyRichardsonTMDeconvolutionCore(bool bAutomatic);
    CRy3DLucyRichardsonTMDeconvolutionCore& operator=(const CRy3DLucyRichardsonTMDeconvolutionCore&) =
        default;
    ~CRy3DLucyRichardsonTMDeconvolutionCore() override;

    unsigned long long GetRequiredMemorySize(CRyRefCountPtr<CRy3DDeconvBaseParameters> params) override;
    int ModifyProposedDimensions(unsigned& x, unsigned& y, unsigned& z, unsigned uiDivisorX,
                                 unsigned uiDivisorY, unsigned uiDivisorZ) override;
    int Prepare(CRyRefCountPtr<CRy3DDeconvBaseParameters> params) override;
    int Run(CRyRefCountPtr<CRy3DDeconvRunParameters> params) override;
    int Free() override;

  private:
    std::array<float**, 4> Buffers() { return {&pfObserved, &pfOtf, &pfRegularization, &pfWork}; }

    float* pfObserved = nullptr;
    float* pfOtf = nullptr;
    float* pfRegularization = nullptr;
    float* pfWork = nullptr;
    bool bAutomatic;
};

/// Fast Richardson-Lucy: a damped step, then as far along the same direction as the likelihood gains.
///
///   x_RL := x H^T(damped ratio of g and H x)          damping exponent N = dRegularization; 1 is undamped
///   x    := x + alpha (x_RL - x), negatives cut       alpha 1, 2, 4, ... 4096 by a line search
///
/// The image is lifted by a pedestal where its darkest sample is near 0 and normalised to mean 1; both are
/// undone at the end. bWienerStart begins from a Wiener filtered image. The PSF is expected to sum to 1; the
/// Wiener start transforms pfPsf in place and back. The run ends by itself, unless bNoAutoStop, when the mean
/// of the last three of six likelihoods no longer leads that of all six by dStopRatio, step 15 at the
/// earliest.
///
/// Takes CRy3DAutoDeconvRunParameters. Seven working buffers: 28 bytes a float of the volume. Three forward
/// and three backward transforms a step. Callbacks a step: begin, three polls, end.
/// Source   Biggs and Andrews 1997; damping: White 1994 (docs/bibliography.md)
class GNR_API CRy3DAcceleratedLucyRichardsonTMDeconvolutionCore : public CRyAbstract3DDeconvolutionCore {
  public:
    CRy3DAcceleratedLucyRichardsonTMDeconvolutionCore() = default;
    CRy3DAcceleratedLucyRichardsonTMDeconvolutionCore& operator=(
        const CRy3DAcceleratedLucyRichardsonTMDeconvolutionCore&) = default;
    ~CRy3DAcceleratedLucyRichardsonTMDeconvolutionCore() override;

    unsigned long long GetRequiredMemorySize(CRyRefCountPtr<CRy3DDeconvBaseParameters> params) override;
    int ModifyProposedDimensions(unsigned& x, unsigned& y, unsigned& z, unsigned uiDivisorX,
                                 unsigned uiDivisorY, unsigned uiDivisorZ) override;
    int Prepare(CRyRefCountPtr<CRy3DDeconvBaseParameters> params) override;
    int Run(CRyRefCountPtr<CRy3DDeconvRunParameters> params) override;
    int Free() override;

  protected:
    /// Doubles fAlpha from the value given while the damped likelihood over rc gains against alpha = 0, alpha
    /// stays within fAlphaMax and below 8192. Returns the likelihood at the chosen alpha, at least 1.
    /// The blur at alpha is the mix (pfBlurredNew - pfBlurredOld) alpha + pfBlurredOld, without a transform.
    virtual double OptimizeAlphaByLogLikelihood(float& fAlpha, float fAlphaMax, const float* pfObserved,
                                                const float* pfBlurredNew, const float* pfBlurredOld,
                                                const DFT3D* pSizes, float fC, float fN,
                                                const SRyIRect3D& rc);

  private:
    std::array<float**, 7> Buffers() {
        return {&pfObserved, &pfOtf, &pfRegularization, &pfWork, &pfPrevious, &pfBlurredOld, &pfBlurredNew};
    }

    float* pfObserved = nullptr;
    float* pfOtf = nullptr;
    float* pfRegularization = nullptr;  ///< held, as the required memory says, for a weight that is always 0
    float* pfWork = nullptr;
    float* pfPrevious = nullptr;
    float* pfBlurredOld = nullptr;
    float* pfBlurredNew = nullptr;
};

/// Gradient steps on the squared error, each followed by shrinkage in randomly shifted wavelets and a cut at
/// 0.
///
///   x := c shrink(y + step H^T(g - H y)), negatives cut        c = 1 / sum of PSF
///
/// Manual     step 1, momentum: y = x + (t - 1) / t' (x - x before), t' = (1 + sqrt(1 + 4 t^2)) / 2;
///            all uiIterations steps
/// Automatic  step 1.7, y = x; ends by itself as the automatic Richardson-Lucy core does. Takes
///            CRy3DAutoDeconvRunParameters only.
///
/// Shrinkage  soft threshold of all bands, the approximation too, by (2 strength)^1.4 * 0.04 * dScale, in
///            counts of the image; none for strength 0 or below 16 planes. A negative strength or one that is
///            no number shrinks the image to 0
/// Sizes      one wavelet level for every 16 planes, at most 4; each side divisible by 2^levels
/// Returns    as every core; -9 too for a side that the levels do not divide, and from Prepare where bands or
///            workspace do not fit in memory
///
/// pfPsf is read only. Six volumes, bands and workspace: about 43 bytes a float of the volume. Two forward
/// and two backward transforms a step; callbacks a step: begin, poll, end. Shifts come from rand, seeded with
/// 0 by every run.
/// Source   Landweber 1951; Nesterov 1983; Daubechies, Defrise and De Mol 2004; cycle spinning: Coifman and
///          Donoho 1995 (docs/bibliography.md)
class GNR_API CRy3DLandweberDeconvolutionCore : public CRyAbstract3DDeconvolutionCore {
  public:
    /// bAutomatic  automatic mode, as above
    explicit CRy3DLandweberDeconvolutionCore(bool bAutomatic);
    CRy3DLandweberDeconvolutionCore& operator=(const CRy3DLandweberDeconvolutionCore&) = default;
    ~CRy3DLandweberDeconvolutionCore() override;

    unsigned long long GetRequiredMemorySize(CRyRefCountPtr<CRy3DDeconvBaseParameters> params) override;
    int ModifyProposedDimensions(unsigned& x, unsigned& y, unsigned& z, unsigned uiDivisorX,
                                 unsigned uiDivisorY, unsigned uiDivisorZ) override;
    int Prepare(CRyRefCountPtr<CRy3DDeconvBaseParameters> params) override;
    int Run(CRyRefCountPtr<CRy3DDeconvRunParameters> params) override;
    int Free() override;

  private:
    std::array<float**, 6> Buffers() {
        return {&pfObserved, &pfOtf, &pfWorkA, &pfWorkB, &pfPoint, &pfPrevious};
    }
    bool IsPrepared();

    float* pfObserved = nullptr;
    float* pfOtf = nullptr;
    float* pfWorkA = nullptr;
    float* pfWorkB = nullptr;
    float* pfPoint = nullptr;     ///< with momentum; without it the point is the image itself
    float* pfPrevious = nullptr;  ///< held, as the required memory says, for what the image itself still has
    float* apfBands[8][5] = {};
    float* apfWaveletWork[6] = {};
    unsigned uiLevels = 4;
    bool bAutomatic;
};

/// Blind restoration: sweeps on the image and sweeps on the PSF by turns, both in place.
///
/// A pass is CRy3DDeconvolutionLow::SSE_AccIBDProcessInner3D with 1, 10 or 20 sweeps by iBlindInnerSetting;
/// 10 and 20 are accelerated. fBlindValue is its energy stop; -0.5 or below switches that off. Sweeps of both
/// kinds of pass count towards uiIterations.
///
/// Guard      after each image pass, unless bNoPsfGuard: with L the decimal logarithm of the image's largest
///            sample, the data that later passes fit become the present image where L lies within 0.8 decades
///            of the first pass's (iBlindGuardSetting 0 or 7) or 0.3 (others); otherwise they stay. Under
///            bNoPsfGuard they are the observed image throughout
/// Reference  iterates are compared after each pair of passes but the last, scaled by fReferenceSum / S, S
///            the sum of the box of rcImage's extents at column 30, row 30 and the middle planes
/// Returns    0; -8 stopped by the callback between passes; -1 where it stopped within a pass and then went
///            on; -4 not prepared (no -9 here), or parameters other than CRy3DBlindDeconvRunParameters
/// Progress   a begin and an end for each pass, the end with the sweeps of the image pass, and such a pair
///            once more when uiIterations is reached; within passes polls
///
/// pfPsf is improved too: a first guess on entry, the refined PSF on return, not normalised. Seven volumes and
/// four planes of working buffers. Two forward and two backward transforms a sweep, one more a pass.
/// Source   Ayers and Dainty 1988; Fish and others 1995; Biggs and Andrews 1997 (docs/bibliography.md)
class GNR_API CRy3DBlindDeconvolutionCore : public CRyAbstract3DDeconvolutionCore {
  public:
    CRy3DBlindDeconvolutionCore() = default;
    CRy3DBlindDeconvolutionCore& operator=(const CRy3DBlindDeconvolutionCore&) = default;
    ~CRy3DBlindDeconvolutionCore() override;

    unsigned long long GetRequiredMemorySize(CRyRefCountPtr<CRy3DDeconvBaseParameters> params) override;
    int ModifyProposedDimensions(unsigned& x, unsigned& y, unsigned& z, unsigned uiDivisorX,
                                 unsigned uiDivisorY, unsigned uiDivisorZ) override;
    int Prepare(CRyRefCountPtr<CRy3DDeconvBaseParameters> params) override;
    int Run(CRyRefCountPtr<CRy3DDeconvRunParameters> params) override;
    int Free() override;

  private:
    std::array<float**, 7> Volumes() {
        return {&pfObserved, &pfOtf, &pfV, &pfPrevious, &pfScratch, &pfGradient1, &pfGradient2};
    }
    bool IsPrepared();

    float* pfPlanes = nullptr;
    float* pfObserved = nullptr;
    float* pfOtf = nullptr;
    float* pfV = nullptr;
    float* pfPrevious = nullptr;
    float* pfScratch = nullptr;
    float* pfGradient1 = nullptr;
    float* pfGradient2 = nullptr;
};
