// SPDX-License-Identifier: MIT

// Repairs and scalings, sample by sample, and the power and conjugate of spectra.

#include "kernels/pointwise.h"

#include <gnr_deconvolution/kernels_3d.h>

#include "detail/parallel.h"
#include "detail/volume_walk.h"

using namespace gnr::detail;

namespace {

constexpr auto kConjugate = [](Complex4 v) { return Complex4{v.re, -v.im}; };

}  // namespace

// ---- scalings ----

void CRy3DDeconvolutionLow::MulFloatC3D(const DFT3D* s, float* p, float c) {
    WalkImageColumns(*s, p, [c](float& v) { v *= c; });
}

void CRy3DDeconvolutionLow::MulFloatC3DXX(const DFT3D* s, float* p, float c) {
    MapGroups<CallingThread>(p, s->total, [factor = Lanes4(c)](Lanes4 v) { return v * factor; });
}

void CRy3DDeconvolutionLow::SSE_MulFloatC3DXX(const DFT3D* s, float* pf, float c) {
    ParallelGroups(pf, s->total, [factor = Lanes4(c)](Lanes4 v) { return v * factor; });
}

// ---- clamps ----
// deliberate: the two differ. The first keeps an iterate non-negative, padding too, and shows a NaN on; the
// second finishes a result.

void CRy3DDeconvolutionLow::ClipSmallerThanZero(const DFT3D* s, float* p) {
    const Lanes4 zero(0.0f);
    ParallelGroups(p, s->total, [zero](Lanes4 v) { return Select(v < zero, zero, v); });
}

void CRy3DDeconvolutionLow::CutByZero(const DFT3D* s, float* pf) {
    WalkImageColumns(*s, pf, [](float& v) { v = AboveZero(v); });
}

// ---- spectra ----

void CRy3DDeconvolutionLow::PowerSpectrum(float* p, const DFT3D* s) {
    const Lanes4 zero(0.0f);
    MapComplexGroups<CallingThread>(p, s->total, [zero](Complex4 v) {
        return Complex4{v.re * v.re + v.im * v.im, zero};
    });
}

void CRy3DDeconvolutionLow::ComplexConjugate(float* p, const DFT3D* s) {
    MapComplexGroups<CallingThread>(p, s->total, kConjugate);
}

// ---- fused steps of the cores ----

namespace gnr::detail {

void ScaleAndCutByZero(const DFT3D& s, float* volume, float factor) {
    const std::int32_t columns = ImageColumns(s);
    const std::int32_t rowLength = s.rowLength;
    ParallelRows(s, volume, [=](float* row, std::int64_t) {
        for (std::int32_t i = 0; i < columns; ++i) row[i] = AboveZero(row[i] * factor);
        for (std::int32_t i = columns; i < rowLength; ++i) row[i] *= factor;
    });
}

void ConjugateParallel(const DFT3D& s, float* spectrum) {
    MapComplexGroups<AllThreads>(spectrum, s.total, kConjugate);
}

}  // namespace gnr::detail
