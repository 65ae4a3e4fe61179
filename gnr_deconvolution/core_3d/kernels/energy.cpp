// SPDX-License-Identifier: MIT

// The E8 measure of how concentrated a volume is: S / Q for an image, Q / S for a kernel, and the product of
// both for a pair, with S the sum of the samples and Q the sum of their squares.

#include <gnr_deconvolution/kernels_3d.h>

#include <cmath>

#include "detail/parallel.h"
#include "detail/volume_walk.h"

using namespace gnr::detail;

namespace {

/// Divisors not above this give the neutral result 1.
constexpr double kLeastDivisor = 1e-20;
// deliberate: the pair has a coarser threshold than its two factors
constexpr double kLeastDivisorOfPair = 1e-10;

struct Moments {
    double sum = 0.0;      ///< S
    double squares = 0.0;  ///< Q, each square rounded to float

    void Add(float v) {
        sum += v;
        squares += v * v;
    }
};

Moments MomentsOfImageColumns(const DFT3D& s, const float* volume) {
    Moments moments;
    WalkImageColumns(s, volume, [&moments](float v) { moments.Add(v); });
    return moments;
}

float QuotientOrOne(double numerator, double divisor) {
    return std::fabs(divisor) > kLeastDivisor ? static_cast<float>(numerator / divisor) : 1.0f;
}

}  // namespace

float CRy3DDeconvolutionLow::GetEnergyE8Image(DFT3D* s, float* p) {
    const Moments m = MomentsOfImageColumns(*s, p);
    return QuotientOrOne(m.sum, m.squares);
}

float CRy3DDeconvolutionLow::GetEnergyE8Kernel(DFT3D* s, float* p) {
    const Moments m = MomentsOfImageColumns(*s, p);
    return QuotientOrOne(m.squares, m.sum);
}

float CRy3DDeconvolutionLow::ComputeE8_3D(float* pfA, float* pfB, const DFT3D* s) {
    const std::int32_t columns = ImageColumns(*s);
    const std::int64_t rowLength = s->rowLength;
    const auto [sumA, squaresA, sumB, squaresB] = SumOverRows<4>(*s, [=](std::int64_t r, double* sums) {
        const float* const rowA = pfA + r * rowLength;
        const float* const rowB = pfB + r * rowLength;
        Moments a{sums[0], sums[1]};
        Moments b{sums[2], sums[3]};
        for (std::int32_t i = 0; i < columns; ++i) {
            a.Add(rowA[i]);
            b.Add(rowB[i]);
        }
        sums[0] = a.sum;
        sums[1] = a.squares;
        sums[2] = b.sum;
        sums[3] = b.squares;
    });
    const bool divisible = std::fabs(sumB) > kLeastDivisorOfPair && std::fabs(squaresA) > kLeastDivisorOfPair;
    return divisible ? static_cast<float>((squaresB * sumA) / (squaresA * sumB)) : 1.0f;
}
