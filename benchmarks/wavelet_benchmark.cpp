// SPDX-License-Identifier: MIT

// One wavelet pyramid down and up against one forward and one backward FFT of the same volume, in turn: the
// share of a Landweber iteration that shrinkage may take, since an iteration has two such pairs of
// transforms.

#include <array>

#include "support.h"
#include "wavelet_pyramid.h"

namespace {

using Low = CRy3DDeconvolutionLow;

constexpr int kMostLevels = 4;

void BM_Pyramid(benchmark::State& state) {
    const DFT3D s = gnr::bench::Geometry(state.range(0), state.range(1), state.range(2));
    omp_set_num_threads(static_cast<int>(state.range(3)));
    gnr::bench::Pyramid pyramid(s, kMostLevels);
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
