// SPDX-License-Identifier: MIT

// Damping fields of the Richardson-Lucy family: Tikhonov-Miller by a Laplacian, total variation by a
// gradient. Each field is 1 outside an interior and 1 / (1 + term) inside. Rows are independent of each
// other, so each field is one sweep over the rows of the volume, on the calling thread or on all threads.

#include "kernels/regularization.h"

#include <processor/fetch.h>
#include <processor/vector_clones.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "detail/extremes.h"
#include "detail/float_bounds.h"
#include "detail/lanes8.h"
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

/// u[i] := lambda L; this order of sums is part of the result.
GNR_VECTOR_CLONES
void LaplacianTerms(const Source& source, float lambda, float* u, std::int64_t n) {
    const auto [p, rowLength, planeStride] = source;
    for (std::int64_t i = 0; i < n; ++i) {
        const float sixNeighbours =
            ((((p[i - planeStride] + p[i + planeStride]) + p[i - rowLength]) + p[i + rowLength]) + p[i - 1]) +
            p[i + 1];
        u[i] = (sixNeighbours - p[i] * 6.0f) * lambda;
    }
}

/// Extremes of n terms, eight side by side.
GNR_VECTOR_CLONES
Extremes ExtremesOfRow(const float* u, std::int64_t n) {
    constexpr std::int64_t width = 8;
    Floats8 least{};
    Floats8 greatest{};
    std::int64_t i = 0;
    for (; i + width <= n; i += width) {
        Floats8 term;
        std::memcpy(&term, u + i, sizeof term);
        least = term < least ? term : least;
        greatest = term > greatest ? term : greatest;
    }
    Extremes all;
    for (int w = 0; w < width; ++w) all.Join({least[w], greatest[w]});
    for (; i < n; ++i) all.Join({u[i], u[i]});
    return all;
}

/// Terms u become their field.
GNR_VECTOR_CLONES
void DampRow(float* u, std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) u[i] = 1.0f / (u[i] + 1.0f);
}

/// The same of terms that are clamped first; a NaN counts as the upper bound.
GNR_VECTOR_CLONES
void DampClampedRow(float* u, std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) {
        const float below = u[i] < kClamp ? u[i] : kClamp;
        const float within = below > -kClamp ? below : -kClamp;
        u[i] = 1.0f / (within + 1.0f);
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
            LaplacianTerms(source, lambda, field, n);
            DampClampedRow(field, n);
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
                                LaplacianTerms(source, weight, field, n);
                                const Extremes extremes = ExtremesOfRow(field, n);
                                DampRow(field, n);
                                return extremes;
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
