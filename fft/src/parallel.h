// SPDX-License-Identifier: MIT
#pragma once

// The one parallel loop of this folder: static schedule, joined before it returns.

#include <cstddef>

namespace gnr::fft {

/// body(i) for i from 0 to count - 1, shared among the OpenMP threads. The body must not throw.
template <class Body>
void ParallelFor(std::ptrdiff_t count, Body body) {
#pragma omp parallel for schedule(static) firstprivate(body)
    for (std::ptrdiff_t i = 0; i < count; ++i) body(i);
}

}  // namespace gnr::fft
