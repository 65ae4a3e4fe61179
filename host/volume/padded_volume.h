// SPDX-License-Identifier: MIT
#pragma once

// A padded float volume of the library, owned.

#include <gnr_deconvolution/kernels_3d.h>
#include <gnr_deconvolution/psf_3d.h>

#include <cstdint>
#include <memory>
#include <string>

#include "report/user_error.h"

namespace rydecon {

/// Sides in samples.
struct Extent {
    int x = 0;
    int y = 0;
    int z = 0;

    friend bool operator==(const Extent&, const Extent&) = default;
};

inline std::string ToString(const Extent& e) {
    return std::to_string(e.x) + " x " + std::to_string(e.y) + " x " + std::to_string(e.z);
}

/// Zeroed volume in the library's layout, aligned as its kernels need.
class PaddedVolume {
  public:
    /// UserError where memory does not suffice.
    explicit PaddedVolume(const Extent& logical) {
        FloatPSF3D::DFT3D_InitSizes(&sizes_, logical.x, logical.y, logical.z);
        samples_.reset(CRy3DDeconvolutionLow::SSE_Alloc(sizes_.total));
        if (samples_ == nullptr) {
            throw UserError("not enough memory for a volume of " + ToString(logical) + " samples (" +
                            std::to_string(sizes_.total * 4 / 1000000) +
                            " MB); crop the stack or free memory");
        }
    }

    const DFT3D& sizes() const { return sizes_; }
    Extent logical() const { return {sizes_.rowLength - 2, sizes_.rows, sizes_.planes}; }
    float* data() const { return samples_.get(); }
    float* Row(int j, int k) const {
        return data() + std::int64_t{k} * sizes_.planeStride + std::int64_t{j} * sizes_.rowLength;
    }
    float* Plane(int k) const { return Row(0, k); }

  private:
    struct Destroy {
        void operator()(float* p) const { CRy3DDeconvolutionLow::SSE_Destroy(p); }
    };
    DFT3D sizes_{};
    std::unique_ptr<float, Destroy> samples_;
};

}  // namespace rydecon
