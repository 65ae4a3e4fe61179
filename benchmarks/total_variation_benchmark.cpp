// SPDX-License-Identifier: MIT

// One iteration of the restorations in stages and of the Richardson-Lucy entry with a total-variation factor,
// against the transforms that each needs; and against the chain of serial kernels that defines it.

#include <gnr_deconvolution/legacy.h>

#include <memory>
#include <vector>

#include "support.h"

namespace {

using Low = CRy3DDeconvolutionLow;
using Family = CRyLegacy3DDeconvolutionFamily;
using gnr::bench::Buffer;

constexpr int kIterations = 3;

void FillPsf(const DFT3D& s, float* psf) {
    for (int k : {0, 1, s.planes - 1}) {
        for (int j : {0, 1, s.rows - 1}) {
            for (int i : {0, 1, s.rowLength - 3})
                psf[std::int64_t{k} * s.planeStride + j * s.rowLength + i] = 1.0f / 27;
        }
    }
}

/// Seconds of `pairs` pairs of transforms.
double TransformSeconds(const DFT3D& s, float* volume, int pairs) {
    gnr::bench::FillRandom(volume, s.total);
    return gnr::bench::Seconds([&] {
        for (int n = 0; n < pairs; ++n) {
            Low::DFT3D_Transform(&s, volume);
            Low::DFT3D_Inversion(&s, volume);
        }
    });
}

/// Times kIterations iterations, what comes before them taken off, in turn with the transforms of one.
template <class Run>
void CompareIterations(benchmark::State& state, int pairs, Run run) {
    DFT3D s = gnr::bench::Geometry(state.range(0), state.range(1), state.range(2));
    omp_set_num_threads(static_cast<int>(state.range(3)));
    const Buffer image = gnr::bench::RandomVolume(s);
    const Buffer psf(Low::SSE_Alloc(s.total));
    FillPsf(s, psf.get());
    const Buffer volume = gnr::bench::RandomVolume(s);
    const auto seconds = [&](int iterations) {
        gnr::bench::FillRandom(image.get(), s.total);
        return gnr::bench::Seconds([&] { run(s, psf.get(), image.get(), iterations); });
    };
    seconds(1);
    std::vector<double> ours;
    std::vector<double> reference;
    for (auto _ : state) {
        ours.push_back((seconds(kIterations + 1) - seconds(1)) / kIterations);
        reference.push_back(TransformSeconds(s, volume.get(), pairs));
        state.SetIterationTime(ours.back());
    }
    state.counters["iteration_ms"] = 1e3 * gnr::bench::Median(ours);
    state.counters["transforms_ms"] = 1e3 * gnr::bench::Median(reference);
    state.counters["ratio"] = gnr::bench::Median(ours) / gnr::bench::Median(reference);
}

void BM_Additive(benchmark::State& state) {
    CompareIterations(state, 1, [](DFT3D& s, float* psf, float* image, int iterations) {
        Family::LucyRichardsonTV_AdditiveVersion(&s, psf, image, iterations, nullptr, nullptr, 0, 0, 5,
                                                 nullptr, false, false);
    });
}

void BM_Conjugate(benchmark::State& state) {
    CompareIterations(state, 1, [](DFT3D& s, float* psf, float* image, int iterations) {
        Family::LucyRichardsonTV_ICTM(&s, psf, image, iterations, nullptr, nullptr, 0, 0, 1, nullptr, false,
                                      false);
    });
}

void BM_RealTV(benchmark::State& state) {
    CompareIterations(state, 2, [](DFT3D& s, float* psf, float* image, int iterations) {
        float result;
        Family::LucyRichardsonRealTV(&s, psf, image, iterations, &result, nullptr, nullptr, 0, 0, 5);
    });
}

/// The additive iteration as the chain of kernels that defines it.
void AdditiveChain(const DFT3D& s, float* psf, float* x, int iterations) {
    std::vector<Buffer> volumes;
    for (int n = 0; n < 8; ++n) volumes.emplace_back(Low::SSE_Alloc(s.total));
    const auto volume = [&](std::size_t n) { return volumes[n].get(); };
    float* const g = volume(0);
    float* const H = volume(1);
    float* const A = volume(2);
    float* const B = volume(3);
    float* const T = volume(7);
    Low::KERNEL3D_Copy(&s, g, x);
    Low::KERNEL3D_Copy(&s, H, psf);
    Low::DFT3D_Transform(&s, H);
    for (int k = 0; k < iterations; ++k) {
        Low::KERNEL3D_Copy(&s, A, x);
        Low::KERNEL3D_Copy(&s, B, H);
        Low::DFT3D_Transform(&s, A);
        Low::KERNEL3D_ComplexMultiplyAdJoint(&s, B, H);
        Low::KERNEL3D_ComplexMultiply(&s, A, B);
        Low::DFT3D_Inversion(&s, A);
        Low::KERNEL3D_Copy(&s, B, g);
        Low::DFT3D_Transform(&s, B);
        Low::KERNEL3D_ComplexMultiplyAdJoint(&s, B, H);
        Low::DFT3D_Inversion(&s, B);
        Low::KERNEL3D_Subtract(&s, B, A);
        Family::ComputeTVDivergence3D(&s, volume(4), volume(5), volume(6), T, x);
        Low::MulFloatC3DXX(&s, T, 0.2f);
        Low::KERNEL3D_Subtract(&s, B, T);
        Low::KERNEL3D_Add(&s, x, B);
    }
}

void BM_AdditiveAsChain(benchmark::State& state) {
    CompareIterations(state, 1, AdditiveChain);
}

void Sizes(benchmark::internal::Benchmark* b) {
    b->ArgNames({"x", "y", "z", "threads"});
    for (const std::int64_t threads : {1, 2}) {
        b->Args({256, 256, 64, threads});
        b->Args({512, 512, 64, threads});
    }
    b->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);
}

BENCHMARK(BM_Additive)->Apply(Sizes);
BENCHMARK(BM_AdditiveAsChain)->Apply(Sizes);
BENCHMARK(BM_Conjugate)->Apply(Sizes);
BENCHMARK(BM_RealTV)->Apply(Sizes);

}  // namespace

BENCHMARK_MAIN();
