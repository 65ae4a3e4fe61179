// SPDX-License-Identifier: MIT

// Damping fields of the Richardson-Lucy family: Tikhonov-Miller by a Laplacian, total variation by a
// gradient. Each field is 1 outside an interior and 1 / (1 + term) inside. Rows are independent of each
// other, so each field is one sweep over the rows of the volume, on the calling thread or on all threads.

#include "kernels/regularization.h"

#include <algorithm>
#include <cmath>

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

/// L of a group; this order of sums is part of the result.
template <class Group>
Lanes4 Laplacian(const DFT3D& s, const float* p, Group group) {
    const Lanes4 sixNeighbours =
        ((((group.Load(p - s.planeStride) + group.Load(p + s.planeStride)) + group.Load(p - s.rowLength)) +
          group.Load(p + s.rowLength)) +
         group.Load(p - 1)) +
        group.Load(p + 1);
    return sixNeighbours - group.Load(p) * Lanes4(6.0f);
}

/// Field of a term u.
Lanes4 Damping(Lanes4 u) {
    const Lanes4 one(1.0f);
    return one / (u + one);
}

/// Writes one row of a field: field(p, group) inside the interior, 1 elsewhere.
template <class Field>
void WriteRow(const DFT3D& s, std::int64_t r, float* out, const float* estimate, InteriorColumns interior,
              Field field) {
    float* const outRow = out + r * s.rowLength;
    const float* const row = estimate + r * s.rowLength;
    std::fill(outRow, outRow + interior.begin, 1.0f);
    EachGroup<CallingThread>(interior.end - interior.begin, [=](std::int64_t column, auto group) {
        const std::int64_t i = interior.begin + column;
        group.Store(outRow + i, field(row + i, group));
    });
    std::fill(outRow + interior.end, outRow + s.rowLength, 1.0f);
}

// u  lambda * L, clamped; a NaN counts as the upper bound
template <class Where>
void Regularize(const DFT3D& s, float* out, const float* estimate, float lambda) {
    Where::For(RowsOfVolume(s), [=](std::int64_t r) {
        const InteriorColumns interior = PlaneTestedInterior(s, r / s.rows, r % s.rows);
        WriteRow(s, r, out, estimate, interior, [=](const float* p, auto group) {
            const Lanes4 u = Laplacian(s, p, group) * Lanes4(lambda);
            return Damping(Max(Min(u, Lanes4(kClamp)), Lanes4(-kClamp)));
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
            LaneExtremes extremes;
            const InteriorColumns interior = OwnInterior(s, r / s.rows, r % s.rows);
            WriteRow(s, r, out, estimate, interior, [=, &extremes](const float* p, auto group) {
                const Lanes4 term = Laplacian(s, p, group) * Lanes4(weight);
                extremes.Take(term);
                return Damping(term);
            });
            return extremes.AllLanes();
        });
        if (!(u.least < -kStable || u.greatest > kStable)) return;
        lambda = (lambda * kClamp) / std::max(std::fabs(u.least), std::fabs(u.greatest));
    }
}

// gx, gy, gz  forward differences; m their norm
template <class Where>
void RegularizeTotalVariation(const DFT3D& s, float* out, const float* estimate, float lambda) {
    Where::For(RowsOfVolume(s), [=](std::int64_t r) {
        const InteriorColumns interior = PlaneTestedInterior(s, r / s.rows, r % s.rows);
        WriteRow(s, r, out, estimate, interior, [=](const float* p, auto group) {
            const Lanes4 one(1.0f);
            const Lanes4 sample = group.Load(p);
            const Lanes4 gx = group.Load(p + 1) - sample;
            const Lanes4 gy = group.Load(p + s.rowLength) - sample;
            const Lanes4 gz = group.Load(p + s.planeStride) - sample;
            const Lanes4 m = Sqrt((gy * gy + gx * gx) + gz * gz);
            const Lanes4 field = one / (one - (((gy + gx) + gz) / m) * Lanes4(lambda));
            return Select(m > Lanes4(kLeastGradient), field, one);
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
