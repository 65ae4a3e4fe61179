// SPDX-License-Identifier: MIT

// The transforms of padded volumes against FFTW's own plan of the same layout, made beforehand. Our side pays
// for its planning in every call.

#include <fftw3.h>

#include <array>

#include "support.h"

namespace {

using Low = CRy3DDeconvolutionLow;

enum Planning : std::int64_t { kEstimate, kMeasure };

void BM_Transform(benchmark::State& state, bool forward) {
    const DFT3D s = gnr::bench::Geometry(state.range(0), state.range(1), state.range(2));
    const auto threads = static_cast<int>(state.range(3));
    const unsigned flags = state.range(4) == kMeasure ? FFTW_MEASURE : FFTW_ESTIMATE;
    omp_set_num_threads(threads);

    const gnr::bench::Buffer volume = gnr::bench::RandomVolume(s);
    float* const real = volume.get();
    auto* const spectrum = reinterpret_cast<fftwf_complex*>(real);
    fftwf_init_threads();
    fftwf_plan_with_nthreads(threads);
    const int x = s.rowLength - 2;
    const fftwf_plan plan = forward ? fftwf_plan_dft_r2c_3d(s.planes, s.rows, x, real, spectrum, flags)
                                    : fftwf_plan_dft_c2r_3d(s.planes, s.rows, x, spectrum, real, flags);

    std::vector<double> ours;
    std::vector<double> theirs;
    for (auto _ : state) {
        gnr::bench::FillRandom(real, s.total);
        ours.push_back(gnr::bench::Seconds(
            [&] { forward ? Low::DFT3D_Transform(&s, real) : Low::DFT3D_Inversion(&s, real); }));
        gnr::bench::FillRandom(real, s.total);
        theirs.push_back(gnr::bench::Seconds([&] { fftwf_execute(plan); }));
        state.SetIterationTime(ours.back());
    }
    state.counters["ours_ms"] = 1e3 * gnr::bench::Median(ours);
    state.counters["fftw_ms"] = 1e3 * gnr::bench::Median(theirs);
    state.counters["ratio"] = gnr::bench::Median(ours) / gnr::bench::Median(theirs);
    fftwf_destroy_plan(plan);
    fftwf_forget_wisdom();
}

void Sizes(benchmark::internal::Benchmark* b) {
    b->ArgNames({"x", "y", "z", "threads", "measured_plan"});
    for (const auto& [x, y, z] :
         {std::array<std::int64_t, 3>{128, 128, 32}, {256, 256, 64}, {512, 512, 64}, {240, 300, 60}}) {
        for (const std::int64_t threads : {1, 2}) {
            for (const std::int64_t planning : {kEstimate, kMeasure}) b->Args({x, y, z, threads, planning});
        }
    }
    b->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(15);
}

BENCHMARK_CAPTURE(BM_Transform, forward, true)->Apply(Sizes);
BENCHMARK_CAPTURE(BM_Transform, backward, false)->Apply(Sizes);

}  // namespace

BENCHMARK_MAIN();
