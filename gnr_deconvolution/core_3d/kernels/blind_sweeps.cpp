// SPDX-License-Identifier: MIT
#include "kernels/blind_sweeps.h"

#include "detail/parallel.h"
#include "kernels/element_wise.h"

namespace gnr::detail {

using Low = CRy3DDeconvolutionLow;

void ExtrapolateByPower(const DFT3D& s, float* A, float* v, float alpha) {
    Low::PowVkAlpha3D(v, &s, alpha);
    Low::SSE_Multiply(A, v, s.total);
}

void ExtrapolateByShortcuts(const DFT3D& s, float* A, float* v, float alpha) {
    Low::SSE_PowVkAlpha3D(v, &s, alpha);
    Low::SSE_Multiply(A, v, s.total);
}

void RatioOrKeep(const DFT3D& s, float* a, const float* g) {
    ParallelGroups(a, g, s.total, kDivideOrKeep);
}

void RatioOrZero(const DFT3D& s, float* a, const float* g) {
    ParallelGroups(a, g, s.total, kDivideOrZero);
}

}  // namespace gnr::detail
