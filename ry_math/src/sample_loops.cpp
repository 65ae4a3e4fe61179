// SPDX-License-Identifier: MIT
#include "sample_loops.h"

#include <processor/vector_clones.h>

namespace gnr::detail {

namespace {

// p  samples of the eight rows at one place     f  weights
template <class T>
inline T SumOfEight(const T (&p)[kUsualTaps], const T (&f)[kUsualTaps]) {
    return p[0] * f[0] + p[1] * f[1] + p[2] * f[2] + p[3] * f[3] + p[4] * f[4] + p[5] * f[5] + p[6] * f[6] +
           p[7] * f[7];
}

template <class T>
inline void SumRows(const T* const* rows, const FilterPair<T>& pair, T* __restrict first,
                    T* __restrict second, std::size_t count) {
    const T *const r0 = rows[0], *const r1 = rows[1], *const r2 = rows[2], *const r3 = rows[3],
                   *const r4 = rows[4], *const r5 = rows[5], *const r6 = rows[6], *const r7 = rows[7];
    T f[kUsualTaps];
    T g[kUsualTaps];
    for (std::size_t n = 0; n < kUsualTaps; ++n) {
        f[n] = pair.first[n];
        g[n] = pair.second[n];
    }
    for (std::size_t i = 0; i < count; ++i) {
        const T p[kUsualTaps] = {r0[i], r1[i], r2[i], r3[i], r4[i], r5[i], r6[i], r7[i]};
        first[i] = SumOfEight(p, f);
        second[i] = SumOfEight(p, g);
    }
}

template <class T>
inline void Part(const T* __restrict line, std::size_t count, T* __restrict even, T* __restrict odd) {
    for (std::size_t i = 0; i < count; ++i) {
        even[i] = line[2 * i];
        odd[i] = line[2 * i + 1];
    }
}

template <class T>
inline void Join(const T* __restrict even, const T* __restrict odd, std::size_t count, T* __restrict line) {
    for (std::size_t i = 0; i < count; ++i) {
        line[2 * i] = even[i];
        line[2 * i + 1] = odd[i];
    }
}

// Clones are no templates.

GNR_VECTOR_CLONES
void SumRowsOfFloats(const float* const* rows, const FilterPair<float>& pair, float* first, float* second,
                     std::size_t count) {
    SumRows(rows, pair, first, second, count);
}
GNR_VECTOR_CLONES
void SumRowsOfDoubles(const double* const* rows, const FilterPair<double>& pair, double* first,
                      double* second, std::size_t count) {
    SumRows(rows, pair, first, second, count);
}
GNR_VECTOR_CLONES
void PartFloats(const float* line, std::size_t count, float* even, float* odd) {
    Part(line, count, even, odd);
}
GNR_VECTOR_CLONES
void PartDoubles(const double* line, std::size_t count, double* even, double* odd) {
    Part(line, count, even, odd);
}
GNR_VECTOR_CLONES
void JoinFloats(const float* even, const float* odd, std::size_t count, float* line) {
    Join(even, odd, count, line);
}
GNR_VECTOR_CLONES
void JoinDoubles(const double* even, const double* odd, std::size_t count, double* line) {
    Join(even, odd, count, line);
}

}  // namespace

void UsualWeightedSums(const float* const* rows, const FilterPair<float>& pair, float* first, float* second,
                       std::size_t count) {
    SumRowsOfFloats(rows, pair, first, second, count);
}

void UsualWeightedSums(const double* const* rows, const FilterPair<double>& pair, double* first,
                       double* second, std::size_t count) {
    SumRowsOfDoubles(rows, pair, first, second, count);
}

void PartPairs(const float* line, std::size_t count, float* even, float* odd) {
    PartFloats(line, count, even, odd);
}

void PartPairs(const double* line, std::size_t count, double* even, double* odd) {
    PartDoubles(line, count, even, odd);
}

void JoinPairs(const float* even, const float* odd, std::size_t count, float* line) {
    JoinFloats(even, odd, count, line);
}

void JoinPairs(const double* even, const double* odd, std::size_t count, double* line) {
    JoinDoubles(even, odd, count, line);
}

}  // namespace gnr::detail
