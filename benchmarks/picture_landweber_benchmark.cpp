// SPDX-License-Identifier: MIT

// One iteration of the Landweber methods on pictures against the four transforms and the wavelet pyramid that
// it makes, alone. Pictures of 944 and 1968 fill the frame of the transforms, so that the wavelets' frame is as
// large as it gets; those of 1024 and 2048 lie in the next frame.

#include <fft/ippi.h>
#include <gnr_deconvolution/deconvolution_2d.h>
#include <ry_math/ry_math.h>

#include <array>
#include <bit>
#include <functional>

#include "support.h"

namespace {

using gnr::bench::Buffer;

constexpr unsigned kIterations = 5;
constexpr unsigned kMargins = 80;
constexpr unsigned kPsfSide = 8;
constexpr unsigned kLevels = 3;

/// Four transforms of a frame.
class Transforms {
  public:
    explicit Transforms(unsigned side)
        : side_(side), frame_(CRy3DDeconvolutionLow::SSE_Alloc(std::int64_t{side} * side)) {
        const int order = std::countr_zero(side);
        ippiFFTInitAlloc_R_32f(&spec_, order, order, IPP_FFT_DIV_INV_BY_N, ippAlgHintFast);
        int bytes = 0;
        ippiFFTGetBufSize_R_32f(spec_, &bytes);
        buffer_.resize(static_cast<std::size_t>(bytes));
        gnr::bench::FillRandom(frame_.get(), std::int64_t{side} * side);
    }
    Transforms(const Transforms&) = delete;
    Transforms& operator=(const Transforms&) = delete;
    ~Transforms() { ippiFFTFree_R_32f(spec_); }

    void operator()() {
        const int step = static_cast<int>(side_ * sizeof(float));
        for (int pair = 0; pair < 2; ++pair) {
            ippiFFTFwd_RToPack_32f_C1IR(frame_.get(), step, spec_, buffer_.data());
            ippiFFTInv_PackToR_32f_C1IR(frame_.get(), step, spec_, buffer_.data());
        }
    }

  private:
    unsigned side_;
    Buffer frame_;
    FFT2DSpec_R_32f* spec_ = nullptr;
    std::vector<unsigned char> buffer_;
};

/// One pyramid down and up.
class Wavelets {
  public:
    explicit Wavelets(unsigned side) : side_(side), picture_(std::size_t{side} * side, 1.0) {
        int length = 0;
        CRyDaubechies2DWave::GetFatherWavelet(father_, &length, 4);
        CRyDaubechies2DWave::GetMotherWavelet(mother_, &length, 4);
        length_ = static_cast<unsigned>(length);
        for (unsigned l = 0; l < kLevels; ++l) {
            for (auto& band : bands_[l]) band.resize(std::size_t{side >> (l + 1)} * (side >> (l + 1)));
        }
    }
    Wavelets(const Wavelets&) = delete;
    Wavelets& operator=(const Wavelets&) = delete;
    ~Wavelets() {
        CRyDaubechies2DWave::FreeWavelet(father_);
        CRyDaubechies2DWave::FreeWavelet(mother_);
    }

    void operator()() {
        unsigned w = 0;
        unsigned h = 0;
        for (unsigned l = 0; l < kLevels; ++l) {
            double* b[4] = {Band(l, 0), Band(l, 1), Band(l, 2), Band(l, 3)};
            CRyWavelet2D::WaveletDecompositionImage(b[0], b[1], b[2], b[3], w, h, Input(l), side_ >> l,
                                                    side_ >> l, mother_, father_, length_);
        }
        for (unsigned l = kLevels; l-- > 0;) {
            double* out = Input(l);
            CRyWavelet2D::WaveletReconstructionImage(out, w, h, Band(l, 0), Band(l, 1), Band(l, 2),
                                                     Band(l, 3), side_ >> (l + 1), side_ >> (l + 1), mother_,
                                                     father_, length_);
        }
    }

  private:
    double* Band(unsigned l, std::size_t b) { return bands_[l][b].data(); }
    double* Input(unsigned l) { return l == 0 ? picture_.data() : Band(l - 1, 3); }

    unsigned side_;
    std::vector<double> picture_;
    std::array<std::array<std::vector<double>, 4>, kLevels> bands_;
    double* father_ = nullptr;
    double* mother_ = nullptr;
    unsigned length_ = 0;
};

/// Float pictures of side by side pixels.
class Pictures {
  public:
    explicit Pictures(unsigned side)
        : source_(std::size_t{side} * side), destination_(source_.size()), psf_(kPsfSide * kPsfSide) {
        gnr::bench::FillRandom(source_.data(), static_cast<std::int64_t>(source_.size()));
        for (float& v : psf_) v = 1.0f / (kPsfSide * kPsfSide);
        CRyFloatPicBufAPI::Init(&from);
        from.uiWidth = from.uiHeight = side;
        from.uiComponents = 1;
        to = from;
        from.pData = source_.data();
        to.pData = destination_.data();
    }
    float* Psf() { return psf_.data(); }

    SRyFloatPicBuf from;
    SRyFloatPicBuf to;

  private:
    std::vector<float> source_;
    std::vector<float> destination_;
    std::vector<float> psf_;
};

/// Times kIterations iterations, what comes before and after taken off, in turn with both references.
template <class Run>
void CompareIterations(benchmark::State& state, Run run) {
    const auto side = static_cast<unsigned>(state.range(0));
    omp_set_num_threads(static_cast<int>(state.range(1)));
    Transforms transforms(std::bit_ceil(side + kMargins));
    Wavelets wavelets((side + kMargins + 31) / 32 * 32);
    Pictures pictures(side);
    const auto seconds = [&](unsigned iterations) {
        return gnr::bench::Seconds([&] { run(pictures, iterations); });
    };
    seconds(1);
    transforms();
    wavelets();
    std::vector<double> ours;
    std::vector<double> fourTransforms;
    std::vector<double> pyramid;
    for (auto _ : state) {
        ours.push_back((seconds(kIterations + 1) - seconds(1)) / kIterations);
        fourTransforms.push_back(gnr::bench::Seconds(std::ref(transforms)));
        pyramid.push_back(gnr::bench::Seconds(std::ref(wavelets)));
        state.SetIterationTime(std::max(ours.back(), 0.0));
    }
    const double iteration = gnr::bench::Median(ours);
    const double transformed = gnr::bench::Median(fourTransforms);
    const double decomposed = gnr::bench::Median(pyramid);
    state.counters["iteration_ms"] = 1e3 * iteration;
    state.counters["transforms_ms"] = 1e3 * transformed;
    state.counters["pyramid_ms"] = 1e3 * decomposed;
    state.counters["to_transforms"] = iteration / transformed;
    state.counters["ratio"] = iteration / (transformed + decomposed);
}

void BM_Momentum(benchmark::State& state) {
    CompareIterations(state, [](Pictures& p, unsigned iterations) {
        CRy2DDeconvolutionFamily::AccLandweberProcessImage_NoSplit_x1(
            &p.to, &p.from, p.Psf(), kPsfSide, nullptr, nullptr, 0, iterations, false, 2, 64, 64);
    });
}

void BM_Plain(benchmark::State& state) {
    CompareIterations(state, [](Pictures& p, unsigned iterations) {
        CRy2DDeconvolutionFamily::LandweberProcessImage_Unaccel_NoSplit_x1(
            &p.to, &p.from, p.Psf(), kPsfSide, nullptr, nullptr, 0, iterations, false, 1.0, nullptr);
    });
}

void Sizes(benchmark::internal::Benchmark* b) {
    b->ArgNames({"side", "threads"});
    for (const std::int64_t threads : {1, 2}) {
        for (const std::int64_t side : {944, 1024, 1968, 2048}) b->Args({side, threads});
    }
    b->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);
}

BENCHMARK(BM_Momentum)->Apply(Sizes);
BENCHMARK(BM_Plain)->Apply(Sizes);

}  // namespace

BENCHMARK_MAIN();
