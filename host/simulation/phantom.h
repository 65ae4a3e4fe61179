// SPDX-License-Identifier: MIT
#pragma once

// The object of a simulation: bent filaments, hollow shells and points, on an empty ground and clear of the
// faces of the stack. What it looks like depends on the seed, the size and the pitch alone.

#include <array>
#include <cstdint>

#include "volume/sample_box.h"

namespace rydecon {

/// One bright sample on its own.
struct PhantomPoint {
    int x = 0;
    int y = 0;
    int z = 0;
    float brightness = 0.0f;
};

/// The four points of a phantom, in a row along x in the middle plane at 1/8 of its height; the brightness
/// falls by halves. Filaments and shells keep to the other 3/4 of the height.
std::array<PhantomPoint, 4> PhantomPoints(const Extent& size);

/// Sides are 8 samples at least. A filament has brightness 1 to 2 for each of the finest pitches of its
/// length, a shell 0.25 at most in a sample.
SampleBox MakePhantom(const Extent& size, const Pitch& pitch, std::uint64_t seed);

}  // namespace rydecon
