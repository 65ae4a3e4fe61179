// SPDX-License-Identifier: MIT
#include "cores/landweber_step.h"

#include <algorithm>

#include "cores/compared_sweep.h"
#include "detail/fetch_ahead.h"

namespace gnr::detail {

namespace {

/// Asks for what the next row of the volume takes from the packed one, if there is such a row.
void FetchRowBehind(const DFT3D& s, std::int64_t row, const ShiftedColumns& from) {
    if (row + 1 < RowsOfVolume(s)) {
        Fetch(from.packed, ShiftedRow(s, from.shift, row + 1), ImageColumns(s));
    }
}

/// A row of the next point goes to its transform.
void PutCopy(const Transfer& H, const DFT3D& s, float* samples, const float* point, float* next,
             std::int64_t row) {
    std::copy_n(point, s.rowLength, samples);
    H.Put(samples, next, row);
}

}  // namespace

void LandweberGradient(const Transfer& H, const DFT3D& s, float* r, const float* g) {
    H.Multiply(r, TransferUse::kPlain);
    H.Sweep(r, r, EachShare{}, [=, &H, &s](const RowChunk& rows, auto*) {
        rows.EachRow([=, &H, &s](std::int64_t row, float* samples) {
            FetchRowBehind(s, row, g);
            H.Take(r, row, samples);
            SubtractRowFrom(s, samples, g + row * s.rowLength);
            H.Put(samples, r, row);
        });
    });
    H.Multiply(r, TransferUse::kConjugate);
}

void PackStep(const Transfer& H, const DFT3D& s, const ShiftedColumns& packed, const float* y, float* r,
              float length) {
    H.Sweep(r, nullptr, EachShare{}, [=, &H, &s](const RowChunk& rows, auto*) {
        rows.EachRow([=, &H, &s](std::int64_t row, float* samples) {
            FetchRowBehind(s, row, y);
            H.Take(r, row, samples);
            PackStepRow(s, packed, row, y + row * s.rowLength, samples, length);
        });
    });
}

double FinishStep(const Transfer& H, const DFT3D& s, float* x, float* y, float* r, const LandweberStep& step,
                  const Comparison* comparison) {
    float* const next = step.followed ? r : nullptr;
    return SweepAndCompare(H, s, r, next, y, comparison, [=, &H, &s](const RowChunk& rows) {
        rows.EachRow([=, &H, &s](std::int64_t row, float* samples) {
            FetchRowBehind(s, row, x, y);
            float* const point = y + row * s.rowLength;
            H.Take(r, row, samples);
            StepRow(s, point, samples, step.length);
            FinishRow(s, x + row * s.rowLength, point, step);
            if (next != nullptr) PutCopy(H, s, samples, point, next, row);
        });
    });
}

double FinishStep(const Transfer& H, const DFT3D& s, float* x, float* y, float* r, const LandweberStep& step,
                  const ShiftedColumns& packed, const Comparison* comparison) {
    float* const next = step.followed ? r : nullptr;
    return SweepAndCompare(H, s, nullptr, next, y, comparison, [=, &H, &s](const RowChunk& rows) {
        rows.EachRow([=, &H, &s](std::int64_t row, float* samples) {
            FetchRowBehind(s, row, x, y);
            FetchRowBehind(s, row, packed);
            float* const point = y + row * s.rowLength;
            UnpackStepRow(s, packed, row, point);
            FinishRow(s, x + row * s.rowLength, point, step);
            if (next != nullptr) PutCopy(H, s, samples, point, next, row);
        });
    });
}

}  // namespace gnr::detail
