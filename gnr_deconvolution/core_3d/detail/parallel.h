// SPDX-License-Identifier: MIT
#pragma once

// All parallel loops of the library: static schedule, joined before they return, never nested. A body must
// not throw.

#include <array>
#include <cstddef>
#include <cstdint>

#include "detail/lanes4.h"
#include "detail/volume_geometry.h"

namespace gnr::detail {

/// body(i) for i from 0 to count - 1.
template <class Body>
void ParallelFor(std::int64_t count, Body body) {
#pragma omp parallel for schedule(static)
    for (std::int64_t i = 0; i < count; ++i) body(i);
}

/// body(row pointer, row index) for each row of the volume, counted through all planes.
template <class Float, class Body>
void ParallelRows(const DFT3D& s, Float* volume, Body body) {
    const std::int64_t rows = RowsOfVolume(s);
    const std::int64_t rowLength = s.rowLength;
#pragma omp parallel for schedule(static)
    for (std::int64_t r = 0; r < rows; ++r) body(volume + r * rowLength, r);
}

/// K sums over the rows of a volume. addRow(r, sums) adds row r to the thread's own doubles, which are added
/// at the end: the last digits may depend on the thread count.
template <std::size_t K, class AddRow>
std::array<double, K> SumOverRows(const DFT3D& s, AddRow addRow) {
    const std::int64_t rows = RowsOfVolume(s);
    std::array<double, K> sums{};
    double* const total = sums.data();
#pragma omp parallel for schedule(static) reduction(+ : total[:K])
    for (std::int64_t r = 0; r < rows; ++r) addRow(r, total);
    return sums;
}

/// p[i] := f(p[i]) for n floats, four at a time; f takes Lanes4. A last group of fewer than four goes through
/// f as well, and nothing at or beyond n is read or written.
template <class F>
void ParallelGroups(float* p, std::int64_t n, F f) {
    const std::int64_t groups = n / Lanes4::kCount;
#pragma omp parallel for schedule(static)
    for (std::int64_t g = 0; g < groups; ++g) {
        float* const group = p + g * Lanes4::kCount;
        f(Lanes4::Load(group)).Store(group);
    }
    const std::int64_t done = groups * Lanes4::kCount;
    if (done < n) {
        std::array<float, Lanes4::kCount> rest{};
        const std::size_t bytes = static_cast<std::size_t>(n - done) * sizeof(float);
        std::memcpy(rest.data(), p + done, bytes);
        f(Lanes4::Load(rest.data())).Store(rest.data());
        std::memcpy(p + done, rest.data(), bytes);
    }
}

}  // namespace gnr::detail
