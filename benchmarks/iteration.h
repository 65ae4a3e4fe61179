// SPDX-License-Identifier: MIT
#pragma once

// One iteration of a method on volumes against the transforms that it cannot do without.

#include "support.h"

namespace gnr::bench {

/// A PSF that is a small box around the origin, sum 1.
inline Buffer BoxPsf(const DFT3D& s) {
    Buffer psf(CRy3DDeconvolutionLow::SSE_Alloc(s.total));
    for (const int k : {0, 1, s.planes - 1}) {
        for (const int j : {0, 1, s.rows - 1}) {
            for (const int i : {0, 1, s.rowLength - 3}) {
                psf.get()[std::int64_t{k} * s.planeStride + std::int64_t{j} * s.rowLength + i] = 1.0f / 27;
            }
        }
    }
    return psf;
}

/// Geometry from the first three arguments of the benchmark, threads from the fourth.
inline DFT3D BeginVolumes(const benchmark::State& state) {
    omp_set_num_threads(static_cast<int>(state.range(3)));
    return Geometry(state.range(0), state.range(1), state.range(2));
}

/// Forward and backward, `pairs` times.
inline void TransformInPairs(const DFT3D& s, float* volume, unsigned pairs) {
    for (unsigned pair = 0; pair < pairs; ++pair) {
        CRy3DDeconvolutionLow::DFT3D_Transform(&s, volume);
        CRy3DDeconvolutionLow::DFT3D_Inversion(&s, volume);
    }
}

/// Times `count` iterations, those of `first` and what comes before them taken off, in turn with the reference.
///
/// run        called with a count of iterations; its seconds
/// reference  called on a fresh random volume: what one iteration is held against, `name` in the report
template <class Run, class Reference>
void CompareIteration(benchmark::State& state, const DFT3D& s, unsigned first, unsigned count, Run run,
                      const char* name, Reference reference) {
    const Buffer volume = RandomVolume(s);
    run(first);
    std::vector<double> ours;
    std::vector<double> theirs;
    for (auto _ : state) {
        ours.push_back((run(first + count) - run(first)) / count);
        FillRandom(volume.get(), s.total);
        theirs.push_back(Seconds([&] { reference(volume.get()); }));
        state.SetIterationTime(ours.back());
    }
    state.counters["iteration_ms"] = 1e3 * Median(ours);
    state.counters[name] = 1e3 * Median(theirs);
    state.counters["ratio"] = Median(ours) / Median(theirs);
}

/// The same against so many pairs of transforms.
template <class Run>
void CompareIterationWithTransforms(benchmark::State& state, const DFT3D& s, unsigned first, unsigned count,
                                    Run run, unsigned pairs) {
    CompareIteration(state, s, first, count, run, "transforms_ms",
                     [&](float* volume) { TransformInPairs(s, volume, pairs); });
}

inline void VolumeSizes(benchmark::internal::Benchmark* b) {
    b->ArgNames({"x", "y", "z", "threads"});
    for (const std::int64_t threads : {1, 2}) {
        b->Args({256, 256, 64, threads});
        b->Args({512, 512, 64, threads});
    }
    b->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);
}

}  // namespace gnr::bench
