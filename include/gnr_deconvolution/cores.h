// SPDX-License-Identifier: MIT
#pragma once

// The restartable 3D algorithms. One job runs as
//
//   CRy3DDeconvRunParameters::Create3DDeconvParameters,
//   CRyAbstract3DDeconvolutionCore::Create3DDeconvolutionCore ModifyProposedDimensions   sizes that the core
//   likes; fill parameters.sizes with FloatPSF3D::DFT3D_InitSizes GetRequiredMemorySize      does the job
//   fit? Prepare                    working buffers; non-zero ends the job Run                        as
//   often as wanted while the sizes stay; the restored image replaces pfImage Free                       or
//   drop the last reference
//
// A core is driven by one thread at a time; its reference count alone is safe across threads. Empty parameter
// pointers are the caller's fault.

#include <gnr_deconvolution/export.h>
#include <gnr_deconvolution/kernels_3d.h>
#include <gnr_deconvolution/object_frame.h>
#include <gnr_deconvolution/parameters.h>

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
