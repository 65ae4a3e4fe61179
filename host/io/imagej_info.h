// SPDX-License-Identifier: MIT
#pragma once

// ImageJ's image info: free text that its importers fill with lines "key = value".

#include <string>
#include <string_view>
#include <vector>

#include "io/stack_header.h"

namespace rydecon {

/// The optics in lines "key = value" or "key: value": LensNA or NumericalAperture, RefractiveIndex, Immersion,
/// EmissionWavelength, ExcitationWavelength (nm without a unit), PinholeSize (um), NominalMagnification,
/// AcquisitionMode; blanks and case do not count, nor what stands before a '|'. A key with several values counts as
/// not told.
ImageOptics OpticsFromInfo(std::string_view info);

/// The same of each channel, from keys that end in its number, counted from 1 ("EmissionWavelength #2"), or from those
/// without a number.
std::vector<ChannelRecord> ChannelsFromInfo(std::string_view info, int channels);

/// The header's info, followed by lines for those of its optics that the text does not tell.
std::string InfoWithOptics(const StackHeader& header);

}  // namespace rydecon
