// SPDX-License-Identifier: MIT
#include "entries/normal_operator.h"

#include "cores/blur.h"
#include "detail/parallel.h"
#include "kernels/element_wise.h"
#include "kernels/richardson_lucy_update.h"

namespace gnr::detail {

void ApplyNormalOperator(const DFT3D& s, float* volume, const float* otf) {
    CRy3DDeconvolutionLow::DFT3D_Transform(&s, volume);
    ParallelComplexGroups(volume, otf, s.total, [](Complex4 v, Complex4 h) {
        return kComplexMultiply(v, kComplexMultiplyAdjoint(h, h));
    });
    CRy3DDeconvolutionLow::DFT3D_Inversion(&s, volume);
}

void BackProjectInto(const DFT3D& s, float* target, const float* g, float* otf) {
    CopyVolume(s, target, g);
    BackProjectWithOtf(s, target, otf);
}

}  // namespace gnr::detail
