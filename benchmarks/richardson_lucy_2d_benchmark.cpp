// SPDX-License-Identifier: MIT

// One iteration of the Richardson-Lucy methods on pictures against its four transforms alone.

#include <fft/ippi.h>
#include <gnr_deconvolution/deconvolution_2d.h>

#include <bit>
#include <memory>
#include <vector>

#include "support.h"

namespace {

using gnr::bench::Buffer;
using Family = CRy2DDeconvolutionFamily;

/// Few enough that no stop test comes into play.
constexpr unsigned kIterations = 4;
/// Margins of a frame, both sides together: pictures are this much below a power of two.
constexpr unsigned kMargins = 80;
constexpr unsigned kPsfSide = 16;

struct FreePlan {
    void operator()(FFT2DSpec_R_32f* plan) const { ippiFFTFree_R_32f(plan); }
};

/// Two transforms there and two back of one frame.
class FourTransforms {
  public:
    explicit FourTransforms(unsigned side)
        : side_(side), frame_(CRy3DDeconvolutionLow::SSE_Alloc(std::int64_t{side} * side)) {
        const int order = static_cast<int>(std::bit_width(side)) - 1;
        FFT2DSpec_R_32f* plan = nullptr;
        ippiFFTInitAlloc_R_32f(&plan, order, order, IPP_FFT_DIV_INV_BY_N, ippAlgHintFast);
        plan_.reset(plan);
        int bytes = 0;
        ippiFFTGetBufSize_R_32f(plan, &bytes);
        work_.resize(static_cast<std::size_t>(bytes));
    }
    double Seconds() {
        gnr::bench::FillRandom(frame_.get(), std::int64_t{side_} * side_);
        const int step = static_cast<int>(side_ * sizeof(float));
        return gnr::bench::Seconds([&] {
            for (int pair = 0; pair < 2; ++pair) {
                ippiFFTFwd_RToPack_32f_C1IR(frame_.get(), step, plan_.get(), work_.data());
                ippiFFTInv_PackToR_32f_C1IR(frame_.get(), step, plan_.get(), work_.data());
            }
        });
    }

  private:
    unsigned side_;
    Buffer frame_;
    std::unique_ptr<FFT2DSpec_R_32f, FreePlan> plan_;
    std::vector<unsigned char> work_;
};

/// Times kIterations iterations, what comes before and after them taken off, in turn with the transforms.
/// run(pictures and PSF, iterations)
template <class Run>
void CompareIterations(benchmark::State& state, Run run) {
    const auto frameSide = static_cast<unsigned>(state.range(0));
    const unsigned side = frameSide - kMargins;
    omp_set_num_threads(static_cast<int>(state.range(1)));
    const Buffer source(CRy3DDeconvolutionLow::SSE_Alloc(std::int64_t{side} * side));
    const Buffer restored(CRy3DDeconvolutionLow::SSE_Alloc(std::int64_t{side} * side));
    gnr::bench::FillRandom(source.get(), std::int64_t{side} * side);
    std::vector<float> psf(std::size_t{kPsfSide} * kPsfSide, 1.0f / (kPsfSide * kPsfSide));
    SRyFloatPicBuf in = {0, side, side, 0, 1, source.get()};
    SRyFloatPicBuf out = {0, side, side, 0, 1, restored.get()};
    FourTransforms transforms(frameSide);
    const auto seconds = [&](unsigned iterations) {
        return gnr::bench::Seconds([&] { run(out, in, psf.data(), iterations); });
    };
    seconds(1);
    std::vector<double> ours;
    std::vector<double> reference;
    for (auto _ : state) {
        ours.push_back((seconds(kIterations + 1) - seconds(1)) / kIterations);
        reference.push_back(transforms.Seconds());
        state.SetIterationTime(ours.back());
    }
    state.counters["iteration_ms"] = 1e3 * gnr::bench::Median(ours);
    state.counters["reference_ms"] = 1e3 * gnr::bench::Median(reference);
    state.counters["ratio"] = gnr::bench::Median(ours) / gnr::bench::Median(reference);
}

void BM_TikhonovMiller(benchmark::State& state) {
    CompareIterations(state, [](SRyFloatPicBuf& out, SRyFloatPicBuf& in, float* psf, unsigned iterations) {
        Family::AccRLTMAddProcessImage_NoSplit_x1(&out, &in, psf, kPsfSide, nullptr, nullptr, 0, iterations,
                                                  false, 0.3, nullptr);
    });
}

void BM_TotalVariation(benchmark::State& state) {
    CompareIterations(state, [](SRyFloatPicBuf& out, SRyFloatPicBuf& in, float* psf, unsigned iterations) {
        Family::AccRLTVAddProcessImage_NoSplit_x1(&out, &in, psf, kPsfSide, nullptr, nullptr, 0, iterations,
                                                  false, 5);
    });
}

void BM_Direction(benchmark::State& state) {
    CompareIterations(state, [](SRyFloatPicBuf& out, SRyFloatPicBuf& in, float* psf, unsigned iterations) {
        Family::AccRLTVRealAddProcessImage_NoSplit_x1(&out, &in, psf, kPsfSide, nullptr, nullptr, 0,
                                                      iterations, false, 5);
    });
}

void Sizes(benchmark::internal::Benchmark* b) {
    b->ArgNames({"side", "threads"});
    for (const std::int64_t threads : {1, 2}) {
        b->Args({1024, threads});
        b->Args({2048, threads});
    }
    b->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(9);
}

BENCHMARK(BM_TikhonovMiller)->Apply(Sizes);
BENCHMARK(BM_TotalVariation)->Apply(Sizes);
BENCHMARK(BM_Direction)->Apply(Sizes);

}  // namespace

BENCHMARK_MAIN();
