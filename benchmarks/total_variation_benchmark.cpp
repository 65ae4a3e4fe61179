// SPDX-License-Identifier: MIT

// One iteration of the restorations in stages and of the Richardson-Lucy entry with a total-variation factor,
// against the transforms that each needs; and against the chain of serial kernels that defines it.

#include <gnr_deconvolution/legacy.h>

#include <memory>
#include <vector>

#include "iteration.h"

namespace {

using namespace gnr::bench;

using Low = CRy3DDeconvolutionLow;
using Family = CRyLegacy3DDeconvolutionFamily;

constexpr unsigned kIterations = 3;

/// One iteration of `entry` against the transforms of one.
template <class Entry>
void CompareEntry(benchmark::State& state, unsigned pairs, Entry entry) {
    DFT3D s = BeginVolumes(state);
    const Buffer image = RandomVolume(s);
    const Buffer psf = BoxPsf(s);
    const auto run = [&](unsigned iterations) {
        FillRandom(image.get(), s.total);
        return Seconds([&] { entry(s, psf.get(), image.get(), static_cast<int>(iterations)); });
    };
    CompareIterationWithTransforms(state, s, 1, kIterations, run, pairs);
}

void BM_Additive(benchmark::State& state) {
    CompareEntry(state, 1, [](DFT3D& s, float* psf, float* image, int iterations) {
        Family::LucyRichardsonTV_AdditiveVersion(&s, psf, image, iterations, nullptr, nullptr, 0, 0, 5,
                                                 nullptr, false, false);
    });
}

void BM_Conjugate(benchmark::State& state) {
    CompareEntry(state, 1, [](DFT3D& s, float* psf, float* image, int iterations) {
        Family::LucyRichardsonTV_ICTM(&s, psf, image, iterations, nullptr, nullptr, 0, 0, 1, nullptr, false,
                                      false);
    });
}

void BM_RealTV(benchmark::State& state) {
    CompareEntry(state, 2, [](DFT3D& s, float* psf, float* image, int iterations) {
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
    CompareEntry(state, 1, AdditiveChain);
}

BENCHMARK(BM_Additive)->Apply(VolumeSizes);
BENCHMARK(BM_AdditiveAsChain)->Apply(VolumeSizes);
BENCHMARK(BM_Conjugate)->Apply(VolumeSizes);
BENCHMARK(BM_RealTV)->Apply(VolumeSizes);

}  // namespace

BENCHMARK_MAIN();
