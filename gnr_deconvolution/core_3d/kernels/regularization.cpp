// SPDX-License-Identifier: MIT

// Damping fields of the Richardson-Lucy family: Tikhonov-Miller by a Laplacian, total variation by a
// gradient. Each field is 1 outside an interior and 1 / (1 + term) inside. Rows are independent of each
// other, so each field is one sweep over the rows of the volume, on the calling thread or on all threads.

#include "kernels/regularization.h"

#include <processor/fetch.h>
#include <processor/vector_clones.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "detail/extremes.h"
#include "detail/float_bounds.h"
#include "detail/parallel.h"

using namespace gnr::detail;

namespace {

/// Bound of the clamped Tikhonov-Miller term.
constexpr float kClamp = 0.1f;
/// The self-weakening form aims at kClamp, and is content within this.
constexpr float kStable = 0.11f;
/// Gradients not above this have no direction.
constexpr float kLeastGradient = FloatNotAbove(1e-10);

/// Columns of one row that belong to the interior.
struct InteriorColumns {
    std::int32_t begin;
    std::int32_t end;
};
constexpr InteriorColumns kNoColumns = {0, 0};

/// One sample inside each face of the image columns.
InteriorColumns OwnInterior(const DFT3D& s, std::int64_t k, std::int64_t j) {
    const bool inside = k >= 1 && k < s.planes - 1 && j >= 1 && j < s.rows - 1 && s.rowLength > 4;
    return inside ? InteriorColumns{1, s.rowLength - 3} : kNoColumns;
}

/// The interior of the other two forms. Neighbours of a row's or a plane's last samples lie in the next row
/// or plane, which exists because k < planes - 1.
InteriorColumns PlaneTestedInterior(const DFT3D& s, std::int64_t k, std::int64_t j) {
    // deliberate: k, not j, against the rows, and k, not i, against the row length
    const bool inside = k >= 1 && k < s.planes - 1 && j >= 1 && k < s.rows - 1 && k < s.rowLength - 3;
    return inside ? InteriorColumns{1, s.rowLength} : kNoColumns;
}

/// What a sample of the field depends on: the row of the estimate from the interior's first column on.
struct Source {
    const float* row;
    std::int64_t rowLength;
    std::int64_t planeStride;
};

/// lambda L of sample i; this order of sums is part of the result.
inline float LaplacianTerm(const Source& source, float lambda, std::int64_t i) {
    const float* const p = source.row + i;
    const std::int64_t rowLength = source.rowLength;
    const std::int64_t planeStride = source.planeStride;
    const float sixNeighbours =
        ((((p[-planeStride] + p[planeStride]) + p[-rowLength]) + p[rowLength]) + p[-1]) + p[1];
    return (sixNeighbours - p[0] * 6.0f) * lambda;
}

/// The field of n samples; the extremes of its terms, sixteen lanes side by side.
GNR_VECTOR_CLONES
Extremes DampRow(const Source& source, float lambda, float* __restrict field, std::int64_t n) {
    constexpr std::int64_t width = 16;
    std::array<float, width> least{};
    std::array<float, width> greatest{};
    const auto damp = [&](std::int64_t i, std::int64_t lane) {
        const auto at = static_cast<std::size_t>(lane);
        const float u = LaplacianTerm(source, lambda, i);
        least[at] = u < least[at] ? u : least[at];
        greatest[at] = u > greatest[at] ? u : greatest[at];
        field[i] = 1.0f / (u + 1.0f);
    };
    std::int64_t i = 0;
    for (; i + width <= n; i += width) {
        for (std::int64_t lane = 0; lane < width; ++lane) damp(i + lane, lane);
    }
    // Where lanes are full, those that take the rest begin with samples that were met before.
    if (i < n && n >= width) i = n - width;
    for (std::int64_t lane = 0; i < n; ++i, ++lane) damp(i, lane);
    for (std::size_t half = width / 2; half > 0; half /= 2) {
        for (std::size_t lane = 0; lane < half; ++lane) {
            least[lane] = std::min(least[lane], least[lane + half]);
            greatest[lane] = std::max(greatest[lane], greatest[lane + half]);
        }
    }
    return {least[0], greatest[0]};
}

/// The same of terms that are clamped; a NaN counts as the upper bound.
GNR_VECTOR_CLONES
void DampClampedRow(const Source& source, float lambda, float* __restrict field, std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) {
        const float u = LaplacianTerm(source, lambda, i);
        const float below = u < kClamp ? u : kClamp;
        const float within = below > -kClamp ? below : -kClamp;
        field[i] = 1.0f / (within + 1.0f);
    }
}

// gx, gy, gz  forward differences; m their norm
GNR_VECTOR_CLONES
void DampByDirection(const Source& source, float lambda, float* field, std::int64_t n) {
    const auto [p, rowLength, planeStride] = source;
    for (std::int64_t i = 0; i < n; ++i) {
        const float gx = p[i + 1] - p[i];
        const float gy = p[i + rowLength] - p[i];
        const float gz = p[i + planeStride] - p[i];
        const float m = std::sqrt((gy * gy + gx * gx) + gz * gz);
        const float damped = 1.0f / (1.0f - (((gy + gx) + gz) / m) * lambda);
        field[i] = m > kLeastGradient ? damped : 1.0f;
    }
}

/// Writes one row of a field: field(source, out, count) inside the interior, 1 elsewhere. What field gives.
template <class Field>
auto WriteRow(const DFT3D& s, std::int64_t r, float* out, const float* estimate, InteriorColumns interior,
              Field field) {
    float* const outRow = out + r * s.rowLength;
    const float* const row = estimate + r * s.rowLength;
    if (interior.begin < interior.end) {
        for (const std::int32_t toNeighbour : {-s.planeStride, s.rowLength, s.planeStride}) {
            gnr::Fetch(row, s.rowLength + toNeighbour, s.rowLength);
        }
        gnr::Fetch(outRow, s.rowLength, s.rowLength);
    }
    std::fill(outRow, outRow + interior.begin, 1.0f);
    std::fill(outRow + interior.end, outRow + s.rowLength, 1.0f);
    return field(Source{row + interior.begin, s.rowLength, s.planeStride}, outRow + interior.begin,
                 std::int64_t{interior.end} - interior.begin);
}

template <class Where>
void Regularize(const DFT3D& s, float* out, const float* estimate, float lambda) {
    Where::For(RowsOfVolume(s), [=](std::int64_t r) {
        const InteriorColumns interior = PlaneTestedInterior(s, r / s.rows, r % s.rows);
        WriteRow(s, r, out, estimate, interior, [=](const Source& source, float* field, std::int64_t n) {
            DampClampedRow(source, lambda, field, n);
        });
    });
}

// u  lambda * L, and over the sweep its least and greatest value
//
// The extremes include 0 and take no NaN. 0 changes neither the test nor the greater magnitude, since the
// test asks for a value beyond 0.11 on one side.
//
// The second sweep is always the last:
//   greatest |u| finite       it is above 0.11, so |lambda| is at least 0.11 / 3.4e38, where floats still
//                             keep four digits; the new lambda brings every u within 0.1 of 0, to rounding
//   some u infinite           a finite lambda becomes 0, and u is 0, or NaN where L is infinite; an infinite
//                             lambda becomes NaN, and so does every u
//   every u 0 or NaN          already the first sweep passes
// Where u is NaN the field is NaN.
template <class Where>
void RegularizeUntilStable(const DFT3D& s, float* out, const float* estimate, float& lambda) {
    for (;;) {
        const Extremes u = Where::ExtremesOf(RowsOfVolume(s), [=, weight = lambda](std::int64_t r) {
            const InteriorColumns interior = OwnInterior(s, r / s.rows, r % s.rows);
            return WriteRow(s, r, out, estimate, interior,
                            [=](const Source& source, float* field, std::int64_t n) {
                                return DampRow(source, weight, field, n);
                            });
        });
        if (!(u.least < -kStable || u.greatest > kStable)) return;
        lambda = (lambda * kClamp) / std::max(std::fabs(u.least), std::fabs(u.greatest));
    }
}

template <class Where>
void RegularizeTotalVariation(const DFT3D& s, float* out, const float* estimate, float lambda) {
    Where::For(RowsOfVolume(s), [=](std::int64_t r) {
        const InteriorColumns interior = PlaneTestedInterior(s, r / s.rows, r % s.rows);
        WriteRow(s, r, out, estimate, interior, [=](const Source& source, float* field, std::int64_t n) {
            DampByDirection(source, lambda, field, n);
        });
    });
}

}  // namespace

void CRy3DDeconvolutionLow::GetRegularization(const DFT3D* s, float* pfOut, float* pf, float fLambda) {
    Regularize<CallingThread>(*s, pfOut, pf, fLambda);
}

void CRy3DDeconvolutionLow::GetRegularizationIterative(const DFT3D* s, float* pfOut, float* pf,
                                                       float& fLambda) {
    RegularizeUntilStable<CallingThread>(*s, pfOut, pf, fLambda);
}

void CRy3DDeconvolutionLow::GetRegularizationRLTV(DFT3D* s, float* pfOut, float* pf, float fLambda) {
    RegularizeTotalVariation<CallingThread>(*s, pfOut, pf, fLambda);
}

namespace gnr::detail {

void RegularizeParallel(const DFT3D& s, float* out, const float* estimate, float lambda) {
    Regularize<AllThreads>(s, out, estimate, lambda);
}

void RegularizeUntilStableParallel(const DFT3D& s, float* out, const float* estimate, float& lambda) {
    RegularizeUntilStable<AllThreads>(s, out, estimate, lambda);
}

void RegularizeTotalVariationParallel(const DFT3D& s, float* out, const float* estimate, float lambda) {
    RegularizeTotalVariation<AllThreads>(s, out, estimate, lambda);
}

}  // namespace gnr::detail
