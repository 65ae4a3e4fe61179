// SPDX-License-Identifier: MIT
#include "kernels/energy_2d.h"

#include <cmath>
#include <cstddef>

#include "detail/float_bounds.h"
#include "kernels/frame_arithmetic.h"

namespace gnr::detail {

float EnergyOfImage(const float* v, unsigned W, unsigned H) {
    float sum = 0.0f;
    float squares = 0.0f;
    for (std::size_t n = 0; n < Samples(W, H); ++n) {
        sum += v[n];
        squares += v[n] * v[n];
    }
    return std::fabs(sum) > FloatNotAbove(1e-10) ? squares / sum : 1.0f;
}

}  // namespace gnr::detail
