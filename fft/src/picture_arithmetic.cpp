// SPDX-License-Identifier: MIT
#include <fft/ippi.h>

#include <algorithm>
#include <array>

#include "parallel.h"
#include "strided_rows.h"

namespace {

using namespace gnr::fft;

/// Sums that run side by side: one chain of additions would wait for itself.
constexpr std::ptrdiff_t kSumsTogether = 8;

double SumOfRow(const float* row, std::ptrdiff_t width) {
    std::array<double, kSumsTogether> sums{};
    std::ptrdiff_t i = 0;
    for (; i + kSumsTogether <= width; i += kSumsTogether) {
        for (std::ptrdiff_t n = 0; n < kSumsTogether; ++n) sums[static_cast<std::size_t>(n)] += row[i + n];
    }
    double sum = 0.0;
    for (const double part : sums) sum += part;
    for (; i < width; ++i) sum += row[i];
    return sum;
}

/// dst := f(dst, src) for every sample.
template <class F>
IppStatus Combine(const float* src, int stepSrc, float* dst, int stepDst, const IppiSize& size, F f) {
    const IppStatus status = CheckArrays(size, ArrayArgument{src, stepSrc}, ArrayArgument{dst, stepDst});
    if (status != ippStsNoErr) return status;
    ParallelRows(size.width, size.height, [=](std::ptrdiff_t j) {
        const float* const in = Row(src, stepSrc, j);
        float* const out = Row(dst, stepDst, j);
        for (std::ptrdiff_t i = 0; i < size.width; ++i) out[i] = f(out[i], in[i]);
    });
    return ippStsNoErr;
}

}  // namespace

IppStatus ippiSum_32f_C1R(const Ipp32f* pSrc, int step, IppiSize size, Ipp64f* pSum, IppHintAlgorithm) {
    if (pSum == nullptr) return ippStsNullPtrErr;
    const IppStatus status = CheckArrays(size, ArrayArgument{pSrc, step});
    if (status != ippStsNoErr) return status;
    *pSum = 0.0;
    for (std::ptrdiff_t j = 0; j < size.height; ++j) *pSum += SumOfRow(Row(pSrc, step, j), size.width);
    return ippStsNoErr;
}

IppStatus ippiSet_32f_C1R(Ipp32f value, Ipp32f* pDst, int step, IppiSize size) {
    const IppStatus status = CheckArrays(size, ArrayArgument{pDst, step});
    if (status != ippStsNoErr) return status;
    ParallelRows(size.width, size.height,
                 [=](std::ptrdiff_t j) { std::fill_n(Row(pDst, step, j), size.width, value); });
    return ippStsNoErr;
}

IppStatus ippiMul_32f_C1IR(const Ipp32f* pSrc, int stepSrc, Ipp32f* pDst, int stepDst, IppiSize size) {
    return Combine(pSrc, stepSrc, pDst, stepDst, size, [](float d, float s) { return d * s; });
}

IppStatus ippiMulC_32f_C1IR(Ipp32f value, Ipp32f* pDst, int step, IppiSize size) {
    const IppStatus status = CheckArrays(size, ArrayArgument{pDst, step});
    if (status != ippStsNoErr) return status;
    ParallelRows(size.width, size.height, [=](std::ptrdiff_t j) {
        float* const row = Row(pDst, step, j);
        for (std::ptrdiff_t i = 0; i < size.width; ++i) row[i] *= value;
    });
    return ippStsNoErr;
}

IppStatus ippiSub_32f_C1IR(const Ipp32f* pSrc, int stepSrc, Ipp32f* pDst, int stepDst, IppiSize size) {
    return Combine(pSrc, stepSrc, pDst, stepDst, size, [](float d, float s) { return d - s; });
}
