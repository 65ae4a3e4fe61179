// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/kernels_3d.h>

#include <algorithm>
#include <array>
#include <cstdint>

#include <processor/vector_clones.h>
#include "detail/parallel.h"

namespace {

/// Frequencies that go through the vector loop together.
constexpr std::int64_t kPairsPerChunk = 512;

using Chunk = std::array<float, kPairsPerChunk>;

/// n frequencies of A times the filter, real and imaginary parts apart: a loop that wrote them in turn would
/// be fused into multiply-add-subtract instructions by g++ 12, contraction off or not.
///
/// e0    squared magnitude of A's DC term: the signal power, taken as flat
/// g, h  real and imaginary part of B at one frequency
/// w     the filter e0 conj(B) / (e0 |B|^2 + K) there
/// a, b  real and imaginary part of A there
GNR_VECTOR_CLONES
void FilterChunk(const float* A, const float* B, std::int64_t n, float e0, double K, float* re, float* im) {
    for (std::int64_t pair = 0; pair < n; ++pair) {
        const float g = B[2 * pair];
        const float h = B[2 * pair + 1];
        const float D = static_cast<float>(static_cast<double>((g * g + h * h) * e0) + K);
        const float wr = (e0 * g) / D;
        const float wi = -((h * e0) / D);
        const float a = A[2 * pair];
        const float b = A[2 * pair + 1];
        re[pair] = a * wr - b * wi;
        im[pair] = a * wi + b * wr;
    }
}

GNR_VECTOR_CLONES
void Interleave(const float* re, const float* im, std::int64_t n, float* pairs) {
    for (std::int64_t pair = 0; pair < n; ++pair) {
        pairs[2 * pair] = re[pair];
        pairs[2 * pair + 1] = im[pair];
    }
}

}  // namespace

void CRy3DDeconvolutionLow::ComputeWiener3D(const DFT3D* s, float* pfA, float* pfB, double K) {
    const float e0 = pfA[0] * pfA[0] + pfA[1] * pfA[1];
    const std::int64_t pairs = s->total / 2;
    const std::int64_t chunks = (pairs + kPairsPerChunk - 1) / kPairsPerChunk;
    gnr::detail::ParallelFor(chunks, [=](std::int64_t chunk) {
        const std::int64_t first = chunk * kPairsPerChunk;
        const std::int64_t n = std::min(kPairsPerChunk, pairs - first);
        Chunk re;
        Chunk im;
        FilterChunk(pfA + 2 * first, pfB + 2 * first, n, e0, K, re.data(), im.data());
        Interleave(re.data(), im.data(), n, pfA + 2 * first);
    });
}
