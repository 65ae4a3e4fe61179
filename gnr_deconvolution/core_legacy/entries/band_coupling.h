// SPDX-License-Identifier: MIT
#pragma once

// How strongly a blur couples the bands of a wavelet pyramid with one another.

#include <gnr_deconvolution/legacy.h>

namespace gnr::detail {

/// T[b][l]: the couplings of band b of level l with all bands of the set, summed, plus 0.01, at least 0.25.
///
///   coupling of A and C = sqrt(max over frequencies of |A|^2 |C|^2),  both repeated to the larger size
///
/// psf    pyramid of the PSF
/// room   two blocks of (psf.uiX + 2) psf.uiY psf.uiZ floats, overwritten
/// Walk   of nx by ny by nz samples, the first nz ny ((nx - 1) / 2 + 1) pairs of the half spectrum in the
///        padded layout
/// Without memory for a repeated band its couplings count as 0.
void StepDivisors(const SWaveletSet& psf, float* const (&room)[2], double (&divisors)[8][5]);

}  // namespace gnr::detail
