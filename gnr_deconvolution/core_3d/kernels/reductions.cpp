// SPDX-License-Identifier: MIT

// Sums over the samples of a volume.

#include <gnr_deconvolution/kernels_3d.h>

#include "detail/parallel.h"

using namespace gnr::detail;

float CRy3DDeconvolutionLow::GetSumOfImageXX(const DFT3D* s, float* pf) {
    const auto [sum] = SumOverRows<1>(*s, [s, pf](std::int64_t r, double* sums) {
        const float* const row = pf + r * s->rowLength;
        for (std::int32_t i = 0; i < ImageColumns(*s); ++i) sums[0] += row[i];
    });
    return static_cast<float>(sum);
}
