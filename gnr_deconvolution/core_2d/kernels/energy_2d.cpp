// SPDX-License-Identifier: MIT
#include "kernels/energy_2d.h"

#include <cmath>
#include <cstddef>

#include "detail/float_bounds.h"
#include "kernels/frame_arithmetic.h"

namespace gnr::detail {

namespace {

/// Sums not above this are no divisors.
constexpr float kLeastSum = FloatNotAbove(1e-10);

}  // namespace

EnergySums SumsOfImage(const float* v, unsigned W, unsigned H) {
    EnergySums sums;
    for (std::size_t n = 0; n < Samples(W, H); ++n) sums.Add(v[n]);
    return sums;
}

float EnergyOfImage(const float* v, unsigned W, unsigned H) {
    const EnergySums sums = SumsOfImage(v, W, H);
    return std::fabs(sums.sum) > kLeastSum ? sums.squares / sums.sum : 1.0f;
}

float EnergyRatio(const EnergySums& a, const EnergySums& b) {
    if (std::fabs(b.sum) <= kLeastSum || std::fabs(a.squares) <= kLeastSum) return 1.0f;
    return (b.squares * a.sum) / (a.squares * b.sum);
}

float ComputeE8_2D(const float* a, const float* b, unsigned W, unsigned H) {
    return EnergyRatio(SumsOfImage(a, W, H), SumsOfImage(b, W, H));
}

}  // namespace gnr::detail
