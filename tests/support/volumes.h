// SPDX-License-Identifier: MIT
#pragma once

// Padded volumes for tests: aligned buffers, seeded contents, sentinels in the padding.

#include <gnr_deconvolution/kernels_3d.h>
#include <gnr_deconvolution/psf_3d.h>

#include <cstdint>
#include <memory>
#include <random>
#include <vector>

namespace gnr::test {

/// What tests put into padding columns to see whether anybody touches or reads them.
inline constexpr float kSentinel = 12345.678f;

inline DFT3D Geometry(int x, int y, int z) {
    DFT3D s;
    FloatPSF3D::DFT3D_InitSizes(&s, x, y, z);
    return s;
}

/// One padded volume in an SSE_Alloc buffer.
class Volume {
  public:
    explicit Volume(const DFT3D& s) : sizes(s), samples_(CRy3DDeconvolutionLow::SSE_Alloc(s.total)) {}
    Volume(int x, int y, int z) : Volume(Geometry(x, y, z)) {}
    Volume(const Volume& other) : Volume(other.sizes) { Assign(other); }
    Volume& operator=(const Volume& other) {
        Assign(other);
        return *this;
    }

    float* get() const { return samples_.get(); }
    operator float*() const { return samples_.get(); }
    int x() const { return sizes.rowLength - 2; }
    int y() const { return sizes.rows; }
    int z() const { return sizes.planes; }
    float& at(int i, int j, int k) const {
        return samples_.get()[std::int64_t{k} * sizes.planeStride + std::int64_t{j} * sizes.rowLength + i];
    }
    std::vector<float> ToVector() const { return {get(), get() + sizes.total}; }

    /// f(i, j, k) into every image sample.
    template <class F>
    Volume& Fill(F f) {
        for (int k = 0; k < z(); ++k) {
            for (int j = 0; j < y(); ++j) {
                for (int i = 0; i < x(); ++i) at(i, j, k) = static_cast<float>(f(i, j, k));
            }
        }
        return *this;
    }
    Volume& FillRandom(unsigned seed, float low, float high) {
        std::mt19937 engine(seed);
        std::uniform_real_distribution<float> sample(low, high);
        return Fill([&](int, int, int) { return sample(engine); });
    }
    Volume& FillPadding(float value) {
        for (int k = 0; k < z(); ++k) {
            for (int j = 0; j < y(); ++j) at(x(), j, k) = at(x() + 1, j, k) = value;
        }
        return *this;
    }
    bool PaddingHolds(float value) const {
        for (int k = 0; k < z(); ++k) {
            for (int j = 0; j < y(); ++j) {
                if (at(x(), j, k) != value || at(x() + 1, j, k) != value) return false;
            }
        }
        return true;
    }

    const DFT3D sizes;

  private:
    struct Destroy {
        void operator()(float* p) const { CRy3DDeconvolutionLow::SSE_Destroy(p); }
    };
    void Assign(const Volume& other) {
        for (std::int64_t n = 0; n < sizes.total; ++n) get()[n] = other.get()[n];
    }
    std::unique_ptr<float, Destroy> samples_;
};

}  // namespace gnr::test
