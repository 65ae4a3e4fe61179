// SPDX-License-Identifier: MIT
#include "entries/gradient_steps.h"

#include "detail/parallel.h"

namespace gnr::detail {

namespace {

/// The direction before times its share, plus the gradient.
// deliberate: the square of the gradient before stands on top
Lanes4 NextDirection(Lanes4 P, Lanes4 before, Lanes4 R) {
    const Lanes4 one(1.0f);
    const Lanes4 square = R * R;
    const Lanes4 share = Select(square != Lanes4(0.0f), (before * before + one) / (square + one), square);
    return P * share + R;
}

}  // namespace

void StepDown(const DFT3D& s, float* A, const float* B, const float* x) {
    EachGroup<AllThreads>(s.total, [=](std::int64_t i, auto group) {
        group.Store(A + i, (group.Load(B + i) - group.Load(A + i)) + group.Load(x + i));
    });
}

void StepAlongConjugate(const DFT3D& s, const ConjugateVolumes& volumes, float lambda, float length,
                        bool first) {
    EachGroup<AllThreads>(s.total, [=](std::int64_t i, auto group) {
        const auto [x, A, B, R, P] = volumes;
        const Lanes4 estimate = group.Load(x + i);
        const Lanes4 gradient = (group.Load(A + i) - group.Load(B + i)) + estimate * Lanes4(lambda);
        const Lanes4 direction =
            first ? gradient : NextDirection(group.Load(P + i), group.Load(R + i), gradient);
        const Lanes4 next = direction * Lanes4(length) + estimate;
        group.Store(R + i, gradient);
        group.Store(P + i, direction);
        group.Store(x + i, next);
        group.Store(A + i, next);
    });
}

}  // namespace gnr::detail
