// SPDX-License-Identifier: MIT
#pragma once

// Helpers around the point spread function of a picture: planes of the focal field, a radially symmetric PSF
// from one of their columns, a PSF from a measured picture, and real 2D transforms.
//
// Arrays are w by h floats, rows adjacent. All run on the calling thread, apart from what the FFT package does
// inside its own calls.

#include <gnr_deconvolution/export.h>
#include <ry_picture/integer_picture.h>

/// All of it, static and without state.
class GNR_API FloatPSF2D {
  public:
    /// Intensity of the focal field of an aplanatic lens under linearly polarised light, averaged over the
    /// polarisation; axial coordinate along the row, radial coordinate along the column.
    ///
    ///   u = (x - w / 2) dSpan / w,  v = (y - h / 2) dSpan / h,  k = 2 pi dWaveNumber
    ///   In(u, v) = sum of Jn(k v sin t) gn(t) sqrt(cos t) sin t exp(i k u cos t) dAlpha / uiSteps
    ///   g0 = 1 + cos t,  g1 = sin t,  g2 = 1 - cos t;  t = i dAlpha / uiSteps, i = 0 .. uiSteps - 1
    ///   pf(x, y) = |I0|^2 + 2 |I1|^2 + |I2|^2
    ///
    /// Range    columns 0 to w / 2; the columns behind the focus are 0
    /// Units    dAlpha: half angle of the aperture in radians; dSpan and 1 / dWaveNumber in one unit of length
    /// Numbers  sums in double, each rounded to float; the intensity in float
    /// Source   Richards and Wolf 1959 (docs/bibliography.md)
    static void GeneratePSFOrtho(float* pf, unsigned w, unsigned h, double dSpan, double dAlpha,
                                 double dWaveNumber, unsigned uiSteps);

    /// Turns one column of such a plane about its middle, to a picture of sum 1.
    ///
    ///   c(j) = pfPlane(w / 2 - min(uiColumn, w / 2), j)
    ///   pfOut(x, y) = c linearly between its samples at h / 2 - r, r the distance from (w / 2, h / 2)
    ///
    /// Range    0 where r >= h / 2 - 1; samples of the column beyond its first w count as 0
    /// Numbers  r^2 in unsigned 32 bits; the sum in float. A sum of 0 leaves no numbers. Where memory is
    ///          exhausted pfOut stays as it is
    static void GetPlaneCutAiry(float* pfOut, float* pfPlane, unsigned w, unsigned h, unsigned uiColumn);

    /// Sum of the squares over the sum, both in float; 1 where the sum is within 1e-10 of 0.
    static float GetDesiredHalfE8(float* pf, unsigned w, unsigned h);

    /// One component of a picture of two-byte samples, divided by the sum of its samples modulo 2^32, into
    /// uiWidth * uiHeight floats. A sum of 0 is not guarded.
    static void GetPSFFromPicBuf(float* pf, SRyPicBuf* pPic, unsigned uiComponent);

    // ---- transforms ----------------------------------------------------------------------------------
    // Return 0, or -1 where the FFT package refused or failed.

    /// Forward, in place, unscaled: h rows of w samples, w + 2 floats apart, to rows of w / 2 + 1 complex
    /// numbers, adjacent.
    static int DFT2D_TransformInplace(float* pf, unsigned w, unsigned h);
    /// The same by way of pfWork, h (w + 2) floats, which keeps the spectrum; pf takes the first w floats of
    /// each w + 2. On failure pf stays.
    static int DFT2D_Transform(float* pf, unsigned w, unsigned h, float* pfWork);
    /// Backward, divided by w h. The last two floats of each row come from pfWork, where DFT2D_Transform left
    /// them. On failure pf stays.
    static int DFT2D_Inversion(float* pf, unsigned w, unsigned h, float* pfWork);
};
