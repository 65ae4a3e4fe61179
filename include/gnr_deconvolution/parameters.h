// SPDX-License-Identifier: MIT
#pragma once

// Parameter objects: everything that belongs to one 3D job. The host fills one in and passes it to each call
// of a core. Image, PSF and reference buffers stay the host's.
//
// Fields marked "for the host" are carried and copied, and read by no operation of the library.
//
// Assignment copies every field, the owner count and the registered zero pointers included; use it only
// between objects that nobody else holds. No class may come to own a resource beyond the zero-pointer set:
// the last Release frees any of them through the base.

#include <gnr_deconvolution/export.h>
#include <gnr_deconvolution/kernels_3d.h>
#include <gnr_deconvolution/object_frame.h>

#include <new>

/// Geometry of a job; what GetRequiredMemorySize and Prepare need.
class GNR_API CRy3DDeconvBaseParameters : public IRyRefCount {
  public:
    CRy3DDeconvBaseParameters() = default;
    CRy3DDeconvBaseParameters(const CRy3DDeconvBaseParameters&) = delete;
    CRy3DDeconvBaseParameters& operator=(const CRy3DDeconvBaseParameters&) = default;
    ~CRy3DDeconvBaseParameters() = default;

    void AddRef() const override;
    void Release() const override;
    void AddZeroPtr(void* p) const override;
    void RemoveZeroPtr(void* p) const override;

    // Objects are freed as parameters, whatever their class. The other two forms of new stay usable.
    static void* operator new(size_t uiBytes);
    static void* operator new(size_t uiBytes, const std::nothrow_t& noThrow) noexcept;
    static void* operator new(size_t /*uiBytes*/, void* pvPlace) noexcept { return pvPlace; }
    static void operator delete(void* pvObject);
    static void operator delete(void* pvObject, const std::nothrow_t& noThrow) noexcept;
    static void operator delete(void* /*pvObject*/, void* /*pvPlace*/) noexcept {}

    mutable gnr::OwnerCount iRefCount;    ///< owners; 1 after construction
    mutable gnr::ZeroPtrSet setZeroPtrs;  ///< addresses of watching pointers
    mutable gnr::ObjectLock csZeroPtrs;   ///< guards setZeroPtrs

    DFT3D sizes = {0, 0, 0, 0, 0};            ///< geometry of all buffers; read by every core
    SRyIRect3D rcImage = {0, 0, 0, 0, 0, 0};  ///< the real image inside the volume; stop tests, quality
    ERyLow3DDeconvolutionType eType = eDeconvAcceleratedLucyRichardsonTM;  ///< for the host
    unsigned long long aHostWords[5] = {};                                 ///< for the host
    std::int32_t iHostValue = 1;                                           ///< for the host
    bool bWienerStart = false;  ///< the accelerated core begins with a Wiener pass
    void* pHostData = nullptr;  ///< for the host
};

/// One run: buffers, callback, settings. Taken by the Wiener core and by cores built without automatic stop.
class GNR_API CRy3DDeconvRunParameters : public CRy3DDeconvBaseParameters {
  public:
    /// The parameter class that belongs to an algorithm, with eType set; its owner count is 1.
    /// 1: blind; 2, 5, 21: run; 3, 11, 22, 23: automatic; any other value: an empty pointer.
    static CRyRefCountPtr<CRy3DDeconvRunParameters> Create3DDeconvParameters(ERyLow3DDeconvolutionType eType);

    float* pfPsf = nullptr;  ///< PSF, sizes.total floats, 16-byte aligned, peak at sample (0, 0, 0) and
                             ///< wrapped; iterative cores copy it, Wiener passes transform it in place
    float* pfImage =
        nullptr;  ///< in: observed image; out: restored image; sizes.total floats, 16-byte aligned
    RyProgressCallback pfnProgress = nullptr;  ///< null: no reports and no way to stop
    void* pProgressData = nullptr;             ///< handed back to the callback
    double dRegularization = 0.0;              ///< strength; each core reads it its own way
    double dScale = 1.0;                       ///< factor of the Landweber threshold
    std::uint32_t uiIterations = 1;            ///< limit of iterations; Wiener ignores it
    bool bNoAutoStop = false;                  ///< switches the accelerated core's stop test off
    std::int32_t iHostValueA = 1;              ///< for the host
    std::int32_t iHostValueB = 1;              ///< for the host
    unsigned long long aHostWordsA[2] = {};    ///< for the host
    const float* pfReference = nullptr;  ///< true image of a simulation; iterates are measured against it
    float fReferenceSum = 1.0f;          ///< scale of that comparison in the blind core
    std::int32_t iHostValueC = 0;        ///< for the host
    std::int32_t iHostValueD = 0;        ///< for the host
    void* pHostWordB = nullptr;          ///< for the host
    bool bHostFlagA = false;             ///< for the host
    std::int32_t iHostValueE = 0;        ///< for the host
    bool bHostFlagB = false;             ///< for the host
};

/// A run that ends by itself.
class GNR_API CRy3DAutoDeconvRunParameters : public CRy3DDeconvRunParameters {
  public:
    double dStopRatio = 1.0007;             ///< threshold of the automatic stop test
    unsigned* puiIterationsDone = nullptr;  ///< where to write how many iterations ran; may be null
};

/// A blind run.
class GNR_API CRy3DBlindDeconvRunParameters : public CRy3DDeconvRunParameters {
  public:
    float fBlindValue = 0.0f;             ///< energy stop threshold of the inner loop
    std::int32_t iBlindInnerSetting = 0;  ///< inner rounds a call: 0 gives 1, 1 gives 10, others 20
    bool bNoPsfGuard = false;             ///< skips the dynamic-range guard of the PSF step
    std::int32_t iBlindGuardSetting = 0;  ///< guard tolerance: 0 and 7 give 0.8, others 0.3
};
