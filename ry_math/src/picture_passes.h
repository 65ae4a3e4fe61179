// SPDX-License-Identifier: MIT
#pragma once

// The transform of a picture: strips of rows, each filtered along y and x while it is in the cache.

#include <algorithm>
#include <array>
#include <cstddef>

#include "filter_pair.h"
#include "parallel.h"
#include "row_pair.h"

namespace gnr::detail {

/// Sizes of a level by those of its bands, and its division into strips of rows.
struct PictureGeometry {
    static constexpr std::size_t kStripRows = 16;

    std::size_t half;      ///< samples of a band row; a row of the picture has twice as many
    std::size_t bandRows;  ///< rows of a band

    std::size_t RowLength() const { return 2 * half; }
    std::size_t Tasks() const { return (bandRows + kStripRows - 1) / kStripRows; }
    std::size_t WorkSize() const { return 4 * half; }
    /// Samples for all threads.
    std::size_t ScratchSize() const { return (WorthThreads() ? MostThreads() : 1) * WorkSize(); }
    /// Below this many samples a fork costs as much as it saves.
    static constexpr std::size_t kForkSamples = 16384;
    bool WorthThreads() const { return 4 * half * bandRows >= kForkSamples; }
};

/// makeRow(row, work) for each band row, in parallel over strips; work: ScratchSize() samples.
template <class T, class MakeRow>
void ForEachBandRow(const PictureGeometry& s, T* work, MakeRow makeRow) {
    ParallelRanges(s.Tasks(), s.WorthThreads(), [&](std::size_t first, std::size_t last) {
        T* const ownWork = work + (s.WorthThreads() ? ThisThread() : 0) * s.WorkSize();
        const std::size_t end = std::min(s.bandRows, last * PictureGeometry::kStripRows);
        for (std::size_t row = first * PictureGeometry::kStripRows; row < end; ++row) {
            makeRow(row, ownWork);
        }
    });
}

template <class T>
void AnalyzePicture(const PictureGeometry& s, const FilterPair<T>& analysis, const T* picture,
                    const std::array<T*, kPlaneBands>& bands, T* work) {
    ForEachBandRow(s, work, [&](std::size_t row, T* rowWork) {
        std::array<const T*, kMaxTaps> rows;
        for (std::size_t n = 0; n < analysis.taps; ++n) {
            rows[n] = picture + (2 * row + n) % (2 * s.bandRows) * s.RowLength();
        }
        std::array<T*, kPlaneBands> bandRows;
        for (std::size_t b = 0; b < kPlaneBands; ++b) bandRows[b] = bands[b] + row * s.half;
        AnalyzeRowPair(rows.data(), s.half, analysis, rowWork, bandRows);
    });
}

template <class T>
void SynthesizePicture(const PictureGeometry& s, const FilterPair<T>& synthesis,
                       const std::array<const T*, kPlaneBands>& bands, T* picture, T* work) {
    // Whole periods added to a row number, so that the rows above it have no negative number.
    const std::size_t ahead = synthesis.taps * s.bandRows;
    ForEachBandRow(s, work, [&](std::size_t row, T* rowWork) {
        std::array<const T*, kMaxTaps> rowsHighX, rowsLowX;
        for (std::size_t n = 0; n < synthesis.taps; ++n) {
            const std::size_t place = (ahead + row - n / 2) % s.bandRows * s.half;
            const std::size_t lowY = n % 2 == 0 ? 2 : 0;
            rowsHighX[n] = bands[lowY] + place;
            rowsLowX[n] = bands[lowY + 1] + place;
        }
        T* const even = picture + 2 * row * s.RowLength();
        SynthesizeRowPair(rowsHighX.data(), rowsLowX.data(), s.half, synthesis, rowWork, even);
    });
}

}  // namespace gnr::detail
