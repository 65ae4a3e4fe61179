// SPDX-License-Identifier: MIT
#include <fft/ippi.h>

#include "complex_product.h"
#include "parallel.h"
#include "strided_rows.h"

namespace {

using namespace gnr::fft;

struct Operands {
    const float* a;
    int stepA;
    const float* b;
    int stepB;
    float* dst;
    int stepDst;
};

/// The pairs of one row between the first column and, where there is one, the lone last column.
template <class Kind>
void MultiplyRow(const float* a, const float* b, float* dst, std::ptrdiff_t pairs) {
    for (std::ptrdiff_t n = 0; n < pairs; ++n) {
        const std::ptrdiff_t i = 2 * n + 1;
        const Product p = Kind::Of(a[i], a[i + 1], b[i], b[i + 1]);
        dst[i] = p.re;
        dst[i + 1] = p.im;
    }
}

/// A column whose pairs stand one above the other, its ends being real.
template <class Kind>
void MultiplyColumn(const Operands& o, std::ptrdiff_t column, std::ptrdiff_t height) {
    const auto a = [&](std::ptrdiff_t j) { return Row(o.a, o.stepA, j)[column]; };
    const auto b = [&](std::ptrdiff_t j) { return Row(o.b, o.stepB, j)[column]; };
    const auto put = [&](std::ptrdiff_t j, float v) { Row(o.dst, o.stepDst, j)[column] = v; };
    put(0, a(0) * b(0));
    std::ptrdiff_t j = 1;
    for (; j + 1 < height; j += 2) {
        const Product p = Kind::Of(a(j), a(j + 1), b(j), b(j + 1));
        put(j, p.re);
        put(j + 1, p.im);
    }
    if (j < height) put(j, a(j) * b(j));
}

template <class Kind>
IppStatus MultiplyPacked(const Operands& o, const IppiSize& size) {
    const IppStatus status = CheckArrays(size, ArrayArgument{o.a, o.stepA}, ArrayArgument{o.b, o.stepB},
                                         ArrayArgument{o.dst, o.stepDst});
    if (status != ippStsNoErr) return status;
    const std::ptrdiff_t pairs = (size.width - 1) / 2;
    ParallelRows(size.width, size.height, [=](std::ptrdiff_t j) {
        MultiplyRow<Kind>(Row(o.a, o.stepA, j), Row(o.b, o.stepB, j), Row(o.dst, o.stepDst, j), pairs);
    });
    MultiplyColumn<Kind>(o, 0, size.height);
    if (size.width % 2 == 0) MultiplyColumn<Kind>(o, size.width - 1, size.height);
    return ippStsNoErr;
}

}  // namespace

IppStatus ippiMulPack_32f_C1IR(const Ipp32f* pA, int stepA, Ipp32f* pB, int stepB, IppiSize size) {
    return MultiplyPacked<Multiply>({pA, stepA, pB, stepB, pB, stepB}, size);
}

IppStatus ippiMulPackConj_32f_C1R(const Ipp32f* pA, int stepA, const Ipp32f* pB, int stepB, Ipp32f* pDst,
                                  int stepDst, IppiSize size) {
    return MultiplyPacked<MultiplyConjugate>({pA, stepA, pB, stepB, pDst, stepDst}, size);
}
