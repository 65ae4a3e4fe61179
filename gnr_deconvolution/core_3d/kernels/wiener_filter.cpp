// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/kernels_3d.h>

#include "detail/parallel.h"

// e0    squared magnitude of A's DC term: the signal power, taken as flat
// g, h  real and imaginary part of B at one frequency
// w     the filter e0 conj(B) / (e0 |B|^2 + K) there
// a, b  real and imaginary part of A there
void CRy3DDeconvolutionLow::ComputeWiener3D(const DFT3D* s, float* pfA, float* pfB, double K) {
    const float e0 = pfA[0] * pfA[0] + pfA[1] * pfA[1];

    gnr::detail::ParallelFor(s->total / 2, [=](std::int64_t pair) {
        const std::int64_t i = 2 * pair;
        const float g = pfB[i];
        const float h = pfB[i + 1];
        const float D = static_cast<float>(static_cast<double>((g * g + h * h) * e0) + K);
        const float wr = (e0 * g) / D;
        const float wi = -((h * e0) / D);
        const float a = pfA[i];
        const float b = pfA[i + 1];
        pfA[i] = a * wr - b * wi;
        pfA[i + 1] = a * wi + b * wr;
    });
}
