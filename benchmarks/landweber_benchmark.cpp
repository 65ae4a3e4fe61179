// SPDX-License-Identifier: MIT

// One iteration of the Landweber core against its transforms and one wavelet pyramid alone, and the one-call
// form on coefficients against the same.

#include <gnr_deconvolution/cores.h>
#include <gnr_deconvolution/legacy.h>
#include <ry_math/ry_math.h>

#include "iteration.h"
#include "wavelet_pyramid.h"

namespace {

using namespace gnr::bench;

/// Few enough that no stop test comes into play.
constexpr unsigned kIterations = 5;
constexpr int kLevels = 4;

/// One iteration against four transforms and one pyramid down and up.
template <class Run>
void CompareWithPyramid(benchmark::State& state, const DFT3D& s, Run run) {
    Pyramid pyramid(s, kLevels);
    CompareIteration(state, s, 1, kIterations, run, "reference_ms", [&](float* volume) {
        TransformInPairs(s, volume, 2);
        pyramid.Down();
        pyramid.Up();
    });
}

void CompareCore(benchmark::State& state, bool automatic) {
    const DFT3D s = BeginVolumes(state);
    const Buffer image = RandomVolume(s);
    const Buffer psf = BoxPsf(s);
    const auto params = CRyRefCountPtr<CRy3DAutoDeconvRunParameters>(new CRy3DAutoDeconvRunParameters);
    params->Release();
    params->sizes = s;
    params->rcImage = {0, s.rowLength - 2, 0, s.rows, 0, s.planes};
    params->pfImage = image.get();
    params->pfPsf = psf.get();
    params->dRegularization = 0.5;
    params->dStopRatio = 1e9;
    CRy3DLandweberDeconvolutionCore core(automatic);
    core.Prepare(params);
    CompareWithPyramid(state, s, [&](unsigned iterations) {
        FillRandom(image.get(), s.total);
        params->uiIterations = iterations;
        return Seconds([&] { core.Run(params); });
    });
    core.Free();
}

void BM_Momentum(benchmark::State& state) {
    CompareCore(state, false);
}

void BM_Automatic(benchmark::State& state) {
    CompareCore(state, true);
}

void BM_Coefficients(benchmark::State& state) {
    DFT3D s = BeginVolumes(state);
    const Buffer image = RandomVolume(s);
    const Buffer psf = BoxPsf(s);
    SRyIRect3D box;
    float result;
    CompareWithPyramid(state, s, [&](unsigned iterations) {
        FillRandom(image.get(), s.total);
        return Seconds([&] {
            CRyLegacy3DDeconvolutionFamily::LandweberFW(&s, psf.get(), image.get(),
                                                        static_cast<int>(iterations), &result, nullptr,
                                                        nullptr, 0, 0, 1, box, 1.0);
        });
    });
}

BENCHMARK(BM_Momentum)->Apply(VolumeSizes);
BENCHMARK(BM_Automatic)->Apply(VolumeSizes);
BENCHMARK(BM_Coefficients)->Apply(VolumeSizes);

}  // namespace

BENCHMARK_MAIN();
