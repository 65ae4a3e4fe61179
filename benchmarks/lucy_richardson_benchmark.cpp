// SPDX-License-Identifier: MIT

// One iteration of the Richardson-Lucy cores against its transforms alone.

#include <gnr_deconvolution/cores.h>

#include <limits>

#include "iteration.h"

namespace {

using namespace gnr::bench;

/// Iterations are timed behind the first ones, when every part of the stop test is at work.
constexpr unsigned kFirst = 5;
constexpr unsigned kIterations = 5;

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

/// One iteration of a core against `pairs` pairs of transforms.
void CompareCore(benchmark::State& state, CRyAbstract3DDeconvolutionCore& core, unsigned pairs,
                 double strength) {
    const DFT3D s = BeginVolumes(state);
    const Buffer image = RandomVolume(s);
    const Buffer psf = BoxPsf(s);
    const auto params = CRyRefCountPtr<CRy3DAutoDeconvRunParameters>(new CRy3DAutoDeconvRunParameters);
    params->Release();
    params->sizes = s;
    params->rcImage = {0, s.rowLength - 2, 0, s.rows, 0, s.planes};
    params->pfImage = image.get();
    params->pfPsf = psf.get();
    params->dRegularization = strength;
    params->bNoAutoStop = true;
    params->dStopRatio = std::numeric_limits<double>::max();
    core.Prepare(params);
    const auto run = [&](unsigned iterations) {
        FillRandom(image.get(), s.total);
        params->uiIterations = iterations;
        unsigned done = iterations;
        params->puiIterationsDone = &done;
        const double seconds = Seconds([&] { core.Run(params); });
        if (done != iterations) state.SkipWithError("stopped early");
        return seconds;
    };
    CompareIterationWithTransforms(state, s, kFirst, kIterations, run, pairs);
    core.Free();
}

void BM_Manual(benchmark::State& state) {
    CRy3DLucyRichardsonTMDeconvolutionCore core(false);
    CompareCore(state, core, 2, 10.0);
}

void BM_Automatic(benchmark::State& state) {
    CRy3DLucyRichardsonTMDeconvolutionCore core(true);
    CompareCore(state, core, 2, 0.5);
}

void BM_Accelerated(benchmark::State& state) {
    ThreeTrials core;
    CompareCore(state, core, 3, 1.0);
}

BENCHMARK(BM_Manual)->Apply(VolumeSizes);
BENCHMARK(BM_Automatic)->Apply(VolumeSizes);
BENCHMARK(BM_Accelerated)->Apply(VolumeSizes);

}  // namespace

BENCHMARK_MAIN();
