// SPDX-License-Identifier: MIT
#pragma once

// Energy of a frame: how concentrated its samples are.

namespace gnr::detail {

/// Sum of samples and of their squares, in float, in the order in which they are added.
struct EnergySums {
    float sum = 0.0f;
    float squares = 0.0f;

    void Add(float v) {
        sum += v;
        squares += v * v;
    }
};
EnergySums SumsOfImage(const float* v, unsigned W, unsigned H);

/// Sum of the squares over the sum, both in float and in the order of the samples; 1 where the sum is within
/// 1e-10 of 0.
float EnergyOfImage(const float* v, unsigned W, unsigned H);

/// Energy of b over that of a; 1 where the sum of b or the sum of the squares of a is within 1e-10 of 0.
float EnergyRatio(const EnergySums& a, const EnergySums& b);
float ComputeE8_2D(const float* a, const float* b, unsigned W, unsigned H);

}  // namespace gnr::detail
