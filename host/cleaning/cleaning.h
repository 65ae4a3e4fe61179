// SPDX-License-Identifier: MIT
#pragma once

// What is wrong with an image before it is restored: what was asked to be put right, what was found, and the
// lines that tell it.

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "cleaning/saturation.h"
#include "report/messages.h"
#include "volume/plane_stream.h"

namespace rydecon {

/// What the user asks for.
struct CleaningChoice {
    bool findBackground = false;       ///< estimates the constant to take off
    std::optional<double> background;  ///< the constant to take off, as told
    bool repairHotPixels = false;
    std::optional<int> significantBits;  ///< of an integer type, where the file tells
};

/// What was found in one stack, and what is done about it.
struct Cleaning {
    std::optional<double> background;  ///< taken off each sample
    bool backgroundEstimated = false;
    long long hotPixels = 0;   ///< replaced
    double hotExcess = 0.0;    ///< over the median of the neighbours, that a hot pixel has at least
    bool planesAlone = false;  ///< planes are pictures of their own
    long long tooMany = 0;     ///< samples that look like hot pixels but are too many to be
    Saturation saturation;
    long long samples = 0;
};

/// Looks at all planes, once or more, where there is something to look for: saturation in integer types, and
/// what the choice asks for. UserError for a told background above every sample, and after Ctrl-C.
Cleaning PlanCleaning(PlaneSource& from, const CleaningChoice& choice, const std::string& sampleType,
                      bool planesAlone, const std::filesystem::path& path);

/// One note for each thing found or done.
void TellCleaning(const Cleaning& cleaning, const std::filesystem::path& path, const Messages& messages);

/// Likewise of all pictures of one file together.
void TellCleaning(const std::vector<Cleaning>& cleanings, const std::filesystem::path& path,
                  const Messages& messages);

}  // namespace rydecon
