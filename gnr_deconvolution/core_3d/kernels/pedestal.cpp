// SPDX-License-Identifier: MIT
#include "kernels/pedestal.h"

#include <limits>

#include "detail/parallel.h"
#include "kernels/pointwise.h"

namespace gnr::detail {

namespace {

constexpr float kSharesOfRange = 40.0f;
constexpr float kMostLift = 20.0f;

}  // namespace

float PedestalOfBuffer(const DFT3D& s, const float* volume) {
    constexpr float most = std::numeric_limits<float>::max();
    const auto least =
        ParallelLeast<2>(RowsOfVolume(s), {most, most}, [=, &s](std::int64_t r, float* bounds) {
            // The greatest is the least of the negatives.
            const float* const row = volume + r * s.rowLength;
            for (std::int32_t i = 0; i < s.rowLength; ++i) {
                bounds[0] = row[i] < bounds[0] ? row[i] : bounds[0];
                bounds[1] = -row[i] < bounds[1] ? -row[i] : bounds[1];
            }
        });
    const float minimum = least[0];
    const float maximum = -least[1];
    float t = (maximum - minimum) / kSharesOfRange;
    if (t > kMostLift) t = kMostLift;
    return minimum < t ? t - minimum : 0.0f;
}

void Lift(const DFT3D& s, float* volume, float pedestal) {
    const Lanes4 offset(pedestal);
    ParallelGroups(volume, s.total, [offset](Lanes4 v) { return v + offset; });
}

void ScaleAndLower(const DFT3D& s, float* volume, float factor, float pedestal) {
    const Lanes4 factors(factor);
    const Lanes4 offset(pedestal);
    const Lanes4 zero(0.0f);
    ParallelGroups(volume, s.total, [=](Lanes4 v) {
        const Lanes4 lowered = v * factors - offset;
        return SelectOrZero(lowered > zero, lowered);
    });
}

}  // namespace gnr::detail
