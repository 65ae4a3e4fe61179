// SPDX-License-Identifier: MIT

// One sweep of the blind inner loop, plain and accelerated, against its four transforms alone.

#include "iteration.h"

namespace {

using namespace gnr::bench;

using Low = CRy3DDeconvolutionLow;

/// Switches the stop test off.
constexpr float kNoStopTest = -1.0f;

using Sweeps = unsigned (*)(float*, float*, const DFT3D*, unsigned, bool, float, float*, float*, float*,
                            float*, float*, float*, float*, float*, RyProgressCallback, void*, int&, bool);

/// One sweep out of `sweeps` against its four transforms.
void CompareSweep(benchmark::State& state, Sweeps entry, unsigned sweeps) {
    const DFT3D s = BeginVolumes(state);
    const Buffer observed = RandomVolume(s);
    const Buffer image = RandomVolume(s);
    const Buffer psf = BoxPsf(s);
    const Buffer planes(Low::SSE_Alloc(std::int64_t{4} * s.planeStride));
    Buffer work[6];
    for (Buffer& volume : work) volume = RandomVolume(s);
    const auto run = [&](unsigned count) {
        FillRandom(image.get(), s.total);
        int status = 0;
        return Seconds([&] {
            entry(image.get(), psf.get(), &s, count, true, kNoStopTest, planes.get(), observed.get(),
                  work[0].get(), work[1].get(), work[2].get(), work[3].get(), work[4].get(), work[5].get(),
                  nullptr, nullptr, status, false);
        });
    };
    CompareIterationWithTransforms(state, s, 0, sweeps, run, 2);
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

BENCHMARK(BM_Plain)->Apply(VolumeSizes);
BENCHMARK(BM_Accelerated)->Apply(VolumeSizes);
BENCHMARK(BM_PlainSerialTwin)->Apply(VolumeSizes);
BENCHMARK(BM_AcceleratedSerialTwin)->Apply(VolumeSizes);

}  // namespace

BENCHMARK_MAIN();
