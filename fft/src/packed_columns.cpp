// SPDX-License-Identifier: MIT
#include "packed_columns.h"

#include <algorithm>

#include "complex_product.h"
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

/// The conjugate pairs of the joined column, as sums and differences of Z and Y at v and at H - v.
struct JoinedPair {
    Product first;  ///< of the first column
    Product last;   ///< of the last
};

JoinedPair Part(const fftwf_complex& Z, const fftwf_complex& Y) {
    return {{0.5f * (Z[0] + Y[0]), 0.5f * (Z[1] - Y[1])}, {0.5f * (Z[1] + Y[1]), 0.5f * (Y[0] - Z[0])}};
}

void Join(const JoinedPair& pair, fftwf_complex& Z, fftwf_complex& Y) {
    const auto [F, L] = pair;
    Z[0] = F.re - L.im;
    Z[1] = F.im + L.re;
    Y[0] = F.re + L.im;
    Y[1] = L.re - F.im;
}

/// value times by, both scales applied in turn.
template <class Times>
Product ScaledProduct(const Product& value, const Product& by, const TransferProduct& product) {
    const float re = value.re * product.forwardScale;
    const float im = value.im * product.forwardScale;
    const Product p = Times::Of(re, im, by.re, by.im);
    return {p.re * product.inverseScale, p.im * product.inverseScale};
}

/// The factor is the first operand of a product, and the second of one with the conjugate.
struct MultiplyBy {
    static Product Of(float re, float im, float byRe, float byIm) { return Multiply::Of(byRe, byIm, re, im); }
};

template <class Times>
void MultiplyOrdinary(fftwf_complex* column, const float* transfer, std::ptrdiff_t height,
                      const TransferProduct& product) {
    for (std::ptrdiff_t v = 0; v < height; ++v) {
        const Product p = ScaledProduct<Times>({column[v][0], column[v][1]},
                                               {transfer[2 * v], transfer[2 * v + 1]}, product);
        column[v][0] = p.re;
        column[v][1] = p.im;
    }
}

template <class Times>
void MultiplyJoined(fftwf_complex* joined, const float* transfer, std::ptrdiff_t height,
                    const TransferProduct& product) {
    const auto at = [&](std::ptrdiff_t v) { return Product{transfer[2 * v], transfer[2 * v + 1]}; };
    // Two values without imaginary part, of the first and of the last column.
    const auto multiplyReal = [&](std::ptrdiff_t v) {
        joined[v][0] = joined[v][0] * product.forwardScale * at(v).re * product.inverseScale;
        joined[v][1] = joined[v][1] * product.forwardScale * at(v).im * product.inverseScale;
    };
    multiplyReal(0);
    for (std::ptrdiff_t v = 1; v < height / 2; ++v) {
        const auto [F, L] = Part(joined[v], joined[height - v]);
        const JoinedPair multiplied = {ScaledProduct<Times>(F, at(v), product),
                                       ScaledProduct<Times>(L, at(height - v), product)};
        Join(multiplied, joined[v], joined[height - v]);
    }
    if (height > 1) multiplyReal(height / 2);
}

template <class Times>
void MultiplyColumns(const PackedSides& s, const ColumnBlock& block, const TransferProduct& product) {
    const float* const transfer = product.transfer + 2 * block.first * s.height;
    for (std::ptrdiff_t c = FirstOrdinary(block); c < block.count; ++c) {
        MultiplyOrdinary<Times>(block.values + c * s.BlockStride(), transfer + 2 * c * s.height, s.height,
                                product);
    }
    if (block.first == 0) MultiplyJoined<Times>(block.values, transfer, s.height, product);
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
        const auto [F, L] = Part(joined[v], joined[s.height - v]);
        put(2 * v - 1, F.re, L.re);
        put(2 * v, F.im, L.im);
    }
    if (s.height > 1) put(s.height - 1, joined[s.height / 2][0], joined[s.height / 2][1]);
}

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
        const JoinedPair pair = {{first(2 * v - 1), first(2 * v)}, {last(2 * v - 1), last(2 * v)}};
        Join(pair, block.values[v], block.values[s.height - v]);
    }
    if (s.height > 1) put(s.height / 2, first(s.height - 1), last(s.height - 1));
}

void PutToTransfer(const PackedSides& s, const ColumnBlock& block, float* transfer, float scale) {
    for (std::ptrdiff_t c = 0; c < block.count; ++c) {
        const fftwf_complex* const column = block.values + c * s.BlockStride();
        float* const to = transfer + 2 * (block.first + c) * s.height;
        for (std::ptrdiff_t v = 0; v < s.height; ++v) {
            to[2 * v] = column[v][0] * scale;
            to[2 * v + 1] = column[v][1] * scale;
        }
    }
    if (block.first != 0) return;
    const auto put = [&](std::ptrdiff_t v, const Product& value) {
        transfer[2 * v] = value.re * scale;
        transfer[2 * v + 1] = value.im * scale;
    };
    for (std::ptrdiff_t v = 1; v < s.height / 2; ++v) {
        const auto [F, L] = Part(block.values[v], block.values[s.height - v]);
        put(v, F);
        put(s.height - v, L);
    }
}

void MultiplyBlock(const PackedSides& s, const ColumnBlock& block, const TransferProduct& product) {
    if (product.conjugate) {
        MultiplyColumns<MultiplyConjugate>(s, block, product);
    } else {
        MultiplyColumns<MultiplyBy>(s, block, product);
    }
}

}  // namespace gnr::fft
