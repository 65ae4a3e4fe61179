// SPDX-License-Identifier: MIT

// Vector extrapolation of the blind inner loops: the current estimate times the ratio of the last two
// estimates raised to a power alpha. Biggs and Andrews 1997 (docs/bibliography.md), in the logarithmic
// domain.

#include <gnr_deconvolution/kernels_3d.h>

#include <algorithm>
#include <cmath>

#include "detail/parallel.h"
#include "detail/volume_walk.h"
#include "kernels/acceleration_bounds.h"
#include "kernels/pointwise.h"

using namespace gnr::detail;

namespace {

/// max(v, 0)^alpha, a NaN counting as 0.
float PowerOfStep(float v, float alpha) {
    return std::pow(AboveZero(v), alpha);
}

}  // namespace

void CRy3DDeconvolutionLow::GetPVKM1_3D(float* pfOut, float* pfNum, float* pfDen, const DFT3D* s) {
    const Lanes4 least(kLeastDivisorOfStep);
    const Lanes4 one(1.0f);
    EachGroup<CallingThread>(s->total, [=](std::int64_t i, auto group) {
        const Lanes4 den = group.Load(pfDen + i);
        group.Store(pfOut + i, Select(den > least, group.Load(pfNum + i) / den, one));
    });
}

void CRy3DDeconvolutionLow::PowVkAlpha3D(float* p, const DFT3D* s, float fAlpha) {
    WalkImageColumns(*s, p, [fAlpha](float& v) { v = PowerOfStep(v, fAlpha); });
}

void CRy3DDeconvolutionLow::SSE_PowVkAlpha3D(float* p, const DFT3D* s, float fAlpha) {
    // deliberate: the shortcuts skip the cut at 0, and the first one fills the padding too
    if (IsPowerOfZero(fAlpha)) return SSE_SetOnes(p, s);
    if (IsPowerOfOne(fAlpha)) return;

    const std::int32_t columns = ImageColumns(*s);
    ParallelRows(*s, p, [=](float* row, std::int64_t) {
        for (std::int32_t i = 0; i < columns; ++i) row[i] = PowerOfStep(row[i], fAlpha);
    });
}

// a, b    current and previous estimate of one plane
// c, d    last and last but one step ratio there
// t1, t2  terms of the numerator and of the denominator of alpha, one a sample
float CRy3DDeconvolutionLow::Recompute_dAlphaK3D(float* pfScratch, float* pfA, float* pfB, float* pfC,
                                                 float* pfD, const DFT3D* s) {
    const std::int32_t columns = ImageColumns(*s);
    const std::int64_t rowLength = s->rowLength;
    const std::int64_t planeStride = s->planeStride;
    float* const t1 = pfScratch;
    float* const t2 = pfScratch + planeStride;
    // deliberate: cleared once and not for each plane, so that a sample skipped in one plane adds the term
    // that an earlier plane left there
    std::fill_n(pfScratch, 2 * planeStride, 0.0f);

    double numerator = 0.0;
    double denominator = 0.0;
    for (std::int32_t k = 0; k < s->planes; ++k) {
        const std::int64_t plane = k * planeStride;
        const float* const a = pfA + plane;
        const float* const b = pfB + plane;
        const float* const c = pfC + plane;
        const float* const d = pfD + plane;
        ParallelFor(s->rows, [=](std::int64_t j) {
            for (std::int64_t i = j * rowLength; i < j * rowLength + columns; ++i) {
                if (!(c[i] > kLeastRatio && d[i] > kLeastRatio)) continue;
                const double t = std::log10(d[i]) * b[i];
                const double u = std::log10(c[i]) * a[i];
                t1[i] = static_cast<float>(u * t);
                t2[i] = static_cast<float>(t * t);
            }
        });
        for (std::int64_t i = 0; i < planeStride; ++i) {
            numerator += t1[i];
            denominator += t2[i];
        }
    }

    return ExponentOfSums(numerator, denominator);
}
