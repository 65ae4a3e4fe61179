// SPDX-License-Identifier: MIT
#include "kernels/regularization_2d.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "detail/parallel.h"

namespace gnr::detail {

namespace {

/// Bound of the clamped term, and what the shrinking weight aims at ...
constexpr float kAim = 0.2f;
/// ... being content within this.
constexpr float kStable = 0.21f;
/// Keeps the norm of a gradient above 0; the square of what a flat region counts as.
constexpr double kFlatSquare = 1e-20;

/// A row and the ones above and below, from its second sample on.
template <class Group>
struct Neighbourhood {
    const float* p;
    std::size_t rowLength;
    Group group;

    Lanes4 Centre() const { return group.Load(p); }
    Lanes4 Up() const { return group.Load(p - rowLength); }
    Lanes4 Down() const { return group.Load(p + rowLength); }
    Lanes4 Left() const { return group.Load(p - 1); }
    Lanes4 Right() const { return group.Load(p + 1); }
};

/// Writes row j of a field: term(neighbourhood) gives v inside.
template <class Term>
void WriteFieldRow(float* out, const float* x, std::size_t W, std::size_t H, std::size_t j, Term term) {
    float* const outRow = out + j * W;
    const float* const row = x + j * W;
    if (j == 0 || j == H - 1) {
        std::fill_n(outRow, W, 1.0f);
        return;
    }
    EachGroup<CallingThread>(static_cast<std::int64_t>(W) - 2, [=](std::int64_t i, auto group) {
        const Lanes4 one(1.0f);
        group.Store(outRow + 1 + i,
                    one / (one + term(Neighbourhood<decltype(group)>{row + 1 + i, W, group})));
    });
    outRow[0] = 1.0f;
    outRow[W - 1] = 1.0f;
}

/// Writes a whole field, on all threads.
template <class Term>
void WriteField(float* out, const float* x, unsigned W, unsigned H, Term term) {
    ParallelFor(H, [=](std::int64_t j) { WriteFieldRow(out, x, W, H, static_cast<std::size_t>(j), term); });
}

/// The greater magnitude of both extremes where one is out of bounds, else 0.
float Excess(const Extremes& v) {
    const bool stable = !(v.least < -kStable || v.greatest > kStable);
    return stable ? 0.0f : std::max(std::fabs(v.least), std::fabs(v.greatest));
}

}  // namespace

// The second pass is the last, for the reasons that hold for volumes: a finite excess leaves a lambda that
// keeps digits enough to bring every v within 0.2 of 0, to rounding; an infinite one makes lambda 0 or NaN.
void GetRegularizationIterative2D(float* out, const float* x, unsigned W, unsigned H, float* pfLambda) {
    for (;;) {
        const Lanes4 lambda(*pfLambda);
        const Extremes v = ParallelExtremes(H, [=](std::int64_t j) {
            LaneExtremes extremes;
            WriteFieldRow(out, x, W, H, static_cast<std::size_t>(j), [=, &extremes](const auto& at) {
                const Lanes4 term =
                    ((((at.Up() + at.Down()) + at.Left()) + at.Right()) - Lanes4(4.0f) * at.Centre()) *
                    lambda;
                extremes.Take(term);
                return term;
            });
            return extremes.AllLanes();
        });
        const float excess = Excess(v);
        if (excess == 0.0f) return;
        *pfLambda = *pfLambda * kAim / excess;
    }
}

void GetRegularization2D(float* out, const float* x, unsigned W, unsigned H, float fLambda) {
    const Lanes4 lambda(fLambda);
    WriteField(out, x, W, H, [=](const auto& at) {
        const Lanes4 term =
            ((((at.Left() + at.Right()) + at.Up()) + at.Down()) - Lanes4(4.0f) * at.Centre()) * lambda;
        return Max(Lanes4(-kAim), Min(Lanes4(kAim), term));
    });
}

void GetGradientSign2D(float* g, const float* x, unsigned W, unsigned H) {
    const std::size_t width = W;
    ParallelFor(std::int64_t{H} - 1, [=](std::int64_t j) {
        const float* const row = x + static_cast<std::size_t>(j) * width;
        float* const out = g + static_cast<std::size_t>(j) * width;
        for (std::size_t i = 0; i + 1 < width; ++i) {
            const double dx = row[i + 1] - row[i];
            const double dy = row[i + width] - row[i];
            const double n = std::sqrt(dx * dx + dy * dy + kFlatSquare);
            out[i] = static_cast<float>(dy / n) + static_cast<float>(dx / n);
        }
    });
    if (H > 1) std::copy_n(g + (std::size_t{H} - 2) * width, width - 1, g + (std::size_t{H} - 1) * width);
}

void GetRegularizationRLTV2D(float* out, const float* g, unsigned W, unsigned H, float fLambda) {
    const Lanes4 lambda(fLambda);
    WriteField(out, g, W, H, [=](const auto& at) { return -(lambda * at.Centre()); });
}

}  // namespace gnr::detail
