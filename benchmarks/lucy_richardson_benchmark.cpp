// SPDX-License-Identifier: MIT

// One iteration of the Richardson-Lucy cores against its transforms alone.

#include <gnr_deconvolution/cores.h>

#include "support.h"

namespace {

using Low = CRy3DDeconvolutionLow;
using gnr::bench::Buffer;

/// Few enough that no stop test comes into play.
constexpr unsigned kIterations = 5;

/// A PSF that is a small box around the origin, sum 1.
void FillPsf(const DFT3D& s, float* psf) {
    for (int k : {0, 1, s.planes - 1}) {
        for (int j : {0, 1, s.rows - 1}) {
            for (int i : {0, 1, s.rowLength - 3})
                psf[std::int64_t{k} * s.planeStride + j * s.rowLength + i] = 1.0f / 27;
        }
    }
}

/// The accelerated core with exactly three values in each line search.
class ThreeTrials : public CRy3DAcceleratedLucyRichardsonTMDeconvolutionCore {
  protected:
    double OptimizeAlphaByLogLikelihood(float& fAlpha, float, const float* observed, const float* blurredNew,
                                        const float* blurredOld, const DFT3D* sizes, float fC, float fN,
                                        const SRyIRect3D& rc) override {
        const double likelihood =
            CRy3DAcceleratedLucyRichardsonTMDeconvolutionCore::OptimizeAlphaByLogLikelihood(
                fAlpha, 4.0f, observed, blurredNew, blurredOld, sizes, fC, fN, rc);
        fAlpha = 1.0f;
        return likelihood;
    }
};

/// Times kIterations iterations of a core, what comes before them taken off, against the same count of
/// transforms, half of them backward.
void CompareIterations(benchmark::State& state, CRyAbstract3DDeconvolutionCore& core, unsigned transforms,
                       double strength) {
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
    params->dRegularization = strength;
    params->bNoAutoStop = true;
    core.Prepare(params);

    const auto run = [&](unsigned iterations) {
        gnr::bench::FillRandom(image.get(), s.total);
        params->uiIterations = iterations;
        return gnr::bench::Seconds([&] { core.Run(params); });
    };
    run(1);
    std::vector<double> ours;
    std::vector<double> reference;
    for (auto _ : state) {
        ours.push_back((run(kIterations) - run(0)) / kIterations);
        gnr::bench::FillRandom(image.get(), s.total);
        reference.push_back(gnr::bench::Seconds([&] {
            for (unsigned t = 0; t < transforms; t += 2) {
                Low::DFT3D_Transform(&s, image.get());
                Low::DFT3D_Inversion(&s, image.get());
            }
        }));
        state.SetIterationTime(ours.back());
    }
    core.Free();
    state.counters["iteration_ms"] = 1e3 * gnr::bench::Median(ours);
    state.counters["transforms_ms"] = 1e3 * gnr::bench::Median(reference);
    state.counters["ratio"] = gnr::bench::Median(ours) / gnr::bench::Median(reference);
}

void BM_Manual(benchmark::State& state) {
    CRy3DLucyRichardsonTMDeconvolutionCore core(false);
    CompareIterations(state, core, 4, 10.0);
}

void BM_Automatic(benchmark::State& state) {
    CRy3DLucyRichardsonTMDeconvolutionCore core(true);
    CompareIterations(state, core, 4, 0.5);
}

void BM_Accelerated(benchmark::State& state) {
    ThreeTrials core;
    CompareIterations(state, core, 6, 1.0);
}

void Sizes(benchmark::internal::Benchmark* b) {
    b->ArgNames({"x", "y", "z", "threads"});
    for (const std::int64_t threads : {1, 2}) {
        b->Args({256, 256, 64, threads});
        b->Args({512, 512, 64, threads});
    }
    b->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);
}

BENCHMARK(BM_Manual)->Apply(Sizes);
BENCHMARK(BM_Automatic)->Apply(Sizes);
BENCHMARK(BM_Accelerated)->Apply(Sizes);

}  // namespace

BENCHMARK_MAIN();
