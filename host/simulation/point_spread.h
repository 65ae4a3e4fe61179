// SPDX-License-Identifier: MIT
#pragma once

// Point spread functions for a simulation: of odd sides, centred in the middle sample, of sum 1.

#include <filesystem>

#include "report/messages.h"
#include "volume/sample_box.h"

namespace rydecon {

/// Gaussian, sampled at the sample centres up to 4 standard deviations. All lengths in micrometres; a
/// standard deviation of 0 leaves its axis sharp.
SampleBox GaussianPointSpread(const Pitch& sigma, const Pitch& pitch);

/// Box around the brightest sample of the measured or computed `samples`, the smallest of odd sides that
/// holds all samples above 0. Negative samples become 0, with a note; UserError if none is above 0 or some
/// are not finite. `origin` is the file that the messages name.
SampleBox CentredPointSpread(const SampleBox& samples, const std::filesystem::path& origin,
                             const Messages& messages);

/// Divides by the sum, which is above 0.
void NormalizeSum(SampleBox& box);

}  // namespace rydecon
