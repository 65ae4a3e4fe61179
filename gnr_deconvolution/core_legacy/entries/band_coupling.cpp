// SPDX-License-Identifier: MIT
#include "entries/band_coupling.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "cores/coupling_table.h"
#include "detail/parallel.h"
#include "entries/scratch_volumes.h"
#include "entries/wavelet_set_shape.h"

namespace gnr::detail {

namespace {

using Low = CRy3DDeconvolutionLow;

using Couplings = CouplingTable<kBands * kLevelSlots>;

DFT3D GeometryOfLevel(const SWaveletSet& set, unsigned l) {
    return MakeGeometry(static_cast<std::int32_t>(set.uiX >> (l + 1)),
                        static_cast<std::int32_t>(set.uiY >> (l + 1)),
                        static_cast<std::int32_t>(set.uiZ >> (l + 1)));
}

/// Length of the walk over the half spectrum.
// deliberate: rows are not told apart, so that for even sides the last pairs stay unseen
std::int64_t PairsOfWalk(const DFT3D& s) {
    return RowsOfVolume(s) * ((ImageColumns(s) - 1) / 2 + 1);
}

/// The band of a level, repeated periodically over a volume at least as large; no padding is left undefined.
void Tile(const DFT3D& s, float* volume, const DFT3D& small, const float* band) {
    const std::int64_t columns = ImageColumns(small);
    ParallelRows(s, volume, [=, &s](float* row, std::int64_t r) {
        const std::int64_t plane = r / s.rows % small.planes;
        const std::int64_t source = plane * small.rows + r % s.rows % small.rows;
        for (std::int64_t i = 0; i < ImageColumns(s); ++i) row[i] = band[source * columns + i % columns];
        std::fill_n(row + ImageColumns(s), kRowPadding, 0.0f);
    });
}

/// |A|^2 along the walk. Pairs that no frequency stands in, between the planes of an odd width, count as 0.
void PowerAlongWalk(const DFT3D& s, const float* spectrum, float* power) {
    const std::int64_t planePairs = s.planeStride / 2;
    const std::int64_t framedPairs = std::int64_t{s.rowLength / 2} * s.rows;
    ParallelFor(PairsOfWalk(s), [=](std::int64_t n) {
        const float re = spectrum[2 * n];
        const float im = spectrum[2 * n + 1];
        power[n] = n % planePairs < framedPairs ? re * re + im * im : 0.0f;
    });
}

float Coupling(const float* a, const float* c, std::int64_t pairs) {
    Lanes4 largest(0.0f);
    EachGroup<CallingThread>(pairs, [&largest, a, c](std::int64_t n, auto group) {
        largest = Max(group.Load(a + n) * group.Load(c + n), largest);
    });
    return std::sqrt(GreatestLane(largest));
}

/// Couplings of the bands of level m with those of this and all deeper levels: all of these at the size of
/// level m, each transformed once.
void CoupleLevel(const SWaveletSet& psf, unsigned m, float* const (&room)[2], Couplings& table) {
    const DFT3D s = GeometryOfLevel(psf, m);
    const ScratchVolume tiled(Low::KERNEL3D_Create(&s));
    if (tiled == nullptr) return;

    // A level's bands have an eighth of the volume, their powers along the walk half of that: 16 fit a block.
    const std::int64_t pairs = PairsOfWalk(s);
    const auto powerOf = [&](unsigned band) {
        const unsigned n = band - m * kBands;
        return room[n / 16] + n % 16 * pairs;
    };
    const unsigned bands = psf.uiLevels * kBands;
    for (unsigned band = m * kBands; band < bands; ++band) {
        const unsigned l = band / kBands;
        Tile(s, tiled.get(), GeometryOfLevel(psf, l), psf.apfBands[band % kBands][l]);
        Low::DFT3D_Transform(&s, tiled.get());
        PowerAlongWalk(s, tiled.get(), powerOf(band));
    }
    for (unsigned row = m * kBands; row < (m + 1) * kBands; ++row) {
        ParallelFor(bands - row, [&, row](std::int64_t n) {
            const auto column = row + static_cast<unsigned>(n);
            table.Set(row, column, Coupling(powerOf(row), powerOf(column), pairs));
        });
    }
}

}  // namespace

void StepDivisors(const SWaveletSet& psf, float* const (&room)[2], double (&divisors)[8][5]) {
    Couplings table;
    for (unsigned m = 0; m < psf.uiLevels; ++m) CoupleLevel(psf, m, room, table);
    ForEachBand(ShapeOf(psf), [&](unsigned b, unsigned l, std::int64_t) {
        divisors[b][l] = table.Divisor(l * kBands + b);
    });
}

}  // namespace gnr::detail
