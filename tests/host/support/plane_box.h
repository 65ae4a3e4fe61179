// SPDX-License-Identifier: MIT
#pragma once

// A stack in memory as a source of planes.

#include <algorithm>
#include <vector>

#include "volume/plane_stream.h"
#include "volume/sample_box.h"

namespace rydecon::test {

class PlaneBox final : public PlaneSource {
  public:
    /// f(i, j, k) in every sample.
    template <class F>
    PlaneBox(const Extent& size, F f) : box_(size) {
        for (int k = 0; k < size.z; ++k) {
            for (int j = 0; j < size.y; ++j) {
                for (int i = 0; i < size.x; ++i) At(i, j, k) = static_cast<float>(f(i, j, k));
            }
        }
    }

    float& At(int i, int j, int k) { return box_.At(i, j, k); }
    float At(int i, int j, int k) const { return box_.At(i, j, k); }
    const std::vector<float>& samples() const { return box_.samples(); }

    Extent shape() const override { return box_.size(); }
    void ReadPlane(int k, float* rows, std::ptrdiff_t rowStride) override {
        for (int j = 0; j < box_.size().y; ++j) {
            std::copy_n(box_.Row(j, k), box_.size().x, rows + j * rowStride);
        }
    }

  private:
    SampleBox box_;
};

}  // namespace rydecon::test
