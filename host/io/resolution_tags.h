// SPDX-License-Identifier: MIT
#pragma once

// Sample distances from TIFF's resolution tags, and back.

#include <cstdint>
#include <utility>

#include "io/stack_header.h"
#include "io/tiff_page.h"

namespace rydecon {

/// Micrometres between samples at `samplesPerUnit`, rounded to 7 digits: libtiff hands the tags over as
/// float32.
double DistanceFrom(double samplesPerUnit, double micrometresPerUnit);

/// From tags that no other metadata explain; empty where they are those of a screen or a printer.
VoxelSize VoxelFromResolution(const ResolutionTags& tags);

/// The same with the unit given (an inch or a centimetre).
VoxelSize VoxelFromPrintResolution(const ResolutionTags& tags, double micrometresPerUnit);

/// Samples per micrometre as the closest fraction of numbers below 2^31; `micrometres` is finite and
/// positive.
std::pair<std::uint32_t, std::uint32_t> ResolutionFraction(double micrometres);

}  // namespace rydecon
