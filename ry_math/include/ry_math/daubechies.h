// SPDX-License-Identifier: MIT
#pragma once

// Filters of the orthogonal Daubechies wavelets, in both precisions.

#include <ry_math/export.h>

/// Father (low-pass) and mother (high-pass) filter of one order.
///
///   order 4: eight taps, four vanishing moments, extremal phase with the large taps first
///   sum over n of father(n) = sqrt(2), sum of father(n)^2 = 1
///   mother(n) = (-1)^n father(7 - n)
///
/// Range    taps correctly rounded from the exact values to float or double
/// Errors   0 on success; -4 another order than 4 or piLength null; -3 memory exhausted. On failure
///          pf is null and the length, where there is one to write, 0
/// Source   Daubechies 1988, table 1; Daubechies 1992, table 6.1
class RY_MATH_API CRyDaubechies2DWave {
  public:
    /// The low-pass filter in newly allocated memory, and its length. Released with FreeWavelet.
    static int GetFatherWavelet(float*& pf, int* piLength, int iOrder);
    static int GetFatherWavelet(double*& pFilter, int* piLength, int iOrder);

    /// The high-pass filter, likewise.
    static int GetMotherWavelet(float*& pf, int* piLength, int iOrder);
    static int GetMotherWavelet(double*& pFilter, int* piLength, int iOrder);

    /// Releases a filter and sets its pointer to null; null is harmless. Returns 0.
    static int FreeWavelet(float*& pf);
    static int FreeWavelet(double*& pFilter);
};
