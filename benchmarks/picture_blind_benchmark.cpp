// SPDX-License-Identifier: MIT

// One iteration of the blind method on pictures, out of whole cycles, against its four transforms alone.

#include <fft/ippi.h>
#include <gnr_deconvolution/deconvolution_2d.h>

#include <cmath>

#include "support.h"

namespace {

using namespace gnr::bench;

constexpr unsigned kIterationsPerCycle = 15;
/// Both sides of the margin.
constexpr unsigned kMargins = 30;

/// A frame's four transforms, with the plan that the method makes.
class FourTransforms {
  public:
    explicit FourTransforms(int order) : side_(std::int64_t{1} << order) {
        int bytes = 0;
        ippiFFTInitAlloc_R_32f(&spec_, order, order, IPP_FFT_NODIV_BY_ANY, ippAlgHintFast);
        ippiFFTGetBufSize_R_32f(spec_, &bytes);
        work_.reset(CRy3DDeconvolutionLow::SSE_Alloc(bytes / 4 + 1));
        frame_.reset(CRy3DDeconvolutionLow::SSE_Alloc(side_ * side_));
        // Neither direction scales, and 0 stays what it is.
        std::fill_n(frame_.get(), side_ * side_, 0.0f);
    }
    FourTransforms(const FourTransforms&) = delete;
    FourTransforms& operator=(const FourTransforms&) = delete;
    ~FourTransforms() { ippiFFTFree_R_32f(spec_); }

    void operator()() {
        for (int pair = 0; pair < 2; ++pair) {
            ippiFFTFwd_RToPack_32f_C1IR(frame_.get(), Step(), spec_, Buffer());
            ippiFFTInv_PackToR_32f_C1IR(frame_.get(), Step(), spec_, Buffer());
        }
    }

  private:
    int Step() const { return static_cast<int>(side_ * 4); }
    unsigned char* Buffer() const { return reinterpret_cast<unsigned char*>(work_.get()); }

    std::int64_t side_;
    FFT2DSpec_R_32f* spec_ = nullptr;
    gnr::bench::Buffer work_;
    gnr::bench::Buffer frame_;
};

/// Spots on a floor.
std::vector<float> Spots(unsigned side) {
    std::vector<float> samples(std::size_t{side} * side);
    FillRandom(samples.data(), static_cast<std::int64_t>(samples.size()));
    for (std::size_t i = 0; i < samples.size(); i += 97) samples[i] += 40.0f;
    return samples;
}

std::vector<float> Gaussian(unsigned n) {
    std::vector<float> psf;
    for (unsigned i = 0; i < n * n; ++i) {
        const double dx = i % n - n * 0.5;
        const double dy = i / n - n * 0.5;
        psf.push_back(static_cast<float>(std::exp(-0.1 * (dx * dx + dy * dy))));
    }
    return psf;
}

void BM_Iteration(benchmark::State& state) {
    const auto order = static_cast<int>(state.range(0));
    omp_set_num_threads(static_cast<int>(state.range(1)));
    const unsigned side = (1u << order) - kMargins;
    std::vector<float> samples = Spots(side);
    std::vector<float> restored(samples.size());
    std::vector<float> psf = Gaussian(32);
    SRyFloatPicBuf source = {};
    source.uiWidth = source.uiHeight = side;
    source.uiComponents = 1;
    SRyFloatPicBuf destination = source;
    source.pData = samples.data();
    destination.pData = restored.data();

    const auto cycles = [&](unsigned count) {
        return Seconds([&] {
            CRy2DDeconvolutionFamily::AccIBDProcessImage_NoSplit_x1(&destination, &source, psf.data(), 32,
                                                                    0.0f, nullptr, nullptr, 0, count, false);
        });
    };
    FourTransforms transforms(order);
    cycles(1);
    transforms();
    std::vector<double> own;
    std::vector<double> other;
    for (auto _ : state) {
        own.push_back((cycles(1) - cycles(0)) / kIterationsPerCycle);
        other.push_back(Seconds([&] {
                            for (unsigned k = 0; k < kIterationsPerCycle; ++k) transforms();
                        }) /
                        kIterationsPerCycle);
        state.SetIterationTime(std::max(own.back(), 0.0));
    }
    state.counters["iteration_ms"] = 1e3 * Median(own);
    state.counters["transforms_ms"] = 1e3 * Median(other);
    state.counters["ratio"] = Median(own) / Median(other);
}

void Sizes(benchmark::internal::Benchmark* b) {
    b->ArgNames({"order", "threads"});
    for (const std::int64_t order : {10, 11}) {
        for (const std::int64_t threads : {1, 2}) b->Args({order, threads});
    }
    b->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(9);
}

BENCHMARK(BM_Iteration)->Apply(Sizes);

}  // namespace

BENCHMARK_MAIN();
