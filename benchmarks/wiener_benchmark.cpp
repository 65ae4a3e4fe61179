// SPDX-License-Identifier: MIT

// A whole Wiener run against its four transforms alone.

#include <gnr_deconvolution/cores.h>

#include "support.h"

namespace {

using Low = CRy3DDeconvolutionLow;

void BM_WienerRun(benchmark::State& state) {
    const DFT3D s = gnr::bench::Geometry(state.range(0), state.range(1), state.range(2));
    omp_set_num_threads(static_cast<int>(state.range(3)));
    const gnr::bench::Buffer image = gnr::bench::RandomVolume(s);
    const gnr::bench::Buffer psf = gnr::bench::RandomVolume(s);
    const auto core = CRyAbstract3DDeconvolutionCore::Create3DDeconvolutionCore(eDeconvWiener);
    const auto params = CRy3DDeconvRunParameters::Create3DDeconvParameters(eDeconvWiener);
    params->sizes = s;
    params->pfImage = image.get();
    params->pfPsf = psf.get();

    gnr::bench::CompareInTurn(
        state, [&] { core->Run(params); },
        [&] {
            Low::DFT3D_Transform(&s, psf.get());
            Low::DFT3D_Transform(&s, image.get());
            Low::DFT3D_Inversion(&s, image.get());
            Low::DFT3D_Inversion(&s, psf.get());
        });
}

BENCHMARK(BM_WienerRun)
    ->ArgNames({"x", "y", "z", "threads"})
    ->ArgsProduct({{256}, {256}, {64}, {1, 2}})
    ->ArgsProduct({{512}, {512}, {64}, {1, 2}})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(15);

}  // namespace

BENCHMARK_MAIN();
