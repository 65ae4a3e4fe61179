// SPDX-License-Identifier: MIT

// Element-wise kernels on all threads, four floats or four complex numbers at a time.

#include <gnr_deconvolution/kernels_3d.h>

#include "detail/parallel.h"
#include "kernels/element_wise.h"

using namespace gnr::detail;
using Low = CRy3DDeconvolutionLow;

void Low::SSE_Add(float* a, float* b, long long n) {
    ParallelGroups(a, b, n, kAdd);
}
void Low::SSE_Subtract(float* a, float* b, long long n) {
    ParallelGroups(a, b, n, kSubtract);
}
void Low::SSE_Multiply(float* a, float* b, long long n) {
    ParallelGroups(a, b, n, kMultiply);
}
void Low::SSE_Divide(float* a, float* b, long long n) {
    ParallelGroups(a, b, n, kDivideOrZero);
}
void Low::SSE_ComplexMultiply(float* a, float* b, long long n) {
    ParallelComplexGroups(a, b, n, kComplexMultiply);
}
void Low::SSE_ComplexMultiplyAdjoint(float* a, float* b, long long n) {
    ParallelComplexGroups(a, b, n, kComplexMultiplyAdjoint);
}

void Low::SSE_SetOnes(float* p, const DFT3D* s) {
    FillGroups<AllThreads>(p, s->total, 1.0f);
}
void Low::SSE_SetOnesFour(float* p1, float* p2, float* p3, float* p4, const DFT3D* s) {
    const Lanes4 one(1.0f);
    EachGroup<AllThreads>(s->total, [=](std::int64_t i, auto group) {
        for (float* const p : {p1, p2, p3, p4}) group.Store(p + i, one);
    });
}
