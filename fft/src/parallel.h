// SPDX-License-Identifier: MIT
#pragma once

// The parallel loops of this folder: static schedule, joined before they return. Bodies must not throw.

#include <cstddef>

namespace gnr::fft {

/// Pictures of fewer samples cost less than the threads that would share them.
inline constexpr std::ptrdiff_t kWorthThreads = std::ptrdiff_t{1} << 16;

/// body(i) for i from 0 to count - 1, shared among the OpenMP threads.
template <class Body>
void ParallelFor(std::ptrdiff_t count, Body body) {
#pragma omp parallel for schedule(static) firstprivate(body) if (count > 1)
    for (std::ptrdiff_t i = 0; i < count; ++i) body(i);
}

/// body(j) for each of `height` rows of `width` samples.
template <class Body>
void ParallelRows(std::ptrdiff_t width, std::ptrdiff_t height, Body body) {
#pragma omp parallel for schedule(static) firstprivate(body) if (width * height >= kWorthThreads)
    for (std::ptrdiff_t j = 0; j < height; ++j) body(j);
}

/// body(share, first, last) once for each of so many shares of 0 .. count - 1, the shares in parallel.
template <class Body>
void ParallelShares(std::ptrdiff_t shares, std::ptrdiff_t count, Body body) {
    ParallelFor(shares, [&](std::ptrdiff_t share) {
        body(share, count * share / shares, count * (share + 1) / shares);
    });
}

/// The loops that VolumePasses wants, without results.
struct AllThreads {
    struct None {};

    template <class Body>
    void For(std::ptrdiff_t count, Body body) const {
        ParallelFor(count, body);
    }
    template <class Body>
    None Reduce(std::ptrdiff_t count, Body body) const {
        ParallelFor(count, [=](std::ptrdiff_t i) { body(i, static_cast<None*>(nullptr)); });
        return {};
    }
};

}  // namespace gnr::fft
