// SPDX-License-Identifier: MIT
#pragma once

// The one parallel loop of this folder: static schedule, joined before it returns.

#include <cstddef>

namespace gnr::fft {

/// body(i) for i from 0 to count - 1, shared among the OpenMP threads. The body must not throw.
template <class Body>
void ParallelFor(std::ptrdiff_t count, Body body) {
#pragma omp parallel for schedule(static) firstprivate(body) if (count > 1)
    for (std::ptrdiff_t i = 0; i < count; ++i) body(i);
}

/// body(share, first, last) once for each of so many shares of 0 .. count - 1, the shares in parallel.
template <class Body>
void ParallelShares(std::ptrdiff_t shares, std::ptrdiff_t count, Body body) {
    ParallelFor(shares, [&](std::ptrdiff_t share) {
        body(share, count * share / shares, count * (share + 1) / shares);
    });
}

}  // namespace gnr::fft
