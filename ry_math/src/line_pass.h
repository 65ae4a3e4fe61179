// SPDX-License-Identifier: MIT
#pragma once

// The transform along x, the axis in which samples lie side by side. A line is cut into chunks; the even and
// odd samples of a chunk are parted (or the two halves of a band extended) into buffers of fixed size that
// carry the periodic border, so the sums know no border.

#include <algorithm>
#include <array>
#include <cstddef>

#include "filter_pair.h"
#include "sample_loops.h"

namespace gnr::detail {

/// Band samples of one chunk; the buffers of a chunk stay in the first-level cache in either precision.
inline constexpr std::size_t kChunk = 256;

template <class T>
using ChunkBuffer = std::array<T, kChunk + kMaxTaps / 2>;

/// body(position, done, run): the periodic stretch of `count` samples from `start` on, in runs that do not
/// cross the end of the period; `done` samples came before.
template <class Body>
void WalkPeriodic(std::size_t start, std::size_t count, std::size_t period, Body body) {
    std::size_t position = start;
    for (std::size_t done = 0; done < count;) {
        const std::size_t run = std::min(count - done, period - position);
        body(position, done, run);
        done += run;
        position = 0;
    }
}

/// low and high of `half` samples each from a line of twice as many.
template <class T>
void AnalyzeLine(const T* line, std::size_t half, const FilterPair<T>& analysis, T* low, T* high) {
    ChunkBuffer<T> even, odd;
    std::array<const T*, kMaxTaps> rows;
    for (std::size_t n = 0; n < analysis.taps; n += 2) {
        rows[n] = even.data() + n / 2;
        rows[n + 1] = odd.data() + n / 2;
    }
    const std::size_t reach = analysis.taps / 2 - 1;
    for (std::size_t start = 0; start < half; start += kChunk) {
        const std::size_t count = std::min(kChunk, half - start);
        WalkPeriodic(start, count + reach, half, [&](std::size_t pair, std::size_t done, std::size_t run) {
            PartPairs(line + 2 * pair, run, even.data() + done, odd.data() + done);
        });
        WeightedSums(rows.data(), analysis, low + start, high + start, count);
    }
}

/// A line of 2 * half samples from low and high of `half` samples each.
template <class T>
void SynthesizeLine(const T* low, const T* high, std::size_t half, const FilterPair<T>& synthesis, T* line) {
    ChunkBuffer<T> extendedLow, extendedHigh, even, odd;
    std::array<const T*, kMaxTaps> rows;
    const std::size_t reach = synthesis.taps / 2 - 1;
    for (std::size_t n = 0; n < synthesis.taps; n += 2) {
        rows[n] = extendedLow.data() + reach - n / 2;
        rows[n + 1] = extendedHigh.data() + reach - n / 2;
    }
    for (std::size_t start = 0; start < half; start += kChunk) {
        const std::size_t count = std::min(kChunk, half - start);
        const std::size_t begin = (start + half - reach % half) % half;
        WalkPeriodic(begin, count + reach, half,
                     [&](std::size_t position, std::size_t done, std::size_t run) {
                         std::copy_n(low + position, run, extendedLow.data() + done);
                         std::copy_n(high + position, run, extendedHigh.data() + done);
                     });
        WeightedSums(rows.data(), synthesis, even.data(), odd.data(), count);
        JoinPairs(even.data(), odd.data(), count, line + 2 * start);
    }
}

}  // namespace gnr::detail
