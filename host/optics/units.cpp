// SPDX-License-Identifier: MIT
#include "optics/units.h"

#include <cmath>
#include <cstdio>

#include "io/length_unit.h"

namespace rydecon {

std::optional<double> ParseLength(std::string_view text) {
    const std::string_view trimmed = Trimmed(text);
    // A unit begins at the last character that can end a number; "1e3m" is 1000 m.
    const std::size_t lastOfNumber = trimmed.find_last_of("0123456789.");
    if (lastOfNumber == std::string_view::npos) return std::nullopt;
    const auto number = ParseNumber(trimmed.substr(0, lastOfNumber + 1));
    const std::string_view unit = Trimmed(trimmed.substr(lastOfNumber + 1));
    const auto micrometres = unit.empty() ? std::optional(1.0) : MicrometresPer(unit);
    if (!number || !micrometres || !std::isfinite(*number)) return std::nullopt;
    return *number * *micrometres;
}

std::string NumberText(double number) {
    char text[40];
    std::snprintf(text, sizeof text, "%.6g", number);
    return text;
}

std::string LengthText(double micrometres) {
    return NumberText(micrometres) + " um";
}

std::string MeasuredText(double number, std::string_view unit) {
    char text[40];
    std::snprintf(text, sizeof text, "%.4g ", number);
    return text + std::string(unit);
}

std::string MeasuredLengthText(double micrometres) {
    return MeasuredText(micrometres, "um");
}

}  // namespace rydecon
