// SPDX-License-Identifier: MIT
#include "packed_layout.h"

#include "parallel.h"
#include "strided_rows.h"

namespace gnr::fft {

namespace {

/// Frequencies of one column u whose F(u, v) and F(u, H - v) are conjugates, u being 0 or W / 2, stand in one
/// real column.
void PackColumn(const PackedPlaces& p, std::ptrdiff_t u, std::ptrdiff_t column, float scale) {
    const std::ptrdiff_t columns = p.width / 2 + 1;
    const auto put = [&](std::ptrdiff_t j, float v) { Row(p.packed, p.step, j)[column] = v * scale; };
    put(0, p.spectrum[u][0]);
    for (std::ptrdiff_t v = 1; v < p.height / 2; ++v) {
        put(2 * v - 1, p.spectrum[v * columns + u][0]);
        put(2 * v, p.spectrum[v * columns + u][1]);
    }
    if (p.height > 1) put(p.height - 1, p.spectrum[p.height / 2 * columns + u][0]);
}

void UnpackColumn(const PackedPlaces& p, std::ptrdiff_t u, std::ptrdiff_t column, float scale) {
    const std::ptrdiff_t columns = p.width / 2 + 1;
    const auto get = [&](std::ptrdiff_t j) { return Row(p.packed, p.step, j)[column] * scale; };
    const auto put = [&](std::ptrdiff_t v, float re, float im) {
        p.spectrum[v * columns + u][0] = re;
        p.spectrum[v * columns + u][1] = im;
    };
    put(0, get(0), 0.0f);
    for (std::ptrdiff_t v = 1; v < p.height / 2; ++v) {
        const float re = get(2 * v - 1);
        const float im = get(2 * v);
        put(v, re, im);
        put(p.height - v, re, -im);
    }
    if (p.height > 1) put(p.height / 2, get(p.height - 1), 0.0f);
}

}  // namespace

void Pack(const PackedPlaces& p, float scale) {
    ParallelFor(p.height, [&](std::ptrdiff_t v) {
        const float* const from = p.spectrum[v * (p.width / 2 + 1)];
        float* const to = Row(p.packed, p.step, v);
        for (std::ptrdiff_t i = 1; i + 1 < p.width; ++i) to[i] = from[i + 1] * scale;
    });
    PackColumn(p, 0, 0, scale);
    if (p.width > 1) PackColumn(p, p.width / 2, p.width - 1, scale);
}

void Unpack(const PackedPlaces& p, float scale) {
    ParallelFor(p.height, [&](std::ptrdiff_t v) {
        const float* const from = Row(p.packed, p.step, v);
        float* const to = p.spectrum[v * (p.width / 2 + 1)];
        for (std::ptrdiff_t i = 1; i + 1 < p.width; ++i) to[i + 1] = from[i] * scale;
    });
    UnpackColumn(p, 0, 0, scale);
    if (p.width > 1) UnpackColumn(p, p.width / 2, p.width - 1, scale);
}

}  // namespace gnr::fft
