// SPDX-License-Identifier: MIT
#pragma once

// ImageJ's image info: free text that its importers fill with lines "key = value", kept in two tags of the
// first page (ImageJ's TiffDecoder: 50838 holds byte counts, 50839 the blocks that they count).

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "io/stack_header.h"

namespace rydecon {

/// The info text as UTF-8; empty if the blocks hold none or are damaged. `swapped`: the file has the byte
/// order that this machine has not.
std::string InfoFromBlocks(std::span<const std::uint32_t> byteCounts, std::span<const unsigned char> blocks,
                           bool swapped);

/// The optics in lines "key = value" or "key: value": LensNA or NumericalAperture, RefractiveIndex,
/// EmissionWavelength, ExcitationWavelength (nm without a unit), PinholeSize (um), NominalMagnification; blanks
/// and case do not count, nor what stands before a '|'. A key with several values counts as not told.
ImageOptics OpticsFromInfo(std::string_view info);

}  // namespace rydecon
