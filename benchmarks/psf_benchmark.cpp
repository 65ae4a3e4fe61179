// SPDX-License-Identifier: MIT

// PSF generation against the direct loops of its formulas, in which every radius of every plane evaluates its
// own Bessel factors and phasors. The direct loops run on one thread, so that with one thread the ratio is
// the gain of the arithmetic alone. "difference" is the largest difference of a sample, relative to the peak.

#include <gnr_deconvolution/psf_3d.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "support.h"
#include "support/ref/psf_airy.h"
#include "support/ref/psf_gibson_lani.h"
#include "support/ref/psf_layered.h"

namespace {

using namespace gnr::bench;

/// Oil objective, sample pitch of Nyquist, the focus some way into water.
SDiffractionParamsEx Optics(double aperture) {
    SDiffractionParamsEx p;
    p.dNA = aperture;
    p.dRefractiveIndex = 1.515;
    p.dWavelength = 0.488;
    p.dXYPitch = 0.065;
    p.dZPitch = 0.2;
    p.dEmissionWavelength = 0.525;
    p.dSampleRefractiveIndex = 1.33;
    p.dDepthNm = 5000.0;
    p.uiMaxZSamples = 1000;
    return p;
}

struct OpenPsf : FloatPSF3D {
    using FloatPSF3D::KERNEL3D_2Photon;
    using FloatPSF3D::KERNEL3D_Airy;
};

/// Largest difference of two volumes, relative to the larger peak.
double Difference(const float* a, const float* b, std::int64_t n) {
    double difference = 0.0;
    double peak = 0.0;
    for (std::int64_t i = 0; i < n; ++i) {
        difference = std::max(difference, std::abs(static_cast<double>(a[i]) - b[i]));
        peak = std::max({peak, static_cast<double>(a[i]), static_cast<double>(b[i])});
    }
    return difference / peak;
}

/// Sets the threads and gives the optics that the arguments name.
SDiffractionParamsEx Begin(const benchmark::State& state) {
    omp_set_num_threads(static_cast<int>(state.range(1)));
    return Optics(static_cast<double>(state.range(0)) / 100);
}

void BM_Widefield(benchmark::State& state) {
    const DFT3D s = Geometry(256, 256, 64);
    const SDiffractionParamsEx p = Begin(state);
    FloatPSF3D psf;
    psf.AllocatePSF(&s);
    double focus = 0.0;
    std::vector<float> direct;
    CompareInTurn(
        state, [&] { psf.EpiFluorescence(&s, psf.pfPSF, &p, true, true, true, &focus); },
        [&] {
            const gnr::ref::LayeredModel model(s, p, true, true);
            direct = model.Pattern(model.Focus());
        });
    state.counters["difference"] = Difference(psf.pfPSF, direct.data(), s.total);
}

void BM_Airy(benchmark::State& state) {
    DFT3D s = Geometry(256, 256, 64);
    const SDiffractionParams p = Begin(state);
    OpenPsf psf;
    psf.AllocatePSF(&s);
    std::vector<float> direct(static_cast<std::size_t>(s.total));
    CompareInTurn(
        state, [&] { psf.KERNEL3D_Airy(&s, psf.pfPSF, &p, true, nullptr, nullptr, 1.0f, true); },
        [&] { gnr::ref::AiryPattern(s, direct.data(), p, true, 1.0, true); });
    state.counters["difference"] = Difference(psf.pfPSF, direct.data(), s.total);
}

void BM_TwoPhotonKernel(benchmark::State& state) {
    DFT3D s = Geometry(256, 256, 64);
    const SDiffractionParams p = Begin(state);
    OpenPsf psf;
    psf.AllocatePSF(&s);
    std::vector<float> direct;
    CompareInTurn(
        state, [&] { psf.KERNEL3D_2Photon(&s, psf.pfPSF, &p, true, nullptr, nullptr, 1.0f, true); },
        [&] { direct = gnr::ref::DefocusIntegralPattern(s, p, true, true, true); });
    state.counters["difference"] = Difference(psf.pfPSF, direct.data(), s.total);
}

void Apertures(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgNames({"NA_percent", "threads"})
        ->ArgsProduct({{140, 50}, {1, 2}})
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond)
        ->Iterations(5);
}
BENCHMARK(BM_Widefield)->Apply(Apertures);
BENCHMARK(BM_Airy)->Apply(Apertures);
BENCHMARK(BM_TwoPhotonKernel)->Apply(Apertures);

}  // namespace

BENCHMARK_MAIN();
