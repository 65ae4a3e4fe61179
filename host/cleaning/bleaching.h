// SPDX-License-Identifier: MIT
#pragma once

// Light that is lost along time: told, never corrected.

#include <string>
#include <vector>

namespace rydecon {

/// For the mean samples of the time points in their order: "the mean falls from 250 to 190 (by 24 %) over 20
/// time points; bleaching is not corrected". Empty where it falls by less than a tenth, first quarter of the
/// points against the last, or for fewer than two points, or where the first quarter is not above `ground`,
/// the level without light.
std::string BleachingNote(const std::vector<double>& means, double ground = 0.0);

}  // namespace rydecon
