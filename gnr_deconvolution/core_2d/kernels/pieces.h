// SPDX-License-Identifier: MIT
#pragma once

// Sharing of a long run of samples among threads.

#include <algorithm>
#include <cstdint>

#include "detail/parallel.h"

namespace gnr::detail {

/// Samples that a thread takes at once; below two such shares a fork costs more than it saves.
inline constexpr std::int64_t kShareOfThread = 16384;

/// body(first, count) for pieces of 0 .. all - 1 of at most `most` each, in parallel where there are several.
template <class Body>
void ForEachPiece(std::int64_t all, std::int64_t most, Body body) {
    const std::int64_t pieces = (all + most - 1) / most;
    if (pieces == 1) return body(std::int64_t{0}, all);
    ParallelFor(pieces, [=](std::int64_t n) {
        const std::int64_t first = n * most;
        body(first, std::min(most, all - first));
    });
}

}  // namespace gnr::detail
