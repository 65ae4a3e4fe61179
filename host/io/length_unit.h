// SPDX-License-Identifier: MIT
#pragma once

// Lengths and times in image metadata: units as microscopes' files spell them, and which values can be sample
// distances.

#include <optional>
#include <string>
#include <string_view>

#include "io/file_error.h"

namespace rydecon {

inline constexpr double kMicrometresPerInch = 25400.0;
inline constexpr double kMicrometresPerCentimetre = 10000.0;

/// Micrometres in one `unit` ("um", "micron", "\u00B5m" also in its six-character escape, "nm", "mm", "cm",
/// "inch", ...); empty where it is no length ("pixel", blank, unknown).
std::optional<double> MicrometresPer(std::string_view unit);

/// The length when it can be a distance of samples: finite and between a picometre and a metre.
/// Otherwise a note, in which `what` names the field, and empty.
std::optional<double> AcceptDistance(double micrometres, std::string_view what, const FileNotes& notes);

/// The number that the whole text spells, blanks around it aside, whatever the locale; empty if it spells
/// none.
std::optional<double> ParseNumber(std::string_view text);

/// The shortest digits that give the same number again.
std::string ShortestText(double number);

/// `value` in units of `unit`, with 12 digits: the rounding of the division does not show.
std::string TextIn(double value, double unit);

/// Seconds in one `unit` ("s", "sec", "ms", "min", "h", ...); empty where it is no time.
std::optional<double> SecondsPer(std::string_view unit);

/// `text` without blanks and control characters around it.
std::string_view Trimmed(std::string_view text);

}  // namespace rydecon
