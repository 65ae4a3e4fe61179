// SPDX-License-Identifier: MIT
#pragma once

// The loops over samples in which the transforms spend their time, for the vector widths of the processor. In
// either precision; no output overlaps an input or another output.

#include <cstddef>

#include "filter_pair.h"

namespace gnr::detail {

/// WeightedSums of a pair of kUsualTaps taps.
void UsualWeightedSums(const float* const* rows, const FilterPair<float>& pair, float* first, float* second,
                       std::size_t count);
void UsualWeightedSums(const double* const* rows, const FilterPair<double>& pair, double* first,
                       double* second, std::size_t count);

/// The even and the odd samples of a line of 2 * count samples.
void PartPairs(const float* line, std::size_t count, float* even, float* odd);
void PartPairs(const double* line, std::size_t count, double* even, double* odd);

/// And back.
void JoinPairs(const float* even, const float* odd, std::size_t count, float* line);
void JoinPairs(const double* even, const double* odd, std::size_t count, double* line);

/// first(i) = sum over n of pair.first[n] rows[n](i), and second likewise, i = 0 .. count - 1, added in the
/// order of n.
template <class T>
void WeightedSums(const T* const* rows, const FilterPair<T>& pair, T* first, T* second, std::size_t count) {
    if (pair.taps == kUsualTaps) return UsualWeightedSums(rows, pair, first, second, count);
    for (std::size_t i = 0; i < count; ++i) {
        first[i] = rows[0][i] * pair.first[0];
        second[i] = rows[0][i] * pair.second[0];
    }
    for (std::size_t n = 1; n < pair.taps; ++n) {
        const T* const row = rows[n];
        for (std::size_t i = 0; i < count; ++i) {
            first[i] += row[i] * pair.first[n];
            second[i] += row[i] * pair.second[n];
        }
    }
}

}  // namespace gnr::detail
