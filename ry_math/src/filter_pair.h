// SPDX-License-Identifier: MIT
#pragma once

// The arithmetic of all transforms: two weighted sums of the same few rows, sample by sample. Filtering and
// decimation along an axis, and the inverse, are such sums; only the choice of the rows differs.

#include <array>
#include <cstddef>
#include <cstring>

namespace gnr::detail {

inline constexpr std::size_t kMaxTaps = 64;
/// Taps of the order-4 pair, for which the sums are unrolled.
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

/// One register's worth of samples, loaded and stored without alignment.
template <class T>
struct SampleGroup {
    using Register [[gnu::vector_size(16)]] = T;
    static constexpr std::size_t kCount = sizeof(Register) / sizeof(T);

    static Register Load(const T* p) {
        Register r;
        std::memcpy(&r, p, sizeof r);
        return r;
    }
    static void Store(Register r, T* p) { std::memcpy(p, &r, sizeof r); }
};

/// WeightedSums for samples i to i + Groups registers; Taps 0 stands for pair.taps.
template <std::size_t Taps, std::size_t Groups, class T>
inline void WeightedSumsAt(const T* const* rows, const FilterPair<T>& pair, T* first, T* second,
                           std::size_t i) {
    using Group = SampleGroup<T>;
    using Register = typename Group::Register;
    const std::size_t taps = Taps != 0 ? Taps : pair.taps;
    std::array<Register, Groups> sum1, sum2;
    for (std::size_t g = 0; g < Groups; ++g) {
        const Register x = Group::Load(rows[0] + i + g * Group::kCount);
        sum1[g] = x * pair.first[0];
        sum2[g] = x * pair.second[0];
    }
#pragma GCC unroll 8
    for (std::size_t n = 1; n < taps; ++n) {
        for (std::size_t g = 0; g < Groups; ++g) {
            const Register x = Group::Load(rows[n] + i + g * Group::kCount);
            sum1[g] += x * pair.first[n];
            sum2[g] += x * pair.second[n];
        }
    }
    for (std::size_t g = 0; g < Groups; ++g) {
        Group::Store(sum1[g], first + i + g * Group::kCount);
        Group::Store(sum2[g], second + i + g * Group::kCount);
    }
}

template <std::size_t Taps, class T>
void WeightedSumsOf(const T* const* rows, const FilterPair<T>& pair, T* first, T* second, std::size_t count) {
    constexpr std::size_t kCount = SampleGroup<T>::kCount;
    const std::size_t taps = Taps != 0 ? Taps : pair.taps;
    std::size_t i = 0;
    for (; i + 2 * kCount <= count; i += 2 * kCount) WeightedSumsAt<Taps, 2>(rows, pair, first, second, i);
    for (; i + kCount <= count; i += kCount) WeightedSumsAt<Taps, 1>(rows, pair, first, second, i);
    for (; i < count; ++i) {
        T sum1 = rows[0][i] * pair.first[0];
        T sum2 = rows[0][i] * pair.second[0];
        for (std::size_t n = 1; n < taps; ++n) {
            sum1 += rows[n][i] * pair.first[n];
            sum2 += rows[n][i] * pair.second[n];
        }
        first[i] = sum1;
        second[i] = sum2;
    }
}

/// first(i) = sum over n of pair.first[n] rows[n](i), and second likewise, i = 0 .. count - 1, added in the
/// order of n. The outputs overlap no row.
template <class T>
void WeightedSums(const T* const* rows, const FilterPair<T>& pair, T* first, T* second, std::size_t count) {
    if (pair.taps == kUsualTaps) {
        WeightedSumsOf<kUsualTaps>(rows, pair, first, second, count);
    } else {
        WeightedSumsOf<0>(rows, pair, first, second, count);
    }
}

}  // namespace gnr::detail
