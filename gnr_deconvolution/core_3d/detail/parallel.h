// SPDX-License-Identifier: MIT
#pragma once

// All parallel loops of the families: static schedule, joined before they return, never nested. A body must
// not throw; each thread works with a copy of it. fft/ and ry_math/ lie below and have a loop of their own.

#include <omp.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "detail/extremes.h"
#include "detail/groups.h"
#include "detail/volume_geometry.h"

namespace gnr::detail {

/// body(i) for i from 0 to count - 1.
template <class Body>
void ParallelFor(std::int64_t count, Body body) {
#pragma omp parallel for schedule(static) firstprivate(body)
    for (std::int64_t i = 0; i < count; ++i) body(i);
}

/// The same with the indices dealt out to the threads in turn, for work that grows with the index.
template <class Body>
void ParallelInTurn(std::int64_t count, Body body) {
#pragma omp parallel for schedule(static, 1) firstprivate(body)
    for (std::int64_t i = 0; i < count; ++i) body(i);
}

/// Threads that the next loop has, at the most.
inline int ThreadsToCome() {
    return omp_get_max_threads();
}

/// work(i) for i from 0 to count - 1 on all threads, each followed by inTurn(i); these follow each other in
/// ascending order while others work. No work(i) begins before inTurn(i - lead) is done.
template <class Work, class InTurn>
void ParallelThenInTurn(std::int64_t count, std::int64_t lead, Work work, InTurn inTurn) {
    const auto threads = static_cast<int>(std::clamp(lead, std::int64_t{1}, std::int64_t{ThreadsToCome()}));
#pragma omp parallel for ordered schedule(static, 1) num_threads(threads) firstprivate(work)
    for (std::int64_t i = 0; i < count; ++i) {
        work(i);
#pragma omp ordered
        inTurn(i);
    }
}

/// body(row pointer, row index) for each row of the volume, counted through all planes.
template <class Float, class Body>
void ParallelRows(const DFT3D& s, Float* volume, Body body) {
    const std::int64_t rowLength = s.rowLength;
    ParallelFor(RowsOfVolume(s), [=](std::int64_t r) { body(volume + r * rowLength, r); });
}

/// K sums over a range of indices. add(i, sums) adds index i to the thread's own doubles, which are added at
/// the end: the last digits may depend on the thread count.
template <std::size_t K, class Add>
std::array<double, K> ParallelSums(std::int64_t count, Add add) {
    std::array<double, K> sums{};
    double* const total = sums.data();
#pragma omp parallel for schedule(static) firstprivate(add) reduction(+ : total[:K])
    for (std::int64_t i = 0; i < count; ++i) add(i, total);
    return sums;
}

/// K sums over the rows of a volume; addRow(r, sums) as above.
template <std::size_t K, class AddRow>
std::array<double, K> SumOverRows(const DFT3D& s, AddRow addRow) {
    return ParallelSums<K>(RowsOfVolume(s), addRow);
}

/// The least of K series over a range of indices, from `start`. take(i, least) lowers the thread's own
/// values; the result does not depend on the thread count.
template <std::size_t K, class Take>
std::array<float, K> ParallelLeast(std::int64_t count, const std::array<float, K>& start, Take take) {
    std::array<float, K> values = start;
    float* const least = values.data();
#pragma omp parallel for schedule(static) firstprivate(take) reduction(min : least[:K])
    for (std::int64_t i = 0; i < count; ++i) take(i, least);
    return values;
}

/// The extremes of body(i) over a range of indices; they do not depend on the thread count.
template <class Body>
Extremes ParallelExtremes(std::int64_t count, Body body) {
    float least = 0.0f;
    float greatest = 0.0f;
#pragma omp parallel for schedule(static) firstprivate(body) reduction(min : least) reduction(max : greatest)
    for (std::int64_t i = 0; i < count; ++i) {
        const Extremes met = body(i);
        least = std::min(least, met.least);
        greatest = std::max(greatest, met.greatest);
    }
    return {least, greatest};
}

/// Shares a loop among the OpenMP threads; the counterpart of CallingThread.
struct AllThreads {
    template <class Body>
    static void For(std::int64_t count, Body body) {
        ParallelFor(count, body);
    }
    template <class Body>
    static Extremes ExtremesOf(std::int64_t count, Body body) {
        return ParallelExtremes(count, body);
    }
};

/// Loops over shares of the work, as gnr::fft::VolumePasses wants them: For runs body(i) for all i below count,
/// Reduce runs body(i, result) and gives what the results come to.
struct EachShare {
    struct None {};

    template <class Body>
    void For(std::int64_t count, Body body) const {
        ParallelFor(count, body);
    }
    template <class Body>
    None Reduce(std::int64_t count, Body body) const {
        ParallelFor(count, [=](std::int64_t i) { body(i, static_cast<None*>(nullptr)); });
        return {};
    }
};
/// Results are K sums.
template <std::size_t K>
struct SumOfShares : EachShare {
    template <class Body>
    std::array<double, K> Reduce(std::int64_t count, Body body) const {
        return ParallelSums<K>(count, body);
    }
};
/// Results are lowered from the largest float.
struct LeastOfShares : EachShare {
    template <class Body>
    float Reduce(std::int64_t count, Body body) const {
        return ParallelLeast<1>(count, {std::numeric_limits<float>::max()}, body)[0];
    }
};

/// MapGroups and MapComplexGroups on all threads.
template <class F>
void ParallelGroups(float* p, std::int64_t n, F f) {
    MapGroups<AllThreads>(p, n, f);
}
template <class F>
void ParallelGroups(float* a, const float* b, std::int64_t n, F f) {
    MapGroups<AllThreads>(a, b, n, f);
}
template <class F>
void ParallelComplexGroups(float* a, const float* b, std::int64_t n, F f) {
    MapComplexGroups<AllThreads>(a, b, n, f);
}

}  // namespace gnr::detail
