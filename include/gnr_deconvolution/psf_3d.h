// SPDX-License-Identifier: MIT
#pragma once

// The point spread function of a fluorescence microscope, computed from its optics into a volume that the
// deconvolution entry points take as it is.
//
// There are two models. GeneratePSF works from the short record: a scalar diffraction integral on a band of
// planes about the focus, shaped by an empirical power of the aperture. GeneratePSFEx works from the long
// record: the layered model after Gibson and Lanni, which knows how deep in the sample the focus lies. Both
// end with a volume of sum 1. docs/psf.md tells the formulas.
//
// Two arguments recur:
//
//   bPadded    true: the last two floats of each row are padding for the in-place transform, usable width
//              W = rowLength - 2; false: they are samples like all others, W = rowLength
//   bCentered  true: the peak stands in the middle, at (W / 2, rows / 2, planes / 2); false: it stands at the
//              origin and the rest is wrapped around, which is what a convolution by FFT wants
//
// An object is used by one thread at a time. Generators fork OpenMP threads and join them before they return;
// the progress callback runs on the caller's thread.

#include <gnr_deconvolution/export.h>
#include <gnr_deconvolution/kernels_3d.h>
#include <gnr_deconvolution/object_frame.h>

#include <cstdint>

// --------------------------------------------------------------------------------------------- records

/// Optics of the fast model. The host's own record; a FloatPSF3D keeps a copy.
struct SDiffractionParams {
    std::int32_t iModality = 0;         ///< selects the generator; see GeneratePSF and GeneratePSFEx
    double dNA = 0.0;                   ///< numerical aperture of the objective
    double dRefractiveIndex = 0.0;      ///< refractive index of the immersion medium
    double dWavelength = 0.0;           ///< micrometres; in the long record the excitation wavelength
    double dSphericalAberration = 0.0;  ///< micrometres; fourth-order pupil term, read by KERNEL3D_Airy only
    double dXYPitch = 0.0;              ///< micrometres between samples in x and y
    double dZPitch = 0.0;               ///< micrometres between planes
    double dReserved0 = 0.0;            ///< carried for the host, never read
    double dReserved1 = 0.0;            ///< carried for the host, never read
    double dReserved2 = 0.0;            ///< carried for the host, never read
    double dReserved3 = 0.0;            ///< carried for the host, never read
};

/// Optics of the layered model: all of the short record, and the sample.
struct SDiffractionParamsEx : SDiffractionParams {
    double dEmissionWavelength = 0.0;     ///< micrometres; the wavelength of EpiFluorescence
    double dSampleRefractiveIndex = 0.0;  ///< refractive index of the medium that the sample lies in
    double dDepthNm = 0.0;  ///< nanometres from the coverslip down to the focal plane; 0: no focus search
    double dPinhole = 0.0;  ///< micrometres at the detector; read by ConfocalFluorescence
    double dMagnification = 0.0;      ///< between sample and pinhole; read by ConfocalFluorescence
    bool bInvertZ = false;            ///< reverses the sign of the axial coordinate
    std::uint32_t uiMaxZSamples = 0;  ///< upper limit of the planes that are computed
};

/// What Normalize scales to the given value.
enum ENormalizationType : std::int32_t {
    NormalizeToMaximum = 1,  ///< the largest sample
    NormalizeToSum = 2,      ///< the sum of the samples
};

// ---------------------------------------------------------------------------------------------- object

/// Owner of one point spread function, in the padded volume layout.
class GNR_API FloatPSF3D {
  public:
    float* pfPSF = nullptr;         ///< sizes.total floats, 16-byte aligned, owned; null when empty
    DFT3D sizes = {0, 0, 0, 0, 0};  ///< geometry of pfPSF; all zero when empty
    SDiffractionParams params;      ///< base record of the last GeneratePSF or GeneratePSFEx

    FloatPSF3D() = default;
    FloatPSF3D(const FloatPSF3D&) = delete;
    /// Copies field by field: both objects then point at one buffer, nothing is freed and no ownership moves,
    /// so the host must see to it that one of them forgets it. Copy makes a duplicate.
    FloatPSF3D& operator=(const FloatPSF3D&) = default;
    ~FloatPSF3D();

    // ---- memory --------------------------------------------------------------------------------------

    /// Frees what is held and allocates a zeroed buffer of this geometry, which may be the object's own.
    /// Errors   0; -3 memory exhausted: the geometry stays set and pfPSF is null
    int AllocatePSF(const DFT3D* pSizes);
    /// The same for x by y by z samples.
    int AllocatePSF(unsigned x, unsigned y, unsigned z);
    /// Frees the buffer and zeroes the geometry; harmless when empty.
    void DestroyPSF();
    /// Becomes a duplicate of other, with a buffer of its own; null where memory is exhausted.
    void Copy(const FloatPSF3D& other);

    float* GetPSFPtr() { return pfPSF; }
    const float* GetPSFPtr() const { return pfPSF; }
    /// The object's own record, not a copy.
    DFT3D* GetSizes() { return &sizes; }
    const DFT3D* GetSizes() const { return &sizes; }

    // ---- operations on the volume --------------------------------------------------------------------
    // An empty object is the caller's error, but in GetMaxValue, GetMaxValueCenter and DestroyPSF.

    /// Forward and backward transform in place; a failure is not reported.
    void TransformPSF();
    void InvertPSF();

    /// Each float of the buffer becomes its square.
    void SquarePSF();

    /// Scales the volume.
    ///
    ///   NormalizeToMaximum   factor = dValue / max in float; dValue where max is 0
    ///   NormalizeToSum       factor = dValue / sum in double; 1 where the sum is 0
    ///
    /// Range    max and sum over the usable columns; with bPadded the padding becomes 0 first; the factor is
    ///          applied to the whole buffer. Any other eType does nothing
    /// Order    the sum is taken in plane, row, column order: independent of the thread count
    void Normalize(ENormalizationType eType, double dValue, bool bPadded);

    /// Place and value of the first largest float, padding included. pfMax may be null. All 0, and pfMax
    /// untouched, when empty.
    void GetMaxValue(int& x, int& y, int& z, float* pfMax);

    /// Mean place, rounded towards 0, of the floats not below (1 - fFraction) of the largest, padding
    /// included. All 0 when empty.
    void GetMaxValueCenter(float fFraction, int& x, int& y, int& z);

    /// Moves the volume by (dx, dy, dz) samples, cyclically: what leaves at one face enters at the other.
    /// Range    the usable columns; padding becomes 0
    /// Numbers  the column shift is reduced by the row length and then taken modulo the usable width, so with
    ///          padding a shift by rowLength moves nothing
    /// Errors   0; -3 memory exhausted: nothing is changed
    int Shift(int dx, int dy, int dz, bool bPadded);

    // ---- choice of size ------------------------------------------------------------------------------

    /// Samples in x and y that hold the pattern: ceil(d) with d = (3.66 lambda / NA) / pitch, at least 5; for
    /// wide-field three times that, at least 50. Wavelength in nanometres, pitch in micrometres.
    static unsigned long long GetRecommendedXYSize(double dWavelengthNm, double dNA, double dXYPitchUm,
                                                   bool bWidefield);

    /// Planes that hold the pattern: d = ceil((7.2 lambda n / NA^2) / pitch), at least 3; for wide-field 4.5
    /// d rounded down, at least 8.
    static unsigned long long GetRecommendedZSize(double dWavelengthNm, double dRefractiveIndex, double dNA,
                                                  double dZPitchUm, bool bWidefield);

    /// Lateral diameter in samples of the pattern of KERNEL3D_Airy in a volume of iZ planes: the geometrical
    /// cone at the farthest plane and twenty Rayleigh radii. Never below 8.
    static int GuessPsfExtent(const SDiffractionParams* pParams, int iZ, float fScale);
    /// What GuessPsfExtent forwards to.
    static int KERNEL3D_GuessAiryExtent(const SDiffractionParams* pParams, int iZ, float fScale);

    /// Fills the geometry of a volume of x by y by z samples: rowLength = x + 2, rows = y, planes = z,
    /// planeStride = rowLength * rows in 32 bits, total = planeStride * planes in 64 bits.
    static void DFT3D_InitSizes(DFT3D* s, int x, int y, int z);

    /// Smallest m with 2^m + 1 >= n, by logarithms and from below: m = trunc(ln n / ln 2), one more where
    /// n > 2^m + 1. So 2 gives 1.
    static int FDCT_NtoM(int n);

    // ---- generation ----------------------------------------------------------------------------------

    /// Point spread function of the fast model, sum 1, in a buffer of this geometry.
    ///
    ///   iModality  5, 6   KERNEL3D_2Photon, squared
    ///              7      KERNEL3D_Airy at 4 times the lateral and a quarter of the axial pitch
    ///              other  KERNEL3D_Airy
    ///
    /// After KERNEL3D_Airy each sample v becomes v^p, and 0 below 1e-10, with p falling from 1.8 at a
    /// numerical aperture of 0.6 to 1.2 at 1.4 and constant outside.
    ///
    /// Shape    pSizes: the wanted geometry, which may be the object's own
    /// Units    fScale multiplies the lateral pitch inside KERNEL3D_Airy; 1 for a calibrated record
    /// Progress eProgressPoll before each plane
    /// Errors   0; -3 memory exhausted; -8 stopped: the volume stays allocated and partly filled
    int GeneratePSF(DFT3D* pSizes, const SDiffractionParams* pParams, RyProgressCallback callback,
                    void* pUser, float fScale, bool bCentered, bool bPadded);

    /// Point spread function of the layered model, sum 1, in a buffer of this geometry.
    ///
    ///   iModality  0      EpiFluorescence
    ///              5, 6   TwoPhotonFluorescence
    ///              7      EpiFluorescence at 4 times the lateral and the axial pitch
    ///              8      ConfocalFluorescence with a pinhole of 1 micrometre
    ///              other  ConfocalFluorescence
    ///
    /// Progress none: callback and pUser are accepted and not used; the call cannot be stopped
    /// Errors   0; -3 memory exhausted for the volume; -8 the model failed: the volume stays allocated
    int GeneratePSFEx(DFT3D* pSizes, const SDiffractionParamsEx* pParams, RyProgressCallback callback,
                      void* pUser, bool bCentered, bool bPadded);

    // ---- layered model -------------------------------------------------------------------------------
    // pfOut has pSizes->total floats and need not be the object's own buffer. An aperture above the
    // refractive index of the immersion medium gives no meaningful numbers.

    /// Wide-field pattern.
    ///
    ///   I(r, z) = | (1 / g) integral_0^1 exp(i k (d sqrt(nS^2 - NA^2 rho^2) - z sqrt(nI^2 - NA^2 rho^2)))
    ///               J0(k NA rho r) rho drho |^2
    ///
    /// with the stage at z = (plane - planes / 2) pitch + focus, reversed by bInvertZ; a medium that cannot
    /// carry a part of the pupil damps it.
    ///
    /// Range    clears all of pfOut, then fills planes and radii within the recommended sizes
    /// Focus    *pdFocus in metres: with bFindFocus found and returned (0 where dDepthNm is 0), otherwise
    ///          taken as it stands
    /// Errors   0; -3 memory exhausted: planes that had memory are filled; -4 pdFocus is null
    /// Source   Gibson and Lanni 1991 (docs/psf.md)
    int EpiFluorescence(const DFT3D* pSizes, float* pfOut, const SDiffractionParamsEx* pParams,
                        bool bCentered, bool bPadded, bool bFindFocus, double* pdFocus);

    /// Square of the wide-field pattern at the excitation wavelength, dWavelength.
    int TwoPhotonFluorescence(const DFT3D* pSizes, float* pfOut, const SDiffractionParamsEx* pParams,
                              bool bCentered, bool bPadded);

    /// Wide-field pattern of the emission, blurred by the pinhole, times that of the excitation at
    /// dWavelength, both in the focus of the emission.
    /// Errors   0; -3 memory exhausted
    int ConfocalFluorescence(const DFT3D* pSizes, float* pfOut, const SDiffractionParamsEx* pParams,
                             bool bCentered, bool bPadded);

  protected:
    // ---- kernels of the fast model -------------------------------------------------------------------
    // 0, or -1 where the callback asked to stop. Planes are reported before they are computed.

    /// Diffraction pattern with defocus and a fourth-order spherical aberration.
    ///
    ///   I(r, D) = | integral_0^T (t / 2) J0(t v / c) exp(i k (A (t / T)^4 + D) / c) dt |^2
    ///   T = tan(half angle), c = sqrt(1 + t^2), v = k r, k = 2 pi n / lambda
    ///
    /// Range    planes within a band about the focus, whose half width falls with the aperture; other planes,
    ///          and with bCentered false the middle column and row of even sizes, are not written
    /// Source   Born and Wolf 1999, section 8.8, by Simpson's rule (docs/psf.md)
    int KERNEL3D_Airy(DFT3D* pSizes, float* pfOut, const SDiffractionParams* pParams, bool bCentered,
                      RyProgressCallback callback, void* pUser, float fScale, bool bPadded);

    /// Scalar defocus integral with the phase 4 sin^2(a / 2) rho^2; amplitudes under a fourth root. Clears
    /// pfOut first. fScale is not read. Called by no driver.
    int KERNEL3D_GibsonLani(DFT3D* pSizes, float* pfOut, const SDiffractionParams* pParams, bool bCentered,
                            RyProgressCallback callback, void* pUser, float fScale, bool bPadded);

    /// The same integral at half the wave number; amplitudes under a square root.
    int KERNEL3D_2Photon(DFT3D* pSizes, float* pfOut, const SDiffractionParams* pParams, bool bCentered,
                         RyProgressCallback callback, void* pUser, float fScale, bool bPadded);

    /// Pupil integral at n radii, with all pupil terms given, by the three-eighths rule on m intervals.
    ///
    ///   b = dFactor1 dFactor2 dFactor3 r,  r = i dRadiusStep,  e = dStep / 3
    ///   phase of interval j:  pd9 pd5 at its end, pd4 pd8 at its start, pd11 pd7 at 2 e, pd10 pd6 at e
    ///   pdOut[i] = |sum_j (ends + 3 inner)|^2 * dStep / 8,   each term exp(i phase) J0(b s) s
    ///
    /// Shape    pdOut: n doubles; pd4 to pd11: m doubles each; pd0 to pd3 and dUnused are not read
    void GenerateAiry1D(double* pdOut, unsigned n, double dUnused, double dRadiusStep, const double* pd0,
                        const double* pd1, const double* pd2, const double* pd3, const double* pd4,
                        const double* pd5, const double* pd6, const double* pd7, const double* pd8,
                        const double* pd9, const double* pd10, const double* pd11, unsigned m, double dStep,
                        double dFactor1, double dFactor2, double dFactor3);

    // ---- small kernels -------------------------------------------------------------------------------

    /// Quarter Gaussians at the origin of the first iPlanes planes, sigma 0.5 growing by dStep a plane; the
    /// other planes become 0. iUnused is not read.
    void KERNEL3D_Gauss(DFT3D* pSizes, float* pfOut, int iPlanes, int iUnused, double dStep);

    /// Each of the pSizes->total floats becomes its square; parallel.
    void KERNEL3D_Square(DFT3D* pSizes, float* pf);

    /// Moves floats to the left inside each row of the volume, X = rowLength: bWholeRow true, columns 1 to
    /// X - 2 to column 0 on; false, the X / 2 - 1 floats from column X / 2 + 1 to column X / 2 - 1 on.
    void MovePSFToCorrect(DFT3D* pSizes, float* pf, bool bWholeRow);

    /// Sets all five fields to 0.
    static void DFT3D_ZeroSizes(DFT3D* s);
};
