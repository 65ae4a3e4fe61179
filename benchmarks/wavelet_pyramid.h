// SPDX-License-Identifier: MIT
#pragma once

// A wavelet pyramid to measure.

#include <ry_math/ry_math.h>

#include <array>
#include <cstddef>
#include <vector>

#include "support.h"

namespace gnr::bench {

/// A pyramid in the preallocated form, with all its blocks.
class Pyramid {
  public:
    Pyramid(const DFT3D& s, int levels)
        : x_(static_cast<unsigned>(s.rowLength - 2)),
          y_(static_cast<unsigned>(s.rows)),
          z_(static_cast<unsigned>(s.planes)),
          levels_(levels),
          bands_(static_cast<std::size_t>(levels)) {
        const std::size_t samples = std::size_t{x_} * y_ * z_;
        volume_.resize(samples);
        gnr::bench::FillRandom(volume_.data(), static_cast<std::int64_t>(samples));
        for (int l = 0; l < levels; ++l) {
            for (auto& band : bands_[static_cast<std::size_t>(l)]) band.resize(samples >> (3 * (l + 1)));
        }
        for (std::size_t i = 0; i < work_.size(); ++i) work_[i].resize(samples >> (i / 2));
        CRyDaubechies2DWave::GetFatherWavelet(father_, &taps_, 4);
        CRyDaubechies2DWave::GetMotherWavelet(mother_, &taps_, 4);
    }
    ~Pyramid() {
        CRyDaubechies2DWave::FreeWavelet(father_);
        CRyDaubechies2DWave::FreeWavelet(mother_);
    }
    Pyramid(const Pyramid&) = delete;
    Pyramid& operator=(const Pyramid&) = delete;

    void Down() {
        unsigned x = x_, y = y_, z = z_;
        for (int l = 0; l < levels_; ++l) {
            auto b = Pointers(bands_[static_cast<std::size_t>(l)]);
            auto w = Pointers(work_);
            float* const input = l == 0 ? volume_.data() : bands_[static_cast<std::size_t>(l - 1)][7].data();
            CRyWavelet3D::WaveletDecompositionImage8_Preallocated(
                b[0], b[1], b[2], b[3], b[4], b[5], b[6], b[7], w[0], w[1], w[2], w[3], w[4], w[5], x, y, z,
                input, x_ >> l, y_ >> l, z_ >> l, mother_, father_, static_cast<unsigned>(taps_));
        }
    }
    void Up() {
        unsigned x = x_ >> levels_, y = y_ >> levels_, z = z_ >> levels_;
        for (int l = levels_ - 1; l >= 0; --l) {
            auto b = Pointers(bands_[static_cast<std::size_t>(l)]);
            auto w = Pointers(work_);
            float* out = l == 0 ? volume_.data() : bands_[static_cast<std::size_t>(l - 1)][7].data();
            CRyWavelet3D::WaveletReconstructionImage8_Preallocated(
                out, x, y, z, b[0], b[1], b[2], b[3], b[4], b[5], b[6], b[7], w[0], w[1], w[2], w[3], w[4],
                w[5], x_ >> (l + 1), y_ >> (l + 1), z_ >> (l + 1), mother_, father_,
                static_cast<unsigned>(taps_));
        }
    }

  private:
    template <std::size_t N>
    static std::array<float*, N> Pointers(std::array<std::vector<float>, N>& blocks) {
        std::array<float*, N> pointers;
        for (std::size_t i = 0; i < N; ++i) pointers[i] = blocks[i].data();
        return pointers;
    }

    unsigned x_, y_, z_;
    int levels_;
    std::vector<float> volume_;
    std::vector<std::array<std::vector<float>, 8>> bands_;
    std::array<std::vector<float>, 6> work_;
    float* father_ = nullptr;
    float* mother_ = nullptr;
    int taps_ = 0;
};

}  // namespace gnr::bench
