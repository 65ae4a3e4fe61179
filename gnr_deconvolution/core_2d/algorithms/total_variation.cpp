// SPDX-License-Identifier: MIT
#include "algorithms/total_variation.h"

#include <cstdint>

#include "kernels/regularization_2d.h"

namespace gnr::detail {

namespace {

/// r := field of the term
void WriteField(const RichardsonLucyFrames& frames, TotalVariationTerm term, float lambda) {
    if (term == TotalVariationTerm::kLaplacian) {
        GetRegularization2D(frames.r(), frames.x(), frames.W(), frames.H(), lambda);
    } else {
        GetGradientSign2D(frames.r(), frames.x(), frames.W(), frames.H());
        GetRegularizationRLTV2D(frames.r(), frames.r(), frames.W(), frames.H(), lambda);
    }
}

}  // namespace

float WeightOf(TotalVariationTerm term, int strength) {
    const auto s = static_cast<float>(static_cast<std::int32_t>(3 * static_cast<std::uint32_t>(strength)));
    return term == TotalVariationTerm::kLaplacian ? s * -2e-05f * s : s * 0.0001f * s;
}

bool IterateTotalVariation(const RichardsonLucyFrames& frames, const TotalVariationRun& run,
                           const Progress& progress, Clipping clipping) {
    const float lambda = WeightOf(run.term, run.strength);
    const auto clip = [&] { ClipSmallerThanZero2D(frames.x(), frames.W(), frames.H()); };
    for (unsigned i = 0; i < run.iterations; ++i) {
        if (clipping == Clipping::kBeforePoll) clip();
        if (progress.StopAtPoll()) return false;
        if (clipping == Clipping::kAfterPoll) clip();
        frames.Correct();
        if (run.strength != 0) {
            WriteField(frames, run.term, lambda);
            frames.Update(frames.t(), frames.r());
        } else {
            frames.Update(nullptr, frames.t());
        }
    }
    return true;
}

}  // namespace gnr::detail
