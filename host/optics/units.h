// SPDX-License-Identifier: MIT
#pragma once

// Lengths and numbers as they stand on the command line.

#include <optional>
#include <string>
#include <string_view>

namespace rydecon {

/// Micrometres of "461nm", "0.461 um", "0.461" (micrometres without a unit); empty if it is no length.
std::optional<double> ParseLength(std::string_view text);

/// "0.461 um", with six digits.
std::string LengthText(double micrometres);

/// The number with six digits.
std::string NumberText(double number);

/// What was measured, with four digits: "2.355 samples", "0.2826 um".
std::string MeasuredText(double number, std::string_view unit);
std::string MeasuredLengthText(double micrometres);

}  // namespace rydecon
