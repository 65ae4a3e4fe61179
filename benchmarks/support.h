// SPDX-License-Identifier: MIT
#pragma once

// Volumes and interleaved timing for benchmarks: what is compared runs in turn within one loop, so that a
// noisy machine disturbs both sides alike.

#include <benchmark/benchmark.h>
#include <gnr_deconvolution/kernels_3d.h>
#include <gnr_deconvolution/psf_3d.h>
#include <omp.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

namespace gnr::bench {

struct Destroy {
    void operator()(float* p) const { CRy3DDeconvolutionLow::SSE_Destroy(p); }
};
using Buffer = std::unique_ptr<float, Destroy>;

inline DFT3D Geometry(std::int64_t x, std::int64_t y, std::int64_t z) {
    DFT3D s;
    FloatPSF3D::DFT3D_InitSizes(&s, static_cast<int>(x), static_cast<int>(y), static_cast<int>(z));
    return s;
}

/// Samples between 0.5 and 1.5, so that repeated filtering keeps ordinary numbers.
inline void FillRandom(float* p, std::int64_t n) {
    std::mt19937 engine(1);
    std::uniform_real_distribution<float> sample(0.5f, 1.5f);
    for (std::int64_t i = 0; i < n; ++i) p[i] = sample(engine);
}

inline Buffer RandomVolume(const DFT3D& s) {
    Buffer volume(CRy3DDeconvolutionLow::SSE_Alloc(s.total));
    FillRandom(volume.get(), s.total);
    return volume;
}

template <class F>
double Seconds(F f) {
    const auto start = std::chrono::steady_clock::now();
    f();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

inline double Median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// Times ours and theirs in turn and reports the medians and their ratio. Iterations count ours only.
template <class Ours, class Theirs>
void CompareInTurn(benchmark::State& state, Ours ours, Theirs theirs) {
    std::vector<double> own;
    std::vector<double> other;
    ours();
    theirs();
    for (auto _ : state) {
        own.push_back(Seconds(ours));
        other.push_back(Seconds(theirs));
        state.SetIterationTime(own.back());
    }
    state.counters["ours_ms"] = 1e3 * Median(own);
    state.counters["reference_ms"] = 1e3 * Median(other);
    state.counters["ratio"] = Median(own) / Median(other);
}

}  // namespace gnr::bench
