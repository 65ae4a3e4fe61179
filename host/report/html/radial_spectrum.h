// SPDX-License-Identifier: MIT
#pragma once

// How much of a picture lies at which spatial frequency.

#include <vector>

#include "io/stack_header.h"

namespace rydecon {

/// Rings of equal width about frequency 0, the n-th at n * step, up to the Nyquist frequency of the coarser
/// axis.
struct FrequencyRings {
    double step = 0.0;
    int count = 0;          // 0 for a picture of one pixel; ring 0 included
    bool physical = false;  // cycles per micrometre; else per sample
};

inline constexpr int kMostRings = 512;

/// Rings no narrower than what the picture resolves, kMostRings at most. Physical where the header tells both
/// pitches.
FrequencyRings RingsOf(const StackHeader& header);

/// Mean power spectrum of the rings of a picture in rows of header.width samples:
///
///   P = |F(w (g - m))|^2 / sum(w)^2     m the mean of g, w Hann's window
///
/// in squared units of the picture; NaN for a ring without a frequency of the transform, 0 for ring 0. An axis
/// of one sample has no window. Of the mean along z it is, by the projection-slice theorem, the section at
/// kz = 0 through the power spectrum of the volume. UserError where memory does not suffice.
std::vector<double> RadialPower(const std::vector<double>& picture, const StackHeader& header,
                                const FrequencyRings& rings);

}  // namespace rydecon
