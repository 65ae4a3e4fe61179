// SPDX-License-Identifier: MIT
#pragma once

// What a restoration in stages works on besides its estimate, and how it is parked in a stock.

#include <gnr_deconvolution/kernels_3d.h>
#include <gnr_deconvolution/memory_stock.h>

#include "entries/scratch_volumes.h"

namespace gnr::detail {

/// Observed image, transform of the PSF and weight: made by the first call of a run, which owns the volumes
/// until a stock takes them; found in the stock by later calls.
class StagedInputs {
  public:
    /// `lambda` is the weight unless a stock knows another.
    StagedInputs(const DFT3D& s, float lambda) : s_(s), lambda_(lambda) {}

    /// First call: copies the image and transforms a copy of the PSF. Resumed call: takes the parked image and
    /// PSF back into the caller's buffers, the rest from the stock. False, with nothing changed, without
    /// memory or where the stock lacks g or H of this size.
    bool Begin(bool resume, CRyMemoryStock* stock, float* psf, float* image);

    /// Parks everything. A key that the stock holds already keeps its content, but for the image. What the
    /// stock does not take over is freed with this object.
    void Park(CRyMemoryStock& stock, float* psf, float* image);

    float* g() const { return g_; }
    float* otf() const { return otf_; }
    float lambda() const { return lambda_; }

  private:
    bool Make(const float* psf, const float* image);
    bool Take(const CRyMemoryStock& stock, float* psf, float* image);

    const DFT3D& s_;
    float lambda_;
    float* g_ = nullptr;
    float* otf_ = nullptr;
    ScratchVolume ownG_;
    ScratchVolume ownOtf_;
};

/// Parks a copy of one float unless the stock holds the key already.
void ParkFloat(CRyMemoryStock& stock, const wchar_t* key, float value);

}  // namespace gnr::detail
