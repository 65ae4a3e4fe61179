// SPDX-License-Identifier: MIT
#pragma once

// The arithmetic of all transforms: two weighted sums of the same few rows, sample by sample (WeightedSums in
// sample_loops.h). Filtering and decimation along an axis, and the inverse, are such sums; only the choice of the
// rows differs.

#include <array>
#include <cstddef>

namespace gnr::detail {

inline constexpr std::size_t kMaxTaps = 64;
/// Taps of the order-4 pair, for which the sums have a loop of their own.
inline constexpr std::size_t kUsualTaps = 8;

/// Weights of the two sums, `taps` of them.
template <class T>
struct FilterPair {
    std::array<T, kMaxTaps> first;
    std::array<T, kMaxTaps> second;
    std::size_t taps;
};

inline bool IsFilterLength(unsigned length) {
    return length >= 2 && length <= kMaxTaps && length % 2 == 0;
}

/// Over the samples x(2k), x(2k + 1), ...: the first sum gives low(k), the second high(k).
template <class T>
FilterPair<T> AnalysisPair(const T* mother, const T* father, std::size_t taps) {
    FilterPair<T> pair{{}, {}, taps};
    for (std::size_t n = 0; n < taps; ++n) {
        pair.first[n] = father[n];
        pair.second[n] = mother[n];
    }
    return pair;
}

/// Over low(k), high(k), low(k - 1), high(k - 1), ...: the first sum gives x(2k), the second x(2k + 1).
template <class T>
FilterPair<T> SynthesisPair(const T* mother, const T* father, std::size_t taps) {
    FilterPair<T> pair{{}, {}, taps};
    for (std::size_t n = 0; n < taps; n += 2) {
        pair.first[n] = father[n];
        pair.first[n + 1] = mother[n];
        pair.second[n] = father[n + 1];
        pair.second[n + 1] = mother[n + 1];
    }
    return pair;
}

}  // namespace gnr::detail
