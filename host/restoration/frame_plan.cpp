// SPDX-License-Identifier: MIT
#include "restoration/frame_plan.h"

#include <algorithm>
#include <cstdint>
#include <limits>

namespace rydecon {

namespace {

/// The planes of a volume are addressed by 32-bit numbers of floats, its samples counted in 32 bits.
constexpr std::int64_t kMostSamples = std::numeric_limits<std::int32_t>::max();

/// Sides that suit the transform; every core but the Wiener core, which takes any size, answers the same.
void RoundUp(unsigned& x, unsigned& y, unsigned& z, unsigned divisor = 1) {
    CRy3DLucyRichardsonTMDeconvolutionCore core(false);
    core.ModifyProposedDimensions(x, y, z, std::max(divisor, 2U), divisor, divisor);
}

constexpr unsigned kPlanesOfLevel = 16;
constexpr unsigned kMostLevels = 4;

/// Rounding may add planes up to another level, which then divides the sides once more.
void RoundUpForWavelets(unsigned& x, unsigned& y, unsigned& z, unsigned leastLevels) {
    z = std::max(z, leastLevels * kPlanesOfLevel);
    for (unsigned levels = 0; levels < std::min(z / kPlanesOfLevel, kMostLevels);) {
        levels = std::min(z / kPlanesOfLevel, kMostLevels);
        RoundUp(x, y, z, 1U << levels);
    }
}

}  // namespace

Extent PlanFrame(const Extent& image, const PsfReach& reach, Sides sides) {
    auto x = static_cast<unsigned>(image.x + reach.low.x + reach.high.x);
    auto y = static_cast<unsigned>(image.y + reach.low.y + reach.high.y);
    auto z = static_cast<unsigned>(image.z + reach.low.z + reach.high.z);
    switch (sides) {
        case Sides::Any:
            RoundUp(x, y, z);
            break;
        case Sides::Wavelets:
            RoundUpForWavelets(x, y, z, 1);
            break;
        case Sides::FourLevels:
            RoundUpForWavelets(x, y, z, kMostLevels);
            break;
    }
    const std::int64_t samples = (std::int64_t{x} + 2) * y;
    if (samples > kMostSamples || samples * z > kMostSamples) {
        throw UserError("the stack needs a volume of " + std::to_string(x) + " x " + std::to_string(y) +
                        " x " + std::to_string(z) + " samples, above the limit of " +
                        std::to_string(kMostSamples) + "; crop it");
    }
    return {static_cast<int>(x), static_cast<int>(y), static_cast<int>(z)};
}

}  // namespace rydecon
