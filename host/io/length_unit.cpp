// SPDX-License-Identifier: MIT

#include "io/length_unit.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <string>
#include <system_error>
#include <utility>

namespace rydecon {
namespace {

constexpr double kShortestDistance = 1e-6;
constexpr double kLongestDistance = 1e6;

// The micro sign comes as U+00B5 or as the Greek letter U+03BC in UTF-8, as one byte of Latin-1, or escaped.
constexpr std::array<std::pair<std::string_view, double>, 30> kUnits{{
    {"um", 1.0},
    {"\xC2\xB5m", 1.0},
    {"\xCE\xBCm", 1.0},
    {"\xB5m", 1.0},
    {"\\u00B5m", 1.0},
    {"\\u00b5m", 1.0},
    {"micron", 1.0},
    {"microns", 1.0},
    {"micrometer", 1.0},
    {"micrometers", 1.0},
    {"micrometre", 1.0},
    {"pm", 1e-6},
    {"\xC3\x85", 1e-4},
    {"\xE2\x84\xAB", 1e-4},
    {"angstrom", 1e-4},
    {"nm", 1e-3},
    {"nanometer", 1e-3},
    {"nanometers", 1e-3},
    {"nanometre", 1e-3},
    {"mm", 1e3},
    {"millimeter", 1e3},
    {"millimetre", 1e3},
    {"cm", kMicrometresPerCentimetre},
    {"centimeter", kMicrometresPerCentimetre},
    {"centimetre", kMicrometresPerCentimetre},
    {"m", 1e6},
    {"meter", 1e6},
    {"in", kMicrometresPerInch},
    {"inch", kMicrometresPerInch},
    {"inches", kMicrometresPerInch},
}};

}  // namespace

std::string_view Trimmed(std::string_view text) {
    const auto isBlank = [](char c) { return static_cast<unsigned char>(c) <= ' '; };
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    return text;
}

std::optional<double> MicrometresPer(std::string_view unit) {
    const std::string_view name = Trimmed(unit);
    for (const auto& [spelling, micrometres] : kUnits) {
        if (spelling == name) return micrometres;
    }
    return std::nullopt;
}

std::optional<double> AcceptDistance(double micrometres, std::string_view what, const FileNotes& notes) {
    if (std::isfinite(micrometres) && micrometres >= kShortestDistance && micrometres <= kLongestDistance) {
        return micrometres;
    }
    std::array<char, 32> value{};
    std::snprintf(value.data(), value.size(), "%g", micrometres);
    notes.Note("the metadata give an impossible " + std::string(what) + " (" + value.data() +
               " um), which is ignored");
    return std::nullopt;
}

std::string ShortestText(double number) {
    std::array<char, 32> text{};
    const auto [end, failure] = std::to_chars(text.data(), text.data() + text.size(), number);
    return failure == std::errc{} ? std::string(text.data(), end) : std::string("nan");
}

std::string TextIn(double value, double unit) {
    std::array<char, 32> text{};
    const auto [end, failure] =
        std::to_chars(text.data(), text.data() + text.size(), value / unit, std::chars_format::general, 12);
    return failure == std::errc{} ? std::string(text.data(), end) : std::string("nan");
}

std::optional<double> SecondsPer(std::string_view unit) {
    constexpr std::array<std::pair<std::string_view, double>, 18> kTimes{{
        {"s", 1.0},
        {"sec", 1.0},
        {"secs", 1.0},
        {"second", 1.0},
        {"seconds", 1.0},
        {"ms", 1e-3},
        {"msec", 1e-3},
        {"\xC2\xB5s", 1e-6},
        {"\xCE\xBCs", 1e-6},
        {"us", 1e-6},
        {"ns", 1e-9},
        {"min", 60.0},
        {"minute", 60.0},
        {"minutes", 60.0},
        {"h", 3600.0},
        {"hour", 3600.0},
        {"hours", 3600.0},
        {"d", 86400.0},
    }};
    const std::string_view name = Trimmed(unit);
    for (const auto& [spelling, seconds] : kTimes) {
        if (spelling == name) return seconds;
    }
    return std::nullopt;
}

std::optional<double> ParseNumber(std::string_view text) {
    std::string_view digits = Trimmed(text);
    if (digits.starts_with('+')) digits.remove_prefix(1);
    double number = 0.0;
    const auto [end, failure] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (failure != std::errc{} || end != digits.data() + digits.size()) return std::nullopt;
    return number;
}

}  // namespace rydecon
