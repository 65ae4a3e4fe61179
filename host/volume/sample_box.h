// SPDX-License-Identifier: MIT
#pragma once

// A small volume without padding, sample (i, j, k) at (k * y + j) * x + i.

#include <cstddef>
#include <vector>

#include "volume/padded_volume.h"

namespace rydecon {

class SampleBox {
  public:
    explicit SampleBox(const Extent& size)
        : size_(size),
          samples_(static_cast<std::size_t>(size.x) * static_cast<std::size_t>(size.y) *
                   static_cast<std::size_t>(size.z)) {}

    const Extent& size() const { return size_; }
    std::vector<float>& samples() { return samples_; }
    const std::vector<float>& samples() const { return samples_; }

    float* Row(int j, int k) { return samples_.data() + Offset(j, k); }
    const float* Row(int j, int k) const { return samples_.data() + Offset(j, k); }
    float& At(int i, int j, int k) { return Row(j, k)[i]; }
    float At(int i, int j, int k) const { return Row(j, k)[i]; }

  private:
    std::ptrdiff_t Offset(int j, int k) const {
        return (static_cast<std::ptrdiff_t>(k) * size_.y + j) * size_.x;
    }

    Extent size_;
    std::vector<float> samples_;
};

/// Distances of samples along the axes, in micrometres.
struct Pitch {
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
};

}  // namespace rydecon
