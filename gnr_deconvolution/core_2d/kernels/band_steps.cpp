// SPDX-License-Identifier: MIT
#include "kernels/band_steps.h"

#include <cstdint>

#include <processor/vector_clones.h>
#include "kernels/pieces.h"

namespace gnr::detail {

namespace {

/// Over-relaxation of the plain method.
constexpr double kFixedStep = 1.7;

/// One step of one band.
struct BandStep {
    double length;
    double threshold;
    double mu = 0.0;
};

GNR_VECTOR_CLONES
void Step(double* __restrict cur, const double* __restrict gradient, std::int64_t n, const BandStep& step) {
    const auto [length, threshold, mu] = step;
    for (std::int64_t i = 0; i < n; ++i) {
        cur[i] = SoftThreshold(cur[i] + length * gradient[i], threshold);
    }
}

GNR_VECTOR_CLONES
void StepAndExtrapolate(double* __restrict cur, const double* __restrict gradient, std::int64_t n,
                        const BandStep& step) {
    const auto [length, threshold, mu] = step;
    for (std::int64_t i = 0; i < n; ++i) {
        const double before = cur[i];
        const double stepped = SoftThreshold(before + length * gradient[i], threshold);
        cur[i] = (stepped - before) * mu + stepped;
    }
}

/// Runs `kernel` over the bands that reconstruction reads, with the step stepOf(b, l).
template <class Kernel, class StepOf>
void StepBands(const BandPyramid& cur, const BandPyramid& gradient, Kernel kernel, StepOf stepOf) {
    ForEachPictureBand([&](unsigned b, unsigned l) {
        if (b == kApproximation && l + 1 < kPictureLevels) return;
        const std::int64_t samples = std::int64_t{cur.Width(l)} * cur.Height(l);
        double* const to = cur.Band(b, l);
        const double* const from = gradient.Band(b, l);
        const BandStep step = stepOf(b, l);
        ForEachPiece(samples, kShareOfThread, [=](std::int64_t first, std::int64_t count) {
            kernel(to + first, from + first, count, step);
        });
    });
}

}  // namespace

void UpdateBandsAdaptive(const BandPyramid& cur, const BandPyramid& gradient, const BandTable& alpha,
                         double tau) {
    StepBands(cur, gradient, Step, [&](unsigned b, unsigned l) {
        const double length = 1.0 / alpha[b][l];
        return BandStep{length, length * tau};
    });
}

void UpdateBandsExtrapolated(const BandPyramid& cur, const BandPyramid& gradient, const BandTable& alpha,
                             double tau, double mu) {
    StepBands(cur, gradient, StepAndExtrapolate, [&](unsigned b, unsigned l) {
        const double length = 1.0 / alpha[b][l];
        return BandStep{length, length * tau, mu};
    });
}

void UpdateBandsFixed(const BandPyramid& cur, const BandPyramid& gradient, double tau) {
    StepBands(cur, gradient, Step, [=](unsigned, unsigned) { return BandStep{kFixedStep, tau}; });
}

}  // namespace gnr::detail
