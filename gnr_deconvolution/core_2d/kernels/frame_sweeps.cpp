// SPDX-License-Identifier: MIT
#include "kernels/frame_sweeps.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "kernels/frame_arithmetic.h"
#include "kernels/pieces.h"

namespace gnr::detail {

namespace {

/// body(row) for all rows of w samples.
template <class Body>
void ForEachRow(unsigned w, unsigned h, Body body) {
    const std::int64_t rows = std::max<std::int64_t>(kShareOfThread / std::max(w, 1u), 1);
    ForEachPiece(h, rows, [=](std::int64_t first, std::int64_t count) {
        for (std::int64_t row = first; row < first + count; ++row) body(static_cast<std::size_t>(row));
    });
}

template <class To, class From>
void CopyRows(To* to, std::size_t toStride, const From* from, std::size_t fromStride, unsigned w,
              unsigned h) {
    ForEachRow(w, h, [=](std::size_t row) {
        const From* const source = from + row * fromStride;
        std::transform(source, source + w, to + row * toStride, [](From v) { return static_cast<To>(v); });
    });
}

}  // namespace

void PutIntoCorner(float* frame, unsigned W, const double* picture, unsigned w, unsigned h) {
    CopyRows(frame, W, picture, w, w, h);
}

void PutIntoCorner(float* frame, unsigned W, const float* picture, unsigned w, unsigned h) {
    CopyRows(frame, W, picture, w, w, h);
}

void CropCorner(double* picture, unsigned w, unsigned h, const float* frame, unsigned W) {
    CopyRows(picture, w, frame, W, w, h);
}

void CopyAroundCorner(float* frame, const float* from, unsigned W, unsigned H, unsigned w, unsigned h) {
    if (w == W && h == H) return;
    ForEachRow(W, H, [=](std::size_t row) {
        const std::size_t first = row * W + (row < h ? w : 0);
        std::copy(from + first, from + (row + 1) * W, frame + first);
    });
}

void SubtractFrom(float* v, const float* y, unsigned W, unsigned H) {
    ForEachRow(W, H, [=](std::size_t row) {
        const std::size_t first = row * W;
        std::transform(y + first, y + first + W, v + first, v + first,
                       [](float a, float b) { return a - b; });
    });
}

float ImageRange(const float* v, unsigned W, unsigned H) {
    float least = v[0];
    float greatest = v[0];
    for (std::size_t n = 1; n < Samples(W, H); ++n) {
        greatest = v[n] > greatest ? v[n] : greatest;
        least = v[n] < least ? v[n] : least;
    }
    return greatest - least;
}

}  // namespace gnr::detail
