// SPDX-License-Identifier: MIT
#pragma once

// The one parallel loop of this library: a static division of tasks among the threads, joined before it
// returns.

#include <omp.h>

#include <cstddef>

namespace gnr::detail {

/// body(first, last) once for each thread that gets tasks, with its share first .. last - 1 of 0 .. tasks
/// - 1. `first` is different for every call, so it names the thread's scratch: as many blocks as tasks
/// suffice. The body must not throw.
template <class Body>
void ParallelRanges(std::size_t tasks, bool worthThreads, Body body) {
#pragma omp parallel if (worthThreads)
    {
        const std::size_t threads = static_cast<std::size_t>(omp_get_num_threads());
        const std::size_t thread = static_cast<std::size_t>(omp_get_thread_num());
        const std::size_t first = tasks * thread / threads;
        const std::size_t last = tasks * (thread + 1) / threads;
        if (first < last) body(first, last);
    }
}

/// Threads that a body may run on, at the most, and the one that it runs on.
inline std::size_t MostThreads() {
    return static_cast<std::size_t>(omp_get_max_threads());
}
inline std::size_t ThisThread() {
    return static_cast<std::size_t>(omp_get_thread_num());
}

}  // namespace gnr::detail
