// SPDX-License-Identifier: MIT
#pragma once

// The transform of a plane along y and x, a pair of rows at a time: what pictures do with their rows, volumes
// do with the rows that the transform along z has made.

#include <array>
#include <cstddef>

#include "filter_pair.h"
#include "line_pass.h"
#include "sample_loops.h"

namespace gnr::detail {

/// Bands of a plane, by number: bit 0 set where low-pass along x, bit 1 along y.
inline constexpr std::size_t kPlaneBands = 4;

/// One row of each plane band, of `half` samples, from the `taps` rows of 2 * half samples that bear on it.
/// work: 4 * half samples.
template <class T>
void AnalyzeRowPair(const T* const* rows, std::size_t half, const FilterPair<T>& analysis, T* work,
                    const std::array<T*, kPlaneBands>& bandRows) {
    T* const lowY = work;
    T* const highY = work + 2 * half;
    WeightedSums(rows, analysis, lowY, highY, 2 * half);
    AnalyzeLine(highY, half, analysis, bandRows[1], bandRows[0]);
    AnalyzeLine(lowY, half, analysis, bandRows[3], bandRows[2]);
}

/// Two neighbouring rows of 2 * half samples, `even` and the one below it, from the band rows that bear on
/// them: low along y, high along y, in turn, from the nearest row up; rowsHighX of the bands 2 and 0,
/// rowsLowX of 3 and 1. work: 4 * half samples.
template <class T>
void SynthesizeRowPair(const T* const* rowsHighX, const T* const* rowsLowX, std::size_t half,
                       const FilterPair<T>& synthesis, T* work, T* even) {
    T* const evenHigh = work;
    T* const oddHigh = work + half;
    T* const evenLow = work + 2 * half;
    T* const oddLow = work + 3 * half;
    WeightedSums(rowsHighX, synthesis, evenHigh, oddHigh, half);
    WeightedSums(rowsLowX, synthesis, evenLow, oddLow, half);
    SynthesizeLine(evenLow, evenHigh, half, synthesis, even);
    SynthesizeLine(oddLow, oddHigh, half, synthesis, even + 2 * half);
}

}  // namespace gnr::detail
