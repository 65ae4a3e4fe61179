// SPDX-License-Identifier: MIT
#pragma once

// The pair of wavelet filters that all methods use, in the precision of their transform.

#include <ry_math/daubechies.h>

namespace gnr::detail {

/// The filter pair of order 4, in float or double. Null without memory, which the transforms refuse.
template <class T>
class WaveletFilterPair {
  public:
    WaveletFilterPair() {
        CRyDaubechies2DWave::GetFatherWavelet(father_, &length_, kOrder);
        CRyDaubechies2DWave::GetMotherWavelet(mother_, &length_, kOrder);
    }
    ~WaveletFilterPair() {
        CRyDaubechies2DWave::FreeWavelet(father_);
        CRyDaubechies2DWave::FreeWavelet(mother_);
    }
    WaveletFilterPair(const WaveletFilterPair&) = delete;
    WaveletFilterPair& operator=(const WaveletFilterPair&) = delete;

    T* father() const { return father_; }
    T* mother() const { return mother_; }
    unsigned length() const { return static_cast<unsigned>(length_); }

  private:
    static constexpr int kOrder = 4;

    T* father_ = nullptr;
    T* mother_ = nullptr;
    int length_ = 0;
};

using WaveletFilters = WaveletFilterPair<float>;

}  // namespace gnr::detail
