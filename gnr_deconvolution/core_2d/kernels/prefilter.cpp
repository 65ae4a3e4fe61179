// SPDX-License-Identifier: MIT

// The small Gaussian that takes the top of the noise spectrum out of picture and PSF alike.

#include <gnr_deconvolution/deconvolution_2d.h>
#include <gnr_deconvolution/return_codes.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

#include "detail/two_pi.h"
#include "kernels/convolution.h"
#include "kernels/frame_arithmetic.h"
#include "kernels/frame_blocks.h"

using namespace gnr::detail;

namespace {

constexpr float kDeviation = 0.8f;
constexpr int kRadius = static_cast<int>(kDeviation * 3.0f + 1.0f);
constexpr int kMostTaps = 2 * kRadius + 1;

/// A sampled Gaussian of sum 1 along one axis.
struct Taps {
    float values[kMostTaps] = {};
    int radius = 0;

    int Count() const { return 2 * radius + 1; }
};

/// As far as half of a side reaches, at least one tap.
int RadiusFor(unsigned side) {
    const std::int64_t most = std::int64_t{side / 2} - 1;
    return static_cast<int>(std::clamp<std::int64_t>(most, 0, kRadius));
}

Taps GaussianFor(unsigned side) {
    Taps g;
    g.radius = RadiusFor(side);
    float sum = 0.0f;
    for (int i = -g.radius; i <= g.radius; ++i) {
        const double s = static_cast<double>(i) / static_cast<double>(kDeviation);
        const double value = std::exp(-0.5 * std::pow(s, 2.0)) / std::sqrt(kTwoPi) / kDeviation;
        g.values[i + g.radius] = static_cast<float>(value);
        sum += g.values[i + g.radius];
    }
    for (int i = 0; i < g.Count(); ++i) g.values[i] /= sum;
    return g;
}

/// Lays the square kernel of side n into a zeroed frame, its centre at the origin and the rest wrapped.
void WrapKernel(float* frame, unsigned W, unsigned H, const float* kernel, unsigned n) {
    const unsigned r = (n - 1) / 2;
    for (unsigned j = 0; j < n; ++j) {
        for (unsigned i = 0; i < n; ++i) {
            frame[std::size_t{(j + H - r) % H} * W + (i + W - r) % W] = kernel[j * n + i];
        }
    }
}

}  // namespace

void CRy2DDeconvolutionFamily::GetPrefilterKernel(unsigned W, unsigned H, float*& pfKernel,
                                                  unsigned& uiSize) {
    const Taps x = GaussianFor(W);
    const Taps y = GaussianFor(H);
    const int n = std::max(x.Count(), y.Count());
    FrameBlock<float> kernel =
        NewFrame<float>(static_cast<unsigned>(n), static_cast<unsigned>(n), Contents::kZero);
    if (kernel != nullptr) {
        const int left = (n - x.Count()) / 2;
        const int above = (n - y.Count()) / 2;
        for (int j = 0; j < y.Count(); ++j) {
            float* const row = kernel.get() + (j + above) * n + left;
            for (int i = 0; i < x.Count(); ++i) row[i] = y.values[j] * x.values[i];
        }
    }
    uiSize = kernel == nullptr ? 0 : static_cast<unsigned>(n);
    pfKernel = kernel.release();
}

int CRy2DDeconvolutionFamily::PrefilterImageAndPSF(unsigned W, unsigned H, float* pfImage, float* pfPsf,
                                                   FFT2DSpec_R_32f* pSpec, unsigned char* pBuffer,
                                                   IppiSize& /*size*/, float /*fUnused*/) {
    float* kernelSamples = nullptr;
    unsigned side = 0;
    GetPrefilterKernel(W, H, kernelSamples, side);
    FrameBlock<float> kernel(kernelSamples);
    const std::unique_ptr<float[]> spectrum(new (std::nothrow) float[Samples(W, H)]());
    if (kernel == nullptr || spectrum == nullptr) return gnr::kNotReady;
    WrapKernel(spectrum.get(), W, H, kernel.get(), side);
    kernel.reset();

    ForwardTransform(spectrum.get(), W, pBuffer, pSpec);
    for (float* const frame : {pfImage, pfPsf}) {
        ForwardTransform(frame, W, pBuffer, pSpec);
        MultiplySpectra(spectrum.get(), frame, W, H);
        InverseTransform(frame, W, pBuffer, pSpec);
        // Rounding leaves small negatives in the dark.
        std::for_each_n(frame, Samples(W, H), [](float& v) { v = v < 0.0f ? 0.0f : v; });
    }
    return gnr::kSuccess;
}
