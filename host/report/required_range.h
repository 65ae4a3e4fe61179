// SPDX-License-Identifier: MIT
#pragma once

// Refuses settings out of their range, in one wording.

#include <string>

namespace rydecon {

/// UserError (usage) for a number that is NaN or not from least to greatest: "--gain is 0; a number from ... is needed".
void RequireRange(const std::string& what, double value, double least, double greatest);

/// UserError (usage) for a number with a fraction.
void RequireWhole(const std::string& what, double value);

}  // namespace rydecon
