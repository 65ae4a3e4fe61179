// SPDX-License-Identifier: MIT

// The packed transforms of picture frames against FFTW's own plan of a padded frame, made beforehand, and the
// packing of its half spectrum. Both sides keep their plans; ours is always FFTW_ESTIMATE.

#include <fft/ippi.h>
#include <fftw3.h>

#include <cstring>

#include "support.h"

namespace {

using namespace gnr::bench;

enum Planning : std::int64_t { kEstimate, kMeasure };

/// FFTW's in-place plan of rows of W + 2 floats, and the way between them and the packed frame.
class PaddedTransform {
  public:
    PaddedTransform(std::int64_t width, std::int64_t height, bool forward, unsigned flags)
        : W_(width), H_(height), rows_(CRy3DDeconvolutionLow::SSE_Alloc((width + 2) * height)) {
        auto* const spectrum = reinterpret_cast<fftwf_complex*>(rows_.get());
        const int w = static_cast<int>(width);
        const int h = static_cast<int>(height);
        plan_ = forward ? fftwf_plan_dft_r2c_2d(h, w, rows_.get(), spectrum, flags)
                        : fftwf_plan_dft_c2r_2d(h, w, spectrum, rows_.get(), flags);
    }
    PaddedTransform(const PaddedTransform&) = delete;
    PaddedTransform& operator=(const PaddedTransform&) = delete;
    ~PaddedTransform() {
        fftwf_destroy_plan(plan_);
        fftwf_forget_wisdom();
    }

    void Forward(float* frame) {
        Rows([&](std::int64_t j) { std::memcpy(Row(j), frame + j * W_, Bytes(W_)); });
        fftwf_execute(plan_);
        Rows([&](std::int64_t j) { std::memcpy(frame + j * W_ + 1, Row(j) + 2, Bytes(W_ - 2)); });
        for (const std::int64_t column : {std::int64_t{0}, W_ - 1}) {
            const std::int64_t from = column == 0 ? 0 : W_;
            frame[column] = Row(0)[from];
            for (std::int64_t v = 1; v < H_ / 2; ++v) {
                frame[(2 * v - 1) * W_ + column] = Row(v)[from];
                frame[2 * v * W_ + column] = Row(v)[from + 1];
            }
            frame[(H_ - 1) * W_ + column] = Row(H_ / 2)[from];
        }
    }

    void Inverse(float* frame) {
        const float scale = 1.0f / static_cast<float>(W_ * H_);
        Rows([&](std::int64_t j) { std::memcpy(Row(j) + 2, frame + j * W_ + 1, Bytes(W_ - 2)); });
        for (const std::int64_t column : {std::int64_t{0}, W_ - 1}) {
            const std::int64_t to = column == 0 ? 0 : W_;
            const auto put = [&](std::int64_t v, float re, float im) {
                Row(v)[to] = re;
                Row(v)[to + 1] = im;
            };
            put(0, frame[column], 0.0f);
            for (std::int64_t v = 1; v < H_ / 2; ++v) {
                const float re = frame[(2 * v - 1) * W_ + column];
                const float im = frame[2 * v * W_ + column];
                put(v, re, im);
                put(H_ - v, re, -im);
            }
            put(H_ / 2, frame[(H_ - 1) * W_ + column], 0.0f);
        }
        fftwf_execute(plan_);
        Rows([&](std::int64_t j) {
            for (std::int64_t i = 0; i < W_; ++i) frame[j * W_ + i] = Row(j)[i] * scale;
        });
    }

  private:
    float* Row(std::int64_t j) { return rows_.get() + j * (W_ + 2); }
    static std::size_t Bytes(std::int64_t floats) { return static_cast<std::size_t>(floats) * sizeof(float); }
    template <class Body>
    void Rows(Body body) {
#pragma omp parallel for schedule(static)
        for (std::int64_t j = 0; j < H_; ++j) body(j);
    }

    std::int64_t W_;
    std::int64_t H_;
    Buffer rows_;
    fftwf_plan plan_ = nullptr;
};

void BM_Packed(benchmark::State& state, bool forward) {
    const auto order = static_cast<int>(state.range(0));
    const auto threads = static_cast<int>(state.range(1));
    const std::int64_t side = std::int64_t{1} << order;
    omp_set_num_threads(threads);
    fftwf_init_threads();
    fftwf_plan_with_nthreads(threads);
    PaddedTransform padded(side, side, forward, state.range(2) == kMeasure ? FFTW_MEASURE : FFTW_ESTIMATE);

    FFT2DSpec_R_32f* spec = nullptr;
    int bytes = 0;
    ippiFFTInitAlloc_R_32f(&spec, order, order, IPP_FFT_DIV_INV_BY_N, ippAlgHintFast);
    ippiFFTGetBufSize_R_32f(spec, &bytes);
    const Buffer work(CRy3DDeconvolutionLow::SSE_Alloc(bytes / 4 + 1));
    auto* const buffer = reinterpret_cast<unsigned char*>(work.get());
    const Buffer frame = Buffer(CRy3DDeconvolutionLow::SSE_Alloc(side * side));
    const int step = static_cast<int>(side * 4);
    const auto ours = [&] {
        forward ? ippiFFTFwd_RToPack_32f_C1IR(frame.get(), step, spec, buffer)
                : ippiFFTInv_PackToR_32f_C1IR(frame.get(), step, spec, buffer);
    };
    const auto theirs = [&] { forward ? padded.Forward(frame.get()) : padded.Inverse(frame.get()); };

    std::vector<double> own;
    std::vector<double> other;
    for (auto _ : state) {
        FillRandom(frame.get(), side * side);
        own.push_back(Seconds(ours));
        FillRandom(frame.get(), side * side);
        other.push_back(Seconds(theirs));
        state.SetIterationTime(own.back());
    }
    state.counters["ours_ms"] = 1e3 * Median(own);
    state.counters["padded_ms"] = 1e3 * Median(other);
    state.counters["ratio"] = Median(own) / Median(other);
    ippiFFTFree_R_32f(spec);
}

void Sizes(benchmark::internal::Benchmark* b) {
    b->ArgNames({"order", "threads", "measured_plan"});
    for (const std::int64_t order : {7, 9, 10, 11}) {
        for (const std::int64_t threads : {1, 2}) {
            for (const std::int64_t planning : {kEstimate, kMeasure}) b->Args({order, threads, planning});
        }
    }
    b->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(25);
}

BENCHMARK_CAPTURE(BM_Packed, forward, true)->Apply(Sizes);
BENCHMARK_CAPTURE(BM_Packed, inverse, false)->Apply(Sizes);

}  // namespace

BENCHMARK_MAIN();
