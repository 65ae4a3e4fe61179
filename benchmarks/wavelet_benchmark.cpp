// SPDX-License-Identifier: MIT

// One wavelet pyramid down and up against one forward and one backward FFT of the same volume, in turn: the
// share of a Landweber iteration that shrinkage may take, since an iteration has two such pairs of
// transforms.

#include <ry_math/ry_math.h>

#include <array>

#include "support.h"

namespace {

using Low = CRy3DDeconvolutionLow;

constexpr int kMostLevels = 4;

/// A pyramid in the preallocated form, with all its blocks.
class Pyramid {
  public:
    Pyramid(const DFT3D& s, int levels)
        : x_(static_cast<unsigned>(s.rowLength - 2)),
          y_(static_cast<unsigned>(s.rows)),
          z_(static_cast<unsigned>(s.planes)),
          levels_(levels) {
        const std::size_t samples = std::size_t{x_} * y_ * z_;
        volume_.resize(samples);
        gnr::bench::FillRandom(volume_.data(), static_cast<std::int64_t>(samples));
        for (int l = 0; l < levels; ++l) {
            for (auto& band : bands_[l]) band.resize(samples >> (3 * (l + 1)));
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
            auto b = Pointers(bands_[l]);
            auto w = Pointers(work_);
            float* const input = l == 0 ? volume_.data() : bands_[l - 1][7].data();
            CRyWavelet3D::WaveletDecompositionImage8_Preallocated(
                b[0], b[1], b[2], b[3], b[4], b[5], b[6], b[7], w[0], w[1], w[2], w[3], w[4], w[5], x, y, z,
                input, x_ >> l, y_ >> l, z_ >> l, mother_, father_, static_cast<unsigned>(taps_));
        }
    }
    void Up() {
        unsigned x = x_ >> levels_, y = y_ >> levels_, z = z_ >> levels_;
        for (int l = levels_ - 1; l >= 0; --l) {
            auto b = Pointers(bands_[l]);
            auto w = Pointers(work_);
            float* out = l == 0 ? volume_.data() : bands_[l - 1][7].data();
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
    std::array<std::array<std::vector<float>, 8>, kMostLevels> bands_;
    std::array<std::vector<float>, 6> work_;
    float* father_ = nullptr;
    float* mother_ = nullptr;
    int taps_ = 0;
};

void BM_Pyramid(benchmark::State& state) {
    const DFT3D s = gnr::bench::Geometry(state.range(0), state.range(1), state.range(2));
    omp_set_num_threads(static_cast<int>(state.range(3)));
    Pyramid pyramid(s, kMostLevels);
    const gnr::bench::Buffer volume = gnr::bench::RandomVolume(s);
    gnr::bench::CompareInTurn(
        state,
        [&] {
            pyramid.Down();
            pyramid.Up();
        },
        [&] {
            Low::DFT3D_Transform(&s, volume.get());
            Low::DFT3D_Inversion(&s, volume.get());
        });
}

void Sizes(benchmark::internal::Benchmark* b) {
    b->ArgNames({"x", "y", "z", "threads"});
    for (const auto& [x, y, z] :
         {std::array<std::int64_t, 3>{128, 128, 64}, {256, 256, 64}, {512, 512, 64}}) {
        for (const std::int64_t threads : {1, 2}) b->Args({x, y, z, threads});
    }
    b->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(25);
}

BENCHMARK(BM_Pyramid)->Apply(Sizes);

}  // namespace

BENCHMARK_MAIN();
