// SPDX-License-Identifier: MIT
#pragma once

// The iterations of both total-variation methods.

#include <concepts>

#include "algorithms/richardson_lucy_frames.h"
#include "frame/progress.h"

namespace gnr::detail {

enum class TotalVariationTerm {
    kLaplacian,  ///< the Laplacian of x, clamped
    kDirection,  ///< the forward differences of x over their norm
};

/// Whether negatives of x are cut before or after the callback is asked. A run that goes on gives the same in
/// both orders.
enum class Clipping { kBeforePoll, kAfterPoll };

/// Where the methods clip.
template <AnyPicture P>
constexpr Clipping ClippingOf(TotalVariationTerm term) {
    // deliberate: only the direction form on integers clips first
    return term == TotalVariationTerm::kDirection && std::same_as<P, SRyPicBuf> ? Clipping::kBeforePoll
                                                                                : Clipping::kAfterPoll;
}

/// Weight of a term: -2e-5 s^2 or 1e-4 s^2, in float, s = 3 strength modulo 2^32.
float WeightOf(TotalVariationTerm term, int strength);

struct TotalVariationRun {
    TotalVariationTerm term;
    int strength;
    unsigned iterations;
};

/// All iterations. False when stopped.
bool IterateTotalVariation(const RichardsonLucyFrames& frames, const TotalVariationRun& run,
                           const Progress& progress, Clipping clipping);

}  // namespace gnr::detail
