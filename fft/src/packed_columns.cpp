// SPDX-License-Identifier: MIT
#include "packed_columns.h"

#include <algorithm>

#include "strided_rows.h"

namespace gnr::fft {

namespace {

/// Rows that are turned into columns together, so that each line of the cache is met once.
constexpr std::ptrdiff_t kRowsTurned = 8;

/// The joined column is no ordinary one.
std::ptrdiff_t FirstOrdinary(const ColumnBlock& block) {
    return block.first == 0 ? 1 : 0;
}

/// visit(v, c) for all rows v and all ordinary columns c of the block, down a few rows of each column in turn.
template <class Visit>
void VisitTurned(const PackedSides& s, const ColumnBlock& block, Visit visit) {
    const std::ptrdiff_t firstOrdinary = FirstOrdinary(block);
    for (std::ptrdiff_t row = 0; row < s.height; row += kRowsTurned) {
        const std::ptrdiff_t behind = std::min(row + kRowsTurned, s.height);
        for (std::ptrdiff_t c = firstOrdinary; c < block.count; ++c) {
            for (std::ptrdiff_t v = row; v < behind; ++v) visit(v, c);
        }
    }
}

}  // namespace

void TakeFromSpectrum(const PackedSides& s, const fftwf_complex* spectrum, const ColumnBlock& block) {
    const std::ptrdiff_t from = s.SpectrumStride();
    const std::ptrdiff_t to = s.BlockStride();
    VisitTurned(s, block, [=](std::ptrdiff_t v, std::ptrdiff_t c) {
        const fftwf_complex& value = spectrum[v * from + block.first + c];
        block.values[c * to + v][0] = value[0];
        block.values[c * to + v][1] = value[1];
    });
    if (block.first != 0) return;
    for (std::ptrdiff_t v = 0; v < s.height; ++v) {
        block.values[v][0] = spectrum[v * from][0];
        block.values[v][1] = s.width > 1 ? spectrum[v * from + s.width / 2][0] : 0.0f;
    }
}

void PutToSpectrum(const PackedSides& s, const ColumnBlock& block, fftwf_complex* spectrum) {
    const std::ptrdiff_t from = s.BlockStride();
    const std::ptrdiff_t to = s.SpectrumStride();
    VisitTurned(s, block, [=](std::ptrdiff_t v, std::ptrdiff_t c) {
        const fftwf_complex& value = block.values[c * from + v];
        spectrum[v * to + block.first + c][0] = value[0];
        spectrum[v * to + block.first + c][1] = value[1];
    });
    if (block.first != 0) return;
    for (std::ptrdiff_t v = 0; v < s.height; ++v) {
        fftwf_complex* const row = spectrum + v * to;
        row[0][0] = block.values[v][0];
        row[0][1] = 0.0f;
        if (s.width == 1) continue;
        row[s.width / 2][0] = block.values[v][1];
        row[s.width / 2][1] = 0.0f;
    }
}

// Z, Y  the joined column at v and at H - v
void PutToFrame(const PackedSides& s, const ColumnBlock& block, const PackedFrame& frame, float scale) {
    const std::ptrdiff_t from = s.BlockStride();
    for (std::ptrdiff_t v = 0; v < s.height; ++v) {
        // Along the row: rows of a frame meet in the same places of the cache, so each is written at once.
        float* const to = Row(frame.first, frame.step, v) + (2 * block.first - 1);
        for (std::ptrdiff_t c = FirstOrdinary(block); c < block.count; ++c) {
            const fftwf_complex& value = block.values[c * from + v];
            to[2 * c] = value[0] * scale;
            to[2 * c + 1] = value[1] * scale;
        }
    }
    if (block.first != 0) return;

    const auto put = [&](std::ptrdiff_t row, float first, float last) {
        float* const to = Row(frame.first, frame.step, row);
        to[0] = first * scale;
        if (s.width > 1) to[s.width - 1] = last * scale;
    };
    const fftwf_complex* const joined = block.values;
    put(0, joined[0][0], joined[0][1]);
    for (std::ptrdiff_t v = 1; v < s.height / 2; ++v) {
        const fftwf_complex& Z = joined[v];
        const fftwf_complex& Y = joined[s.height - v];
        put(2 * v - 1, 0.5f * (Z[0] + Y[0]), 0.5f * (Z[1] + Y[1]));
        put(2 * v, 0.5f * (Z[1] - Y[1]), 0.5f * (Y[0] - Z[0]));
    }
    if (s.height > 1) put(s.height - 1, joined[s.height / 2][0], joined[s.height / 2][1]);
}

// F, L  the frequency v of the first and of the last column
void TakeFromFrame(const PackedSides& s, const PackedFrame& frame, const ColumnBlock& block, float scale) {
    const std::ptrdiff_t to = s.BlockStride();
    VisitTurned(s, block, [=](std::ptrdiff_t v, std::ptrdiff_t c) {
        const float* const from = Row(frame.first, frame.step, v) + (2 * (block.first + c) - 1);
        block.values[c * to + v][0] = from[0] * scale;
        block.values[c * to + v][1] = from[1] * scale;
    });
    if (block.first != 0) return;

    const auto first = [&](std::ptrdiff_t row) { return Row(frame.first, frame.step, row)[0] * scale; };
    const auto last = [&](std::ptrdiff_t row) {
        return s.width > 1 ? Row(frame.first, frame.step, row)[s.width - 1] * scale : 0.0f;
    };
    const auto put = [&](std::ptrdiff_t v, float re, float im) {
        block.values[v][0] = re;
        block.values[v][1] = im;
    };
    put(0, first(0), last(0));
    for (std::ptrdiff_t v = 1; v < s.height / 2; ++v) {
        const float F[2] = {first(2 * v - 1), first(2 * v)};
        const float L[2] = {last(2 * v - 1), last(2 * v)};
        put(v, F[0] - L[1], F[1] + L[0]);
        put(s.height - v, F[0] + L[1], L[0] - F[1]);
    }
    if (s.height > 1) put(s.height / 2, first(s.height - 1), last(s.height - 1));
}

}  // namespace gnr::fft
