// SPDX-License-Identifier: MIT

// One sweep of the blind inner loop, plain and accelerated, against its four transforms alone.

#include "support.h"

namespace {

using Low = CRy3DDeconvolutionLow;
using gnr::bench::Buffer;

/// Switches the stop test off.
constexpr float kNoStopTest = -1.0f;

/// A box around the origin as the volume held fixed, sum 1, on a floor that keeps it positive.
Buffer BoxPsf(const DFT3D& s) {
    Buffer psf(Low::SSE_Alloc(s.total));
    for (const int k : {0, 1, s.planes - 1}) {
        for (const int j : {0, 1, s.rows - 1}) {
            for (const int i : {0, 1, s.rowLength - 3}) {
                psf.get()[std::int64_t{k} * s.planeStride + std::int64_t{j} * s.rowLength + i] = 1.0f / 27;
            }
        }
    }
    return psf;
}

using Sweeps = unsigned (*)(float*, float*, const DFT3D*, unsigned, bool, float, float*, float*, float*,
                            float*, float*, float*, float*, float*, RyProgressCallback, void*, int&, bool);

/// Times `sweeps` sweeps, what a pass does before them taken off, against as many times four transforms.
void CompareSweep(benchmark::State& state, Sweeps run, unsigned sweeps) {
    const DFT3D s = gnr::bench::Geometry(state.range(0), state.range(1), state.range(2));
    omp_set_num_threads(static_cast<int>(state.range(3)));
    const Buffer observed = gnr::bench::RandomVolume(s);
    const Buffer image = gnr::bench::RandomVolume(s);
    const Buffer psf = BoxPsf(s);
    const Buffer planes(Low::SSE_Alloc(std::int64_t{4} * s.planeStride));
    Buffer work[6];
    for (Buffer& volume : work) volume = gnr::bench::RandomVolume(s);

    const auto seconds = [&](unsigned count) {
        gnr::bench::FillRandom(image.get(), s.total);
        int status = 0;
        return gnr::bench::Seconds([&] {
            run(image.get(), psf.get(), &s, count, true, kNoStopTest, planes.get(), observed.get(),
                work[0].get(), work[1].get(), work[2].get(), work[3].get(), work[4].get(), work[5].get(),
                nullptr, nullptr, status, false);
        });
    };
    seconds(sweeps);
    std::vector<double> ours;
    std::vector<double> reference;
    for (auto _ : state) {
        ours.push_back((seconds(sweeps) - seconds(0)) / sweeps);
        gnr::bench::FillRandom(image.get(), s.total);
        reference.push_back(gnr::bench::Seconds([&] {
                                for (unsigned pair = 0; pair < 2 * sweeps; ++pair) {
                                    Low::DFT3D_Transform(&s, image.get());
                                    Low::DFT3D_Inversion(&s, image.get());
                                }
                            }) /
                            sweeps);
        state.SetIterationTime(ours.back());
    }
    state.counters["sweep_ms"] = 1e3 * gnr::bench::Median(ours);
    state.counters["transforms_ms"] = 1e3 * gnr::bench::Median(reference);
    state.counters["ratio"] = gnr::bench::Median(ours) / gnr::bench::Median(reference);
}

void BM_Plain(benchmark::State& state) {
    CompareSweep(state, &Low::SSE_AccIBDProcessInner3D, 2);
}
void BM_Accelerated(benchmark::State& state) {
    CompareSweep(state, &Low::SSE_AccIBDProcessInner3D, 10);
}
void BM_PlainSerialTwin(benchmark::State& state) {
    CompareSweep(state, &Low::AccIBDProcessInner3D, 2);
}
void BM_AcceleratedSerialTwin(benchmark::State& state) {
    CompareSweep(state, &Low::AccIBDProcessInner3D, 10);
}

void Sizes(benchmark::internal::Benchmark* b) {
    b->ArgNames({"x", "y", "z", "threads"});
    for (const std::int64_t threads : {1, 2}) b->Args({256, 256, 64, threads});
    b->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(9);
}

BENCHMARK(BM_Plain)->Apply(Sizes);
BENCHMARK(BM_Accelerated)->Apply(Sizes);
BENCHMARK(BM_PlainSerialTwin)->Apply(Sizes);
BENCHMARK(BM_AcceleratedSerialTwin)->Apply(Sizes);

}  // namespace

BENCHMARK_MAIN();
