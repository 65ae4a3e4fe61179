// SPDX-License-Identifier: MIT

// One iteration of the Landweber core against its transforms and one wavelet pyramid alone, and the one-call
// form on coefficients against the same.

#include <gnr_deconvolution/cores.h>
#include <gnr_deconvolution/legacy.h>
#include <ry_math/ry_math.h>

#include "support.h"
#include "wavelet_pyramid.h"

namespace {

using Low = CRy3DDeconvolutionLow;
using gnr::bench::Buffer;

/// Few enough that no stop test comes into play.
constexpr unsigned kIterations = 5;
constexpr int kLevels = 4;

/// A PSF that is a small box around the origin, sum 1.
void FillPsf(const DFT3D& s, float* psf) {
    for (int k : {0, 1, s.planes - 1}) {
        for (int j : {0, 1, s.rows - 1}) {
            for (int i : {0, 1, s.rowLength - 3})
                psf[std::int64_t{k} * s.planeStride + j * s.rowLength + i] = 1.0f / 27;
        }
    }
}

/// The transforms of one iteration and one pyramid down and up.
double ReferenceSeconds(const DFT3D& s, float* volume, gnr::bench::Pyramid& pyramid) {
    return gnr::bench::Seconds([&] {
        for (int pair = 0; pair < 2; ++pair) {
            Low::DFT3D_Transform(&s, volume);
            Low::DFT3D_Inversion(&s, volume);
        }
        pyramid.Down();
        pyramid.Up();
    });
}

/// Times kIterations iterations, what comes before them taken off, in turn with the reference.
template <class Run>
void CompareIterations(benchmark::State& state, const DFT3D& s, Run run) {
    gnr::bench::Pyramid pyramid(s, kLevels);
    const Buffer volume = gnr::bench::RandomVolume(s);
    run(1u);
    std::vector<double> ours;
    std::vector<double> reference;
    for (auto _ : state) {
        ours.push_back((run(kIterations + 1) - run(1u)) / kIterations);
        gnr::bench::FillRandom(volume.get(), s.total);
        reference.push_back(ReferenceSeconds(s, volume.get(), pyramid));
        state.SetIterationTime(ours.back());
    }
    state.counters["iteration_ms"] = 1e3 * gnr::bench::Median(ours);
    state.counters["reference_ms"] = 1e3 * gnr::bench::Median(reference);
    state.counters["ratio"] = gnr::bench::Median(ours) / gnr::bench::Median(reference);
}

void CompareCore(benchmark::State& state, bool automatic) {
    const DFT3D s = gnr::bench::Geometry(state.range(0), state.range(1), state.range(2));
    omp_set_num_threads(static_cast<int>(state.range(3)));
    const Buffer image = gnr::bench::RandomVolume(s);
    const Buffer psf(Low::SSE_Alloc(s.total));
    FillPsf(s, psf.get());
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
    CompareIterations(state, s, [&](unsigned iterations) {
        gnr::bench::FillRandom(image.get(), s.total);
        params->uiIterations = iterations;
        return gnr::bench::Seconds([&] { core.Run(params); });
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
    DFT3D s = gnr::bench::Geometry(state.range(0), state.range(1), state.range(2));
    omp_set_num_threads(static_cast<int>(state.range(3)));
    const Buffer image = gnr::bench::RandomVolume(s);
    const Buffer psf(Low::SSE_Alloc(s.total));
    FillPsf(s, psf.get());
    SRyIRect3D box;
    float result;
    CompareIterations(state, s, [&](unsigned iterations) {
        gnr::bench::FillRandom(image.get(), s.total);
        return gnr::bench::Seconds([&] {
            CRyLegacy3DDeconvolutionFamily::LandweberFW(&s, psf.get(), image.get(),
                                                        static_cast<int>(iterations), &result, nullptr,
                                                        nullptr, 0, 0, 1, box, 1.0);
        });
    });
}

void Sizes(benchmark::internal::Benchmark* b) {
    b->ArgNames({"x", "y", "z", "threads"});
    for (const std::int64_t threads : {1, 2}) {
        b->Args({256, 256, 64, threads});
        b->Args({512, 512, 64, threads});
    }
    b->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);
}

BENCHMARK(BM_Momentum)->Apply(Sizes);
BENCHMARK(BM_Automatic)->Apply(Sizes);
BENCHMARK(BM_Coefficients)->Apply(Sizes);

}  // namespace

BENCHMARK_MAIN();
