// SPDX-License-Identifier: MIT
#pragma once

// Vector extrapolation of the accelerated Richardson-Lucy loops on frames. Biggs and Andrews 1997
// (docs/bibliography.md), in the logarithmic domain.

#include <fft/transfer.h>
#include <gnr_deconvolution/object_frame.h>

#include "kernels/energy_2d.h"

namespace gnr::detail {

/// Exponent of the next step from the last two corrections e and f, the estimate x and the one before, c:
///
///   p = log10(f) c,  q = log10(e)
///   alpha = sum of q x p / sum of p p, over samples where e and f are above 1e-10, within 0 .. 1
///
/// Numbers  float throughout, sums in the order of the samples. 0 where the sum of p p is at most 1e-10
float Recompute_dAlphaK2D(const float* x, const float* c, const float* e, const float* f, unsigned W,
                          unsigned H);

/// Frames and transform of an accelerated loop.
struct AcceleratedFrames {
    unsigned W;
    unsigned H;
    float* x;    ///< estimate
    float* y;    ///< what it is compared with
    float* otf;  ///< transfer frame of the partner
    float* b;    ///< room of the terms of the exponent, a few rows of it
    float* c;    ///< estimate of the iteration before
    float* d;    ///< as b
    float* e;    ///< decimal logarithm of the correction of the iteration before; e and f change places
    float* f;    ///< that of the correction before that
    unsigned char* buffer;
    int bufferSize;
    FFT2DSpec_R_32f* spec;
};

/// b, d, e and f := 1, c := x: what frames hold where no iteration is asked for.
void PresetFrames(const AcceleratedFrames& frames);

/// b := x / c, c := x: what callers find in their frames after the last iteration.
void SettleFrames(const AcceleratedFrames& frames);

/// What becomes of the samples below 0 of an estimate.
enum class Negatives { kStay, kCut };

/// The steps that the plain and the blind loop share; where they ask for a stop and end is their own. All that
/// an iteration does to samples happens to the rows that a transform begins or ends with, while these are in the
/// cache, on all threads; the sums stay in the order of the samples. Each step is what a chain of kernels gives,
/// but for powers and logarithms, which are the exact values to within one unit in the last place.
class AcceleratedSteps {
  public:
    /// Takes the spectrum and the sum of the partner h, and starts from x; the other frames may hold anything.
    AcceleratedSteps(const AcceleratedFrames& frames, const float* h);

    /// x := x b^alpha, negatives of x cut before if told, with b = x / x before;  d = H^T(y / (H x)) up to its
    /// last pass, which Advance makes. In between the work buffer belongs to these steps.
    void Correct(Negatives negatives = Negatives::kStay);
    /// x := x d / sum of h, negatives cut if told;  alpha from the corrections of the two iterations before this
    /// one; then all move on. The sums of the estimate.
    EnergySums Advance(Negatives negatives);

  private:
    AcceleratedFrames frames_;
    float inverseSum_;
    fft::TransferPasses passes_;
    float alpha_ = 0.0f;
    unsigned corrections_ = 0;  ///< in e and f, at most 2
};

}  // namespace gnr::detail
