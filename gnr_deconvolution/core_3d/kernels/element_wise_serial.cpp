// SPDX-License-Identifier: MIT

// Element-wise kernels on the calling thread: KERNEL3D_ over a whole volume, INLINE_ over a count of floats.

#include <gnr_deconvolution/kernels_3d.h>

#include <algorithm>

#include "detail/groups.h"
#include "kernels/element_wise.h"

using namespace gnr::detail;
using Low = CRy3DDeconvolutionLow;

// ---- real ----

void Low::INLINE_Add(float* a, float* b, long long n) {
    MapGroups<CallingThread>(a, b, n, kAdd);
}
void Low::KERNEL3D_Add(const DFT3D* s, float* a, float* b) {
    INLINE_Add(a, b, s->total);
}

void Low::INLINE_Subtract(float* a, float* b, long long n) {
    MapGroups<CallingThread>(a, b, n, kSubtract);
}
void Low::KERNEL3D_Subtract(const DFT3D* s, float* a, float* b) {
    INLINE_Subtract(a, b, s->total);
}

void Low::INLINE_Multiply(float* a, float* b, long long n) {
    MapGroups<CallingThread>(a, b, n, kMultiply);
}
void Low::KERNEL3D_Multiply(const DFT3D* s, float* a, float* b) {
    INLINE_Multiply(a, b, s->total);
}

void Low::INLINE_Divide(float* a, float* b, long long n) {
    MapGroups<CallingThread>(a, b, n, kDivideOrKeep);
}
void Low::KERNEL3D_Divide(const DFT3D* s, float* a, float* b) {
    INLINE_Divide(a, b, s->total);
}

void Low::INLINE_DivideOff(float* a, float* b, long long n, float off) {
    MapGroups<CallingThread>(a, b, n, DivideOffOrKeep{Lanes4(off)});
}
void Low::KERNEL3D_DivideOff(const DFT3D* s, float* a, float* b, float off) {
    INLINE_DivideOff(a, b, s->total, off);
}

// ---- complex ----

void Low::INLINE_ComplexMultiply(float* a, float* b, long long n) {
    MapComplexGroups<CallingThread>(a, b, n, kComplexMultiply);
}
void Low::KERNEL3D_ComplexMultiply(const DFT3D* s, float* a, float* b) {
    INLINE_ComplexMultiply(a, b, s->total);
}

void Low::INLINE_ComplexMultiplyAdjoint(float* a, float* b, long long n) {
    MapComplexGroups<CallingThread>(a, b, n, kComplexMultiplyAdjoint);
}
void Low::KERNEL3D_ComplexMultiplyAdJoint(const DFT3D* s, float* a, float* b) {
    INLINE_ComplexMultiplyAdjoint(a, b, s->total);
}

// ---- fill and copy ----

void Low::INLINE_Zero(float* a, long long n) {
    std::fill_n(a, n, 0.0f);
}
void Low::KERNEL3D_Zero(const DFT3D* s, float* a) {
    INLINE_Zero(a, s->total);
}

void Low::INLINE_Copy(float* a, float* b, long long n) {
    std::copy_n(b, n, a);
}
void Low::KERNEL3D_Copy(const DFT3D* s, float* a, float* b) {
    INLINE_Copy(a, b, s->total);
}

void Low::SetOnesFour(float* p1, float* p2, float* p3, float* p4, const DFT3D* s) {
    for (float* const p : {p2, p1, p3, p4}) std::fill_n(p, s->total, 1.0f);
}
