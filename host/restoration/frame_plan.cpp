// SPDX-License-Identifier: MIT
#include "restoration/frame_plan.h"

#include <cstdint>
#include <limits>

namespace rydecon {

namespace {

/// The planes of a volume are addressed by 32-bit numbers of floats, its samples counted in 32 bits.
constexpr std::int64_t kMostSamples = std::numeric_limits<std::int32_t>::max();

/// Sides that suit the transform; every core but the Wiener core, which takes any size, answers the same.
void RoundUp(unsigned& x, unsigned& y, unsigned& z) {
    CRy3DLucyRichardsonTMDeconvolutionCore core(false);
    core.ModifyProposedDimensions(x, y, z, 2, 1, 1);
}

}  // namespace

Extent PlanFrame(const Extent& image, const PsfReach& reach) {
    auto x = static_cast<unsigned>(image.x + reach.low.x + reach.high.x);
    auto y = static_cast<unsigned>(image.y + reach.low.y + reach.high.y);
    auto z = static_cast<unsigned>(image.z + reach.low.z + reach.high.z);
    RoundUp(x, y, z);
    const std::int64_t samples = (std::int64_t{x} + 2) * y;
    if (samples > kMostSamples || samples * z > kMostSamples) {
        throw UserError("the stack needs a volume of " + std::to_string(x) + " x " + std::to_string(y) +
                        " x " + std::to_string(z) + " samples, above the limit of " +
                        std::to_string(kMostSamples) + "; crop it");
    }
    return {static_cast<int>(x), static_cast<int>(y), static_cast<int>(z)};
}

}  // namespace rydecon
